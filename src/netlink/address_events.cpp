// IPv4 address notifications of the WAN interfaces.
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include "app/app.h"
#include "netlink/netlink_walk.h"
#include "support/ipv4_text.h"
#include "support/log.h"

namespace {

// Addresses such as 169.254.0.0/16 cannot carry the uplink's traffic.
constexpr uint8_t SCOPE_LINK = RT_SCOPE_LINK;

} // namespace

void App::handleAddress(const nlmsghdr* message, bool added) {
    ifaddrmsg info;
    if (!netlink::fixedHeader(message, &info, sizeof(info)) || info.ifa_family != AF_INET)
        return;
    const char* kind = added ? "RTM_NEWADDR" : "RTM_DELADDR";
    const int32_t ifIndex = static_cast<int32_t>(info.ifa_index);
    const int index = ifIndex < 0 ? -1 : findWanByIndex(ifIndex);
    if (index < 0 || !wans[index].config.enabled) {
        LOG_TRACE("%s: index(%d) skipping as not wan interface", kind, ifIndex);
        return;
    }
    Wan& wan = wans[index];
    const char* name = wan.ifname.c_str();
    if (info.ifa_scope == SCOPE_LINK) {
        LOG_TRACE("%s| %s Skipping link-local address", name, kind);
        return;
    }
    LOG_TRACE("%s| %s index(%d)", name, kind, ifIndex);
    // Each address is acted on in turn: with several, the last one announced stays.
    netlink::AttributeWalk walk(message, sizeof(info));
    netlink::Attribute attribute;
    uint32_t address = NO_ADDRESS;
    while (walk.next(attribute)) {
        if (attribute.type != IFA_LOCAL || !netlink::readIpv4(attribute, address))
            continue;
        if (added) {
            wan.address.store(address);
            LOG_TRACE("%s| Address changed to %s", name, dottedQuad(address).c_str());
            if (wan.inet())
                processInetUp(wan.ifname);
        } else {
            wan.address.store(NO_ADDRESS);
            LOG_TRACE("%s| Address deleted", name);
            processInetDown(wan.ifname);
        }
    }
}
