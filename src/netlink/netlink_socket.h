// The rtnetlink socket: link, IPv4 address and IPv4 route notifications, the dump requests
// sent on it, and the reading of one datagram at a time from root senders only.
#pragma once

#include <cstdint>

#include "netlink/netlink_events.h"
#include "support/unique_fd.h"

namespace netlink {

class Socket {
public:
    // Opens and binds the socket to the three notification groups, with credentials passed
    // and a large receive buffer; false (and closed) when any required step fails.
    bool open();
    void close() { fd_.reset(); }
    bool isOpen() const { return fd_.valid(); }

    // Sends a dump request of the given type (RTM_GETLINK, ...) under the given sequence
    // number; false when it could not be sent.
    bool requestDump(uint16_t type, uint32_t seq);
    // Waits up to timeoutSeconds for a datagram; false on a wait error other than an
    // interruption. readable tells whether one is there.
    bool waitReadable(int timeoutSeconds, bool& readable) const;
    // What a read came to: a datagram (or nothing to read), notifications the kernel dropped
    // because the receive buffer was full, or another error, left in errno.
    enum class Received { Datagram, Overrun, Failed };
    // Reads exactly one datagram and hands its messages to sink when the sender is root.
    Received receive(EventSink& sink);

private:
    UniqueFd fd_;
};

} // namespace netlink
