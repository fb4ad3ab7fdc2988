// The process frame: options and logging, single instance, daemon start, signals, and the loop
// that drives the engine's work step until a signal or the engine ends it.
#include <cstdio>

#include "app/app.h"
#include "main/daemon.h"
#include "main/instance_lock.h"
#include "main/options.h"
#include "main/signals.h"
#include "support/log.h"
#include "support/stop_grace.h"

// Both flags are tested before every step, so a stop request ends the loop after the step in
// which it arrived.
static void runMainLoop(App& app) {
    LOG_DEBUG("main loop");
    while (gRunning && app.keepRunning()) {
        if (gReconfigure) {
            LOG_DEBUG("start reconfigure");
            gReconfigure = 0;
        }
        app.work();
    }
}

// A failed init is not a start-up failure: the exit status stays 0 so that a supervisor does
// not restart the daemon in a tight loop over a configuration it cannot use.
static int runApp(int dumpVerbosity) {
    LOG_DEBUG("start init");
    {
        App app(dumpVerbosity);
        if (app.init()) {
            runMainLoop(app);
            LOG_DEBUG("start deinit");
            app.deinit();
        } else {
            LOG_ERROR("init failed!");
            StatusReport::remove();
        }
    }
    LOG_DEBUG("done");
    return 0;
}

int main(int argc, char** argv) {
    openStandardStreams();
    ignoreBrokenPipe();
    // Standard output may be a pipe to a supervisor; each log line should reach it when written.
    (void)setvbuf(stdout, nullptr, _IOLBF, 0);
    VRX::Logger::setPrintLevel(VRX::Logger::PrintLevel::INFO_LEVEL, true);
    const Options options = parseOptions(argc, argv);
    setupLogTarget(options);
    LOG_INFO("uplinker starting up with log level %s", VRX::Logger::getPrintLevelString().c_str());

    if (!acquireInstanceLock()) {
        LOG_ERROR("Another instance of uplinker is already running!");
        return 1;
    }
    if (options.daemonize) {
        const DaemonStart started = startDaemon();
        if (started == DaemonStart::Parent)
            return 0;
        if (started == DaemonStart::Failed)
            return 1;
    }
    if (!installSignalHandlers())
        return 1;
    stopShellCommandsWith(&gRunning);
    return runApp(options.dumpVerbosity);
}
