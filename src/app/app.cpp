#include "app/app.h"

#include <unistd.h>

#include "support/log.h"

App::App(bool* runningFlag, int verbosity)
    : running(runningFlag), netlinkFd(-1), initStage(0), nextSeq(1), dumpSeq(0), mode(Constant),
      previousWan(-1), currentWan(-1), nextWan(-1), lastEnabledWan(-1), lockedWan(-1),
      lockedUntil(0), searchNextInet(false), refreshInet(false), dumpVerbosity(verbosity) {
    LOG_TRACE("App::App");
}

App::~App() {
    LOG_TRACE("App::~App");
    // The check threads are stopped in table order, the most preferred WAN first. Wan cannot be
    // assigned, so the vector cannot erase from its front; stopping each thread explicitly keeps
    // the order independent of how the vector destroys its elements.
    for (Wan& wan : wans)
        wan.thread.stop();
    wans.clear();
}

bool App::init() {
    LOG_TRACE("App::init");
    if (!initWans(Conf::inst()))
        return false;
    LOG_DEBUG("INIT NETLINK STARTED");
    if (!openNetlink())
        return false;
    if (dumpVerbosity != 0)
        dumpState("init", 172, "At the end of App::init()");
    return true;
}

void App::deinit() {
    LOG_TRACE("App::deinit");
    if (netlinkFd != -1) {
        close(netlinkFd);
        netlinkFd = -1;
    }
}
