// Turning the messages of one rtnetlink datagram into typed events.
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include "netlink/netlink_events.h"
#include "netlink/netlink_walk.h"

namespace netlink {

namespace {

void decodeLink(const nlmsghdr* message, EventSink& sink, bool added) {
    ifinfomsg info;
    if (!fixedHeader(message, &info, sizeof(info)) || info.ifi_family != AF_UNSPEC)
        return;
    if (!added) {
        sink.handleDelLink(LinkGoneEvent{info.ifi_index});
        return;
    }
    LinkEvent event;
    event.ifIndex = info.ifi_index;
    event.flags = info.ifi_flags;
    AttributeWalk walk(message, sizeof(info));
    Attribute attribute;
    while (walk.next(attribute)) {
        if (attribute.type == IFLA_IFNAME)
            event.name = readName(attribute);
    }
    sink.handleNewLink(event);
}

void decodeAddress(const nlmsghdr* message, EventSink& sink, bool added) {
    ifaddrmsg info;
    if (!fixedHeader(message, &info, sizeof(info)) || info.ifa_family != AF_INET)
        return;
    AddressEvent event;
    event.added = added;
    event.ifIndex = static_cast<int32_t>(info.ifa_index);
    event.scope = info.ifa_scope;
    AttributeWalk walk(message, sizeof(info));
    Attribute attribute;
    uint32_t address = 0;
    while (walk.next(attribute)) {
        if (attribute.type == IFA_LOCAL && readIpv4(attribute, address))
            event.locals.push_back(address);
    }
    sink.handleAddress(event);
}

void decodeRoute(const nlmsghdr* message, EventSink& sink, bool added) {
    rtmsg info;
    if (!fixedHeader(message, &info, sizeof(info)) || info.rtm_family != AF_INET)
        return;
    RouteEvent event;
    event.added = added;
    event.table = info.rtm_table;
    AttributeWalk walk(message, sizeof(info));
    Attribute attribute;
    while (walk.next(attribute)) {
        if (attribute.type == RTA_OIF)
            readInt32(attribute, event.outputIndex);
        else if (attribute.type == RTA_GATEWAY)
            readIpv4(attribute, event.gateway);
    }
    sink.handleRoute(event);
}

void decodeError(const nlmsghdr* message, EventSink& sink) {
    int32_t code = 0;
    if (fixedHeader(message, &code, sizeof(code)))
        sink.handleNetlinkError(messageHeader(message).nlmsg_seq, code);
}

} // namespace

void decodeDatagram(const uint8_t* data, size_t length, EventSink& sink) {
    MessageWalk walk(data, length);
    while (const nlmsghdr* message = walk.next()) {
        const uint16_t type = messageHeader(message).nlmsg_type;
        switch (type) {
        case RTM_NEWLINK:
        case RTM_DELLINK:
            decodeLink(message, sink, type == RTM_NEWLINK);
            break;
        case RTM_NEWADDR:
        case RTM_DELADDR:
            decodeAddress(message, sink, type == RTM_NEWADDR);
            break;
        case RTM_NEWROUTE:
        case RTM_DELROUTE:
            decodeRoute(message, sink, type == RTM_NEWROUTE);
            break;
        case NLMSG_DONE:
            sink.handleNetlinkDone(messageHeader(message).nlmsg_seq);
            break;
        case NLMSG_ERROR:
            decodeError(message, sink);
            break;
        default:
            break;
        }
    }
}

} // namespace netlink
