// One step of the main loop: netlink intake, then the decisions, in a fixed order.
#include <cerrno>
#include <sys/select.h>

#include "app/app.h"
#include "support/log.h"

namespace {

// Waits up to one second for the socket to become readable; false on a wait error that is
// not an interruption.
bool waitReadable(int fd, bool& readable) {
    fd_set readSet;
    FD_ZERO(&readSet);
    // FD_SET on a descriptor outside the set's range would write past it.
    const bool usable = fd >= 0 && fd < FD_SETSIZE;
    if (usable)
        FD_SET(fd, &readSet);
    timeval timeout{1, 0};
    const int result = select(usable ? fd + 1 : 0, &readSet, nullptr, nullptr, &timeout);
    readable = result > 0 && usable && FD_ISSET(fd, &readSet);
    return result >= 0 || errno == EINTR || errno == EAGAIN;
}

} // namespace

void App::work() {
    bool readable = false;
    if (!waitReadable(netlinkFd, readable) && running != nullptr)
        *running = false;
    if (readable) {
        LOG_TRACE("NEWLINK MESSAGE START");
        netlinkReadMessages();
        LOG_TRACE("NEWLINK MESSAGE END");
    }
    if (dumpVerbosity > 1)
        dumpState("work", 211, "");
    // No decisions until the kernel has answered all three start-up dumps.
    if (initStage != 4)
        return;
    enforceRoamingLock();
    applyRequests();
    pollCellularStatus();
    driveActiveChecks();
}
