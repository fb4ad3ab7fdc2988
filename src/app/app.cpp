#include "app/app.h"

#include "support/log.h"

App::App(int verbosity) : dumpVerbosity(verbosity) {
    LOG_TRACE("App::App");
}

App::~App() {
    LOG_TRACE("App::~App");
    // The WANs are torn down in table order, the most preferred first, each logged before its
    // thread stops, so that a cancelled probe's line follows its own WAN's. Tearing each down
    // explicitly keeps the order independent of how the container destroys its elements.
    for (Wan& wan : wans)
        wan.teardown();
    wans.clear();
}

bool App::init() {
    LOG_TRACE("App::init");
    // A file a dead instance left would show its decisions as current while this one waits up
    // to 10 s for its configuration.
    writeStatus("starting");
    if (!initWans(Conf::inst()))
        return false;
    LOG_DEBUG("INIT NETLINK STARTED");
    if (!openNetlink())
        return false;
    if (dumpVerbosity != 0)
        dumpState(DumpPoint::EndOfInit);
    return true;
}

void App::deinit() {
    LOG_TRACE("App::deinit");
    socket.close();
    StatusReport::remove();
}

App::Indices App::indices() const {
    return Indices{previousWan, currentWan,  nextWan,        lastEnabledWan,
                   lockedWan,   lockedUntil, searchNextInet, refreshInet};
}

Wan* App::wanAt(int index) {
    if (index < 0 || static_cast<size_t>(index) >= wans.size())
        return nullptr;
    return &wans[static_cast<size_t>(index)];
}
