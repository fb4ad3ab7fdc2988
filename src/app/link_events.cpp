// Link notifications: carrier and administrative state of the WAN interfaces, and the Wi-Fi
// roaming that must not be mistaken for a lost uplink.
#include "app/app.h"
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

void logLinkFlags(const netlink::LinkEvent& event) {
    const unsigned flags = event.flags;
    LOG_WAN(TRACE, event.name, "RTM_NEWLINK: index=%d flags=0x%x %s%s%s%s", event.ifIndex, flags,
            (flags & LINK_UP) ? "[UP]" : "[not UP]",
            (flags & LINK_RUNNING) ? "[RUNNING]" : "[not RUNNING]",
            (flags & LINK_LOWER_UP) ? "[LOWER_UP]" : "[not LOWER_UP]",
            (flags & LINK_DORMANT) ? "[DORMANT]" : "");
}

void logRoamingBanner(const char* name) {
    LOG_WAN(TRACE, name, "==========================================================");
    LOG_WAN(TRACE, name, "==                                                      ==");
    LOG_WAN(TRACE, name, "==                 WIFI ROAMING DETECTED                ==");
    LOG_WAN(TRACE, name, "==                                                      ==");
    LOG_WAN(TRACE, name, "==========================================================");
}

} // namespace

// Pins the Wi-Fi as the uplink while it re-associates, so that the short loss of RUNNING does
// not switch away. A lock already held is neither renewed nor extended.
void App::lockRoamingWan(const char* name) {
    const Wan* current = wanAt(currentWan);
    if (lockedWan != -1 || current == nullptr || current->ifname != ROAMING_WAN)
        return;
    lockedWan = currentWan;
    lockedUntil = monotonicSeconds() + ROAMING_LOCK_S;
    LOG_WAN(TRACE, name, "==               LOCKING CURRENT INTERFACE              ==");
    LOG_WAN(TRACE, name, "==========================================================");
}

void App::handleNewLink(const netlink::LinkEvent& event) {
    const std::string& name = event.name;
    const auto wan = findWanByName(name);
    if (wan == wans.end() || !wan->config.enabled) {
        LOG_WAN(TRACE, name, "RTM_NEWLINK: index(%d) skipping as not wan interface", event.ifIndex);
        return;
    }
    logLinkFlags(event);
    noteSeen(*wan, STAGE_LINKS);
    if (name == ROAMING_WAN && wan->up && roaming(event.flags)) {
        logRoamingBanner(name.c_str());
        lockRoamingWan(name.c_str());
    }
    wan->ifIndex = event.ifIndex;
    const bool isUp = linkUp(event.flags);
    if (isUp == wan->up)
        return;
    LOG_WAN(TRACE, name, "Up state changed to %s", isUp ? "true" : "false");
    wan->up = isUp;
    if (!isUp)
        processInetDown(wan->ifname, "carrier lost");
    else if (wan->inet())
        processInetUp(wan->ifname);
}

void App::handleDelLink(const netlink::LinkGoneEvent& event) {
    Wan* found = wanOfEvent("RTM_DELLINK", event.ifIndex);
    if (found == nullptr)
        return;
    Wan& wan = *found;
    LOG_WAN(TRACE, wan.ifname, "RTM_DELLINK");
    wan.ifIndex = -1;
    if (!wan.up)
        return;
    wan.up = false;
    processInetDown(wan.ifname, "link deleted");
}
