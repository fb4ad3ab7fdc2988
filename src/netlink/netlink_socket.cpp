// The rtnetlink socket of the engine and the dump requests sent on it.
#include <cstring>
#include <linux/rtnetlink.h>
#include <sys/socket.h>
#include <unistd.h>

#include "app/app.h"
#include "support/log.h"

namespace {

// RTMGRP_LINK | RTMGRP_IPV4_IFADDR | RTMGRP_IPV4_ROUTE.
constexpr uint32_t NETLINK_GROUPS = 0x51;
// Room for a burst of some ten thousand route notifications (a full table flush or a routing
// daemon restart) without the kernel dropping any; only root may go beyond rmem_max.
constexpr int RECEIVE_BUFFER_BYTES = 4 * 1024 * 1024;
// Header plus the one-byte rtgenmsg; the kernel accepts the body unpadded.
constexpr uint32_t DUMP_REQUEST_LENGTH = 17;
constexpr uint16_t DUMP_REQUEST_FLAGS = NLM_F_REQUEST | NLM_F_ACK | NLM_F_DUMP;

bool bindToGroups(int fd) {
    sockaddr_nl address;
    std::memset(&address, 0, sizeof(address));
    address.nl_family = AF_NETLINK;
    address.nl_pid = static_cast<uint32_t>(getpid());
    address.nl_groups = NETLINK_GROUPS;
    return bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
}

bool passCredentials(int fd) {
    const int on = 1;
    return setsockopt(fd, SOL_SOCKET, SO_PASSCRED, &on, sizeof(on)) == 0;
}

// A small buffer only costs lost notifications, so neither failure stops the start.
void enlargeReceiveBuffer(int fd) {
    const int bytes = RECEIVE_BUFFER_BYTES;
    if (setsockopt(fd, SOL_SOCKET, SO_RCVBUFFORCE, &bytes, sizeof(bytes)) == 0)
        return;
    (void)setsockopt(fd, SOL_SOCKET, SO_RCVBUF, &bytes, sizeof(bytes));
}

} // namespace

bool App::openNetlink() {
    netlinkFd = socket(AF_NETLINK, SOCK_DGRAM | SOCK_CLOEXEC, NETLINK_ROUTE);
    if (netlinkFd == -1)
        return false;
    bool ready = bindToGroups(netlinkFd) && passCredentials(netlinkFd);
    if (ready) {
        enlargeReceiveBuffer(netlinkFd);
        ready = netlinkListItems(RTM_GETLINK);
    }
    if (!ready) {
        close(netlinkFd);
        netlinkFd = -1;
        return false;
    }
    initStage = 1;
    return true;
}

bool App::netlinkListItems(uint16_t type) {
    LOG_TRACE("App::netlinkListItems(type->%hu)", type);
    uint8_t request[DUMP_REQUEST_LENGTH] = {};
    nlmsghdr header;
    std::memset(&header, 0, sizeof(header));
    header.nlmsg_len = DUMP_REQUEST_LENGTH;
    header.nlmsg_type = type;
    header.nlmsg_flags = DUMP_REQUEST_FLAGS;
    header.nlmsg_seq = nextSeq;
    header.nlmsg_pid = 0;
    std::memcpy(request, &header, sizeof(header));
    request[sizeof(header)] = AF_UNSPEC;
    dumpSeq = nextSeq++;
    return send(netlinkFd, request, sizeof(request), 0) != -1;
}
