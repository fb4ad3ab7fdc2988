#include "netlink/netlink_socket.h"

#include <cerrno>
#include <cstring>
#include <linux/rtnetlink.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

namespace netlink {

namespace {

constexpr uint32_t NETLINK_GROUPS = RTMGRP_LINK | RTMGRP_IPV4_IFADDR | RTMGRP_IPV4_ROUTE;
// Room for a burst of some ten thousand route notifications (a full table flush or a routing
// daemon restart) without the kernel dropping any; only root may go beyond rmem_max.
constexpr int RECEIVE_BUFFER_BYTES = 4 * 1024 * 1024;
// Header plus the one-byte rtgenmsg; the kernel accepts the body unpadded.
constexpr uint32_t DUMP_REQUEST_LENGTH = 17;
constexpr uint16_t DUMP_REQUEST_FLAGS = NLM_F_REQUEST | NLM_F_ACK | NLM_F_DUMP;
// The largest datagram read at once; the kernel splits dumps to fit a page-sized buffer.
constexpr size_t BUFFER_SIZE = 65536;
// Below this a control buffer cannot even hold the start of a credentials message.
constexpr size_t MIN_CONTROL_LENGTH = 12;

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

// Only the kernel (or another root process) may tell us about links and routes; a datagram
// forged by an unprivileged local process must not move the uplink.
bool sentByRoot(const msghdr& message) {
    if (message.msg_controllen < MIN_CONTROL_LENGTH)
        return false;
    const cmsghdr* control = CMSG_FIRSTHDR(&message);
    if (control == nullptr || control->cmsg_type != SCM_CREDENTIALS)
        return false;
    if (control->cmsg_len < CMSG_LEN(sizeof(ucred)))
        return false;
    ucred credentials;
    std::memcpy(&credentials, CMSG_DATA(control), sizeof(credentials));
    return credentials.uid == 0;
}

} // namespace

bool Socket::open() {
    fd_.reset(socket(AF_NETLINK, SOCK_DGRAM | SOCK_CLOEXEC, NETLINK_ROUTE));
    if (!fd_.valid())
        return false;
    if (!bindToGroups(fd_.get()) || !passCredentials(fd_.get())) {
        close();
        return false;
    }
    enlargeReceiveBuffer(fd_.get());
    return true;
}

bool Socket::requestDump(uint16_t type, uint32_t seq) {
    uint8_t request[DUMP_REQUEST_LENGTH] = {};
    nlmsghdr header;
    std::memset(&header, 0, sizeof(header));
    header.nlmsg_len = DUMP_REQUEST_LENGTH;
    header.nlmsg_type = type;
    header.nlmsg_flags = DUMP_REQUEST_FLAGS;
    header.nlmsg_seq = seq;
    header.nlmsg_pid = 0;
    std::memcpy(request, &header, sizeof(header));
    request[sizeof(header)] = AF_UNSPEC;
    return send(fd_.get(), request, sizeof(request), 0) != -1;
}

bool Socket::waitReadable(int timeoutSeconds, bool& readable) const {
    fd_set readSet;
    FD_ZERO(&readSet);
    // FD_SET on a descriptor outside the set's range would write past it.
    const int fd = fd_.get();
    const bool usable = fd >= 0 && fd < FD_SETSIZE;
    if (usable)
        FD_SET(fd, &readSet);
    timeval timeout{timeoutSeconds, 0};
    const int result = select(usable ? fd + 1 : 0, &readSet, nullptr, nullptr, &timeout);
    readable = result > 0 && usable && FD_ISSET(fd, &readSet);
    return result >= 0 || errno == EINTR || errno == EAGAIN;
}

Socket::Received Socket::receive(EventSink& sink) {
    // Kept on the stack: at most one datagram is read per work step, and a heap buffer per
    // call would only add an allocation on every notification.
    alignas(nlmsghdr) uint8_t buffer[BUFFER_SIZE];
    alignas(cmsghdr) uint8_t control[CMSG_SPACE(sizeof(ucred))];
    iovec vector = {buffer, sizeof(buffer)};
    msghdr message;
    std::memset(&message, 0, sizeof(message));
    message.msg_iov = &vector;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof(control);

    const ssize_t received = recvmsg(fd_.get(), &message, 0);
    if (received < 0 && errno == ENOBUFS)
        return Received::Overrun;
    if (received < 0)
        return errno == EINTR || errno == EAGAIN ? Received::Datagram : Received::Failed;
    if (sentByRoot(message) && static_cast<size_t>(received) >= NLMSG_HDRLEN)
        decodeDatagram(buffer, static_cast<size_t>(received), sink);
    return Received::Datagram;
}

} // namespace netlink
