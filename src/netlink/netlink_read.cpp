// Reading one rtnetlink datagram and handing its messages to their handlers.
#include <cerrno>
#include <cstring>
#include <linux/rtnetlink.h>
#include <sys/socket.h>
#include <sys/uio.h>

#include "app/app.h"
#include "netlink/netlink_walk.h"

namespace {

// Below this a control buffer cannot even hold the start of a credentials message.
constexpr size_t MIN_CONTROL_LENGTH = 12;

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

void App::netlinkReadMessages() {
    // Kept on the stack: the main loop reads at most one datagram per step, and a heap buffer
    // per call would only add an allocation on every notification.
    alignas(nlmsghdr) uint8_t buffer[NETLINK_BUFFER_SIZE];
    alignas(cmsghdr) uint8_t control[CMSG_SPACE(sizeof(ucred))];
    sockaddr_nl sender;
    iovec vector = {buffer, sizeof(buffer)};
    msghdr message;
    std::memset(&message, 0, sizeof(message));
    message.msg_name = &sender;
    message.msg_namelen = sizeof(sender);
    message.msg_iov = &vector;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof(control);

    const ssize_t received = recvmsg(netlinkFd, &message, 0);
    if (received < 0) {
        if (errno != EINTR && errno != EAGAIN && running != nullptr)
            *running = false;
        return;
    }
    if (!sentByRoot(message) || static_cast<size_t>(received) < NLMSG_HDRLEN)
        return;
    netlinkHandleDatagram(buffer, static_cast<size_t>(received));
}

void App::netlinkHandleDatagram(const uint8_t* data, size_t length) {
    netlink::MessageWalk walk(data, length);
    while (const nlmsghdr* message = walk.next()) {
        switch (netlink::messageHeader(message).nlmsg_type) {
        case RTM_NEWLINK:
            handleNewLink(message);
            break;
        case RTM_DELLINK:
            handleDelLink(message);
            break;
        case RTM_NEWADDR:
        case RTM_DELADDR:
            handleAddress(message, netlink::messageHeader(message).nlmsg_type == RTM_NEWADDR);
            break;
        case RTM_NEWROUTE:
        case RTM_DELROUTE:
            handleRoute(message, netlink::messageHeader(message).nlmsg_type == RTM_NEWROUTE);
            break;
        case NLMSG_DONE:
            handleNetlinkDone(message);
            break;
        case NLMSG_ERROR:
            handleNetlinkError(message);
            break;
        default:
            break;
        }
    }
}
