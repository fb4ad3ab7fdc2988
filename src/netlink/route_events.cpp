// IPv4 route notifications: the gateway of each WAN comes from its own policy-routing table.
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include "app/app.h"
#include "netlink/netlink_walk.h"
#include "support/ipv4_text.h"
#include "support/log.h"

namespace {

struct RouteFacts {
    int32_t outputIndex = -1;
    uint32_t gateway = NO_ADDRESS;
};

// RTA_OIF and RTA_GATEWAY; a later copy of either wins.
RouteFacts routeFacts(const nlmsghdr* message) {
    RouteFacts facts;
    netlink::AttributeWalk walk(message, sizeof(rtmsg));
    netlink::Attribute attribute;
    while (walk.next(attribute)) {
        if (attribute.type == RTA_OIF)
            netlink::readInt32(attribute, facts.outputIndex);
        else if (attribute.type == RTA_GATEWAY)
            netlink::readIpv4(attribute, facts.gateway);
    }
    return facts;
}

} // namespace

void App::handleRoute(const nlmsghdr* message, bool added) {
    rtmsg info;
    if (!netlink::fixedHeader(message, &info, sizeof(info)) || info.rtm_family != AF_INET)
        return;
    const char* kind = added ? "RTM_NEWROUTE" : "RTM_DELROUTE";
    const RouteFacts facts = routeFacts(message);
    // A route without an output interface (or with a nonsense one) is never taken for the
    // route of a WAN whose link has not been seen yet, although both carry index -1.
    const int index = facts.outputIndex < 0 ? -1 : findWanByIndex(facts.outputIndex);
    if (index < 0 || !wans[index].config.enabled) {
        LOG_TRACE("%s: index(%d) skipping as not wan interface", kind, facts.outputIndex);
        return;
    }
    Wan& wan = wans[index];
    const char* name = wan.ifname.c_str();
    const int table = info.rtm_table;
    LOG_TRACE("%s| %s index(%d) gw(%s) table(%d)", name, kind, facts.outputIndex,
              dottedQuad(facts.gateway).c_str(), table);
    // Only the WAN's own table describes its gateway; the main table is ours to write.
    if (table != wan.config.routeTable || facts.gateway == NO_ADDRESS)
        return;
    if (added) {
        wan.gateway = facts.gateway;
        LOG_TRACE("%s| Gateway set to %s", name, dottedQuad(facts.gateway).c_str());
        if (wan.inet())
            processInetUp(wan.ifname);
    } else {
        wan.gateway = NO_ADDRESS;
        LOG_TRACE("%s| Gateway deleted", name);
        processInetDown(wan.ifname);
    }
}
