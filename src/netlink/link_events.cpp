// Link notifications: carrier and administrative state of the WAN interfaces, and the Wi-Fi
// roaming that must not be mistaken for a lost uplink.
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include "app/app.h"
#include "netlink/netlink_walk.h"
#include "support/clock.h"
#include "support/log.h"

namespace {

// The kernel's IFF_* bits, spelled out here because <net/if.h> lacks the last two and
// <linux/if.h> clashes with it in other units.
constexpr unsigned LINK_UP = 0x1;
constexpr unsigned LINK_RUNNING = 0x40;
constexpr unsigned LINK_LOWER_UP = 0x10000;
constexpr unsigned LINK_DORMANT = 0x20000;

constexpr unsigned UP_AND_RUNNING = LINK_UP | LINK_RUNNING;
constexpr unsigned ROAMING_MASK = LINK_UP | LINK_RUNNING | LINK_LOWER_UP;
constexpr unsigned ROAMING_FLAGS = LINK_UP | LINK_LOWER_UP;

bool linkUp(unsigned flags) {
    return (flags & UP_AND_RUNNING) == UP_AND_RUNNING;
}

// While a Wi-Fi client re-associates the driver keeps the carrier but clears RUNNING, or
// marks the link dormant.
bool roaming(unsigned flags) {
    return (flags & LINK_DORMANT) != 0 || (flags & ROAMING_MASK) == ROAMING_FLAGS;
}

// IFLA_IFNAME; a later copy of the attribute wins, none gives an empty name.
std::string linkName(const nlmsghdr* message) {
    std::string name;
    netlink::AttributeWalk walk(message, sizeof(ifinfomsg));
    netlink::Attribute attribute;
    while (walk.next(attribute)) {
        if (attribute.type == IFLA_IFNAME)
            name = netlink::readName(attribute);
    }
    return name;
}

void logLinkFlags(const std::string& name, const ifinfomsg& info) {
    const unsigned flags = info.ifi_flags;
    LOG_TRACE("%s| RTM_NEWLINK: index=%d flags=0x%x %s%s%s%s", name.c_str(), info.ifi_index, flags,
              (flags & LINK_UP) ? "[UP]" : "[not UP]",
              (flags & LINK_RUNNING) ? "[RUNNING]" : "[not RUNNING]",
              (flags & LINK_LOWER_UP) ? "[LOWER_UP]" : "[not LOWER_UP]",
              (flags & LINK_DORMANT) ? "[DORMANT]" : "");
}

void logRoamingBanner(const char* name) {
    LOG_TRACE("%s| ==========================================================", name);
    LOG_TRACE("%s| ==                                                      ==", name);
    LOG_TRACE("%s| ==                 WIFI ROAMING DETECTED                ==", name);
    LOG_TRACE("%s| ==                                                      ==", name);
    LOG_TRACE("%s| ==========================================================", name);
}

// Pins the Wi-Fi as the uplink while it re-associates, so that the short loss of RUNNING does
// not switch away. A lock already held is neither renewed nor extended.
void lockRoamingWan(App& app, const char* name) {
    const bool currentKnown =
        app.currentWan >= 0 && static_cast<size_t>(app.currentWan) < app.wans.size();
    if (app.lockedWan != -1 || !currentKnown || app.wans[app.currentWan].ifname != ROAMING_WAN)
        return;
    app.lockedWan = app.currentWan;
    app.lockedUntil = monotonicSeconds() + ROAMING_LOCK_S;
    LOG_TRACE("%s| ==               LOCKING CURRENT INTERFACE              ==", name);
    LOG_TRACE("%s| ==========================================================", name);
}

} // namespace

void App::handleNewLink(const nlmsghdr* message) {
    ifinfomsg info;
    if (!netlink::fixedHeader(message, &info, sizeof(info)) || info.ifi_family != AF_UNSPEC)
        return;
    const std::string name = linkName(message);
    const auto wan = findWanByName(name);
    if (wan == wans.end() || !wan->config.enabled) {
        LOG_TRACE("%s| RTM_NEWLINK: index(%d) skipping as not wan interface", name.c_str(),
                  info.ifi_index);
        return;
    }
    logLinkFlags(name, info);
    if (name == ROAMING_WAN && wan->up && roaming(info.ifi_flags)) {
        logRoamingBanner(name.c_str());
        lockRoamingWan(*this, name.c_str());
    }
    wan->ifIndex = info.ifi_index;
    const bool isUp = linkUp(info.ifi_flags);
    if (isUp == wan->up)
        return;
    LOG_TRACE("%s| Up state changed to %s", name.c_str(), isUp ? "true" : "false");
    wan->up = isUp;
    if (!isUp)
        processInetDown(wan->ifname);
    else if (wan->inet())
        processInetUp(wan->ifname);
}

void App::handleDelLink(const nlmsghdr* message) {
    ifinfomsg info;
    if (!netlink::fixedHeader(message, &info, sizeof(info)) || info.ifi_family != AF_UNSPEC)
        return;
    const int index = info.ifi_index < 0 ? -1 : findWanByIndex(info.ifi_index);
    if (index < 0 || !wans[index].config.enabled) {
        LOG_TRACE("RTM_DELLINK: index(%d) skipping as not wan interface", info.ifi_index);
        return;
    }
    Wan& wan = wans[index];
    LOG_TRACE("%s| RTM_DELLINK", wan.ifname.c_str());
    wan.ifIndex = -1;
    if (!wan.up)
        return;
    wan.up = false;
    processInetDown(wan.ifname);
}
