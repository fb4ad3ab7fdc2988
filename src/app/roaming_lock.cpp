// The Wi-Fi roaming lock: while "wlan0" re-associates the uplink stays pinned to it, so a short
// loss of link does not move the default route away and straight back.
#include <string>

#include "app/app.h"
#include "support/clock.h"
#include "support/log.h"

namespace {

void logTimeoutBanner(const char* name) {
    LOG_WAN(TRACE, name, "==========================================================");
    LOG_WAN(TRACE, name,
            "==   UNLOCKING INTERFACE AFTER %d SECONDS LOCK TIMEOUT  ==", ROAMING_LOCK_S);
    LOG_WAN(TRACE, name, "==========================================================");
}

// The roaming client is back on a network: the probe that failed while it re-associated must
// not count against it.
void acceptRecoveredWan(Wan& wan) {
    const char* name = wan.ifname.c_str();
    LOG_WAN(TRACE, name, "==========================================================");
    LOG_WAN(TRACE, name, "==   UNLOCKING INTERFACE SINCE IT HAS INTERNET NOW      ==");
    LOG_WAN(TRACE, name, "==========================================================");
    if (wan.config.monitorMode == MonitorMode::Active && !wan.activeResult)
        LOG_WAN(TRACE, name, "Setting ActiveResult=true to suppress false negative result");
    wan.activeResult = true;
    // Verdicts counted before the roam are as stale as the one forgiven here.
    wan.clearPending();
}

} // namespace

void App::enforceRoamingLock() {
    if (lockedWan == -1)
        return;
    nextWan = -1;
    previousWan = currentWan = lockedWan;
    searchNextInet = false;
    refreshInet = false;
    if (dumpVerbosity != 0)
        dumpState(DumpPoint::Locked);

    Wan* locked = wanAt(lockedWan);
    const char* name = locked != nullptr ? locked->ifname.c_str() : "unknown";
    // Only link, address and gateway count here: the active verdict is stale after roaming.
    if (locked != nullptr && locked->linkReady()) {
        acceptRecoveredWan(*locked);
        if (monotonicSeconds() >= lockedUntil)
            logTimeoutBanner(name);
        status.requestedBy(name, "roaming lock ended");
    } else if (monotonicSeconds() < lockedUntil) {
        return;
    } else {
        logTimeoutBanner(name);
        status.requestedBy(name, "roaming lock ran out");
    }

    LOG_TRACE("Search for best available wan among all enabled wans");
    nextWan = searchNextWan(-1);
    searchNextInet = true;
    lockedWan = -1;
    lockedUntil = 0;
    if (dumpVerbosity != 0)
        dumpState(DumpPoint::Unlocked);
}
