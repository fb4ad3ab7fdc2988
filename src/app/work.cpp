// One step of the main loop: netlink intake, then the decisions, in a fixed order.
#include "app/app.h"
#include "support/log.h"

namespace {

// The longest a step waits for kernel input before it decides anyway.
constexpr int STEP_WAIT_S = 1;

} // namespace

void App::work() {
    bool readable = false;
    if (!socket.waitReadable(STEP_WAIT_S, readable))
        running = false;
    if (readable) {
        LOG_TRACE("NEWLINK MESSAGE START");
        netlinkReadMessages();
        LOG_TRACE("NEWLINK MESSAGE END");
    }
    if (dumpVerbosity > 1)
        dumpState(DumpPoint::EveryStep);
    decide();
}

void App::decide() {
    // No decisions until the kernel has answered all three start-up dumps.
    if (!started())
        return;
    enforceRoamingLock();
    applyRequests();
    pollCellularStatus();
    driveActiveChecks();
    publishStatus();
}
