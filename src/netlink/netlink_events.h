// What the rtnetlink intake tells its owner: one typed event per well-formed message of the
// kinds the daemon follows. The intake knows nothing of WANs; its owner decides what an event
// means.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "support/ipv4_text.h"

namespace netlink {

// RTM_NEWLINK of the unspecified family.
struct LinkEvent {
    int32_t ifIndex = 0;
    uint32_t flags = 0;
    // IFLA_IFNAME; a later copy wins, none gives an empty name.
    std::string name;
};

// RTM_DELLINK of the unspecified family.
struct LinkGoneEvent {
    int32_t ifIndex = 0;
};

// RTM_NEWADDR or RTM_DELADDR of an IPv4 address.
struct AddressEvent {
    bool added = false;
    int32_t ifIndex = 0;
    uint8_t scope = 0;
    // Every IFA_LOCAL of exactly four bytes (network byte order), in the order announced.
    std::vector<uint32_t> locals;
};

// RTM_NEWROUTE or RTM_DELROUTE of an IPv4 route.
struct RouteEvent {
    bool added = false;
    // RTA_OIF (-1 when absent) and RTA_GATEWAY (NO_ADDRESS when absent); a later copy wins.
    int32_t outputIndex = -1;
    uint32_t gateway = NO_ADDRESS;
    int table = 0;
};

// The receiver of the intake's events.
class EventSink {
public:
    virtual ~EventSink() = default;
    virtual void handleNewLink(const LinkEvent& event) = 0;
    virtual void handleDelLink(const LinkGoneEvent& event) = 0;
    virtual void handleAddress(const AddressEvent& event) = 0;
    virtual void handleRoute(const RouteEvent& event) = 0;
    // The end of a dump (NLMSG_DONE) with its sequence number.
    virtual void handleNetlinkDone(uint32_t seq) = 0;
    // An error reply (NLMSG_ERROR) with its sequence number and its code (0 is an ack).
    virtual void handleNetlinkError(uint32_t seq, int32_t code) = 0;
};

// Walks the messages of one datagram and hands each well-formed one to sink, in order. Every
// length is checked before it is used; a datagram at any alignment is safe.
void decodeDatagram(const uint8_t* data, size_t length, EventSink& sink);

} // namespace netlink
