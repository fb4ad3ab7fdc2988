// The Wi-Fi roaming lock: while "wlan0" re-associates the uplink stays pinned to it, so a short
// loss of link does not move the default route away and straight back.
#include <string>

#include "app/app.h"
#include "support/clock.h"
#include "support/log.h"

namespace {

void logTimeoutBanner(const char* name) {
    LOG_TRACE("%s| ==========================================================", name);
    LOG_TRACE("%s| ==   UNLOCKING INTERFACE AFTER %d SECONDS LOCK TIMEOUT  ==", name,
              ROAMING_LOCK_S);
    LOG_TRACE("%s| ==========================================================", name);
}

// The roaming client is back on a network: the probe that failed while it re-associated must
// not count against it.
void acceptRecoveredWan(Wan& wan) {
    const char* name = wan.ifname.c_str();
    LOG_TRACE("%s| ==========================================================", name);
    LOG_TRACE("%s| ==   UNLOCKING INTERFACE SINCE IT HAS INTERNET NOW      ==", name);
    LOG_TRACE("%s| ==========================================================", name);
    if (wan.config.monitorMode == Active && !wan.activeResult)
        LOG_TRACE("%s| Setting ActiveResult=true to suppress false negative result", name);
    wan.activeResult = true;
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
        dumpState("work", 229, "In locked state, all state variables are fixed");

    Wan* locked = wanAt(lockedWan);
    const char* name = locked != nullptr ? locked->ifname.c_str() : "unknown";
    // Only link, address and gateway count here: the active verdict is stale after roaming.
    if (locked != nullptr && locked->up && locked->misc && locked->ipValid() && locked->gwValid()) {
        acceptRecoveredWan(*locked);
        if (monotonicSeconds() >= lockedUntil)
            logTimeoutBanner(name);
    } else if (monotonicSeconds() < lockedUntil) {
        return;
    } else {
        logTimeoutBanner(name);
    }

    LOG_TRACE("Search for best available wan among all enabled wans");
    nextWan = searchNextWan(-1);
    searchNextInet = true;
    lockedWan = -1;
    lockedUntil = 0;
    if (dumpVerbosity != 0)
        dumpState("work", 261, "State variables right after unlocking");
}
