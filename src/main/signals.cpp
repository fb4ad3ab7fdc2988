// The handlers only store one word each; everything else happens in the main loop.
#include "main/signals.h"

#include <cstring>

#include "support/log.h"

volatile sig_atomic_t gRunning = 1;
volatile sig_atomic_t gReconfigure = 0;

void onHangup(int) {
    gReconfigure = 1;
}

void onTerminate(int) {
    gRunning = 0;
}

// No SA_RESTART: a select in the work step must return early with EINTR so that a stop request
// is seen without waiting out the full timeout.
static bool installHandler(int signalNumber, void (*handler)(int)) {
    struct sigaction action;
    memset(&action, 0, sizeof(action));
    action.sa_handler = handler;
    sigemptyset(&action.sa_mask);
    action.sa_flags = 0;
    return sigaction(signalNumber, &action, nullptr) != -1;
}

void ignoreBrokenPipe() {
    (void)installHandler(SIGPIPE, SIG_IGN);
}

bool installSignalHandlers() {
    LOG_DEBUG("set signal handlers");
    if (!installHandler(SIGHUP, onHangup)) {
        LOG_ERROR("set signal handlers for SIGHUP failed!");
        return false;
    }
    if (!installHandler(SIGTERM, onTerminate)) {
        LOG_ERROR("set signal handlers for SIGTERM failed!");
        return false;
    }
    if (!installHandler(SIGINT, onTerminate)) {
        LOG_ERROR("set signal handlers for SIGINT failed!");
        return false;
    }
    return true;
}
