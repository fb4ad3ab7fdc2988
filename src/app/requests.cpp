// The switching point: the only place where the requests recorded by the event side turn into
// a switch of the uplink.
#include "app/app.h"
#include "support/log.h"

void App::applyRequests() {
    if (searchNextInet) {
        if (nextWan == -1) {
            nextWan = searchNextWan(currentWan);
            if (dumpVerbosity != 0)
                dumpState(DumpPoint::AfterSearch);
        }
        previousWan = currentWan;
        currentWan = nextWan;
        nextWan = -1;
        searchNextInet = false;
        refreshInet = true;
    }
    if (!refreshInet)
        return;
    if (dumpVerbosity != 0)
        dumpState(DumpPoint::BeforeSwitch);
    // switchInet tells the hook the direction from previousWan, so it is advanced only after.
    const bool moved = previousWan != currentWan;
    switchInet();
    // The first application counts as a switch too, so the status says since when the uplink
    // has been what it is.
    if (moved || !status.lastSwitch().made)
        status.noteSwitch(wanAt(previousWan), wanAt(currentWan));
    previousWan = currentWan;
    refreshInet = false;
    if (dumpVerbosity != 0)
        dumpState(DumpPoint::AfterSwitch);
}
