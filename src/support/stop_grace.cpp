#include "support/stop_grace.h"

#include <atomic>

#include "support/clock.h"

namespace {

// What a stop leaves the commands of the last work step, counted from the moment it is first
// seen: enough for a slow "ip route del" and for a short hook, while a hung one still ends the
// daemon within a few seconds.
constexpr int64_t STOP_GRACE_MS = 2000;
constexpr int64_t NOT_STOPPING = INT64_MAX;

// Set once at start-up, before any thread runs; the flag itself is written by a signal handler.
const volatile sig_atomic_t* gShellRunning = nullptr;
std::atomic<int64_t> gStopDeadline{NOT_STOPPING};

} // namespace

int64_t stopDeadline() {
    int64_t deadline = gStopDeadline.load();
    if (deadline != NOT_STOPPING || gShellRunning == nullptr || *gShellRunning != 0)
        return deadline;
    int64_t fromNow = monotonicMs() + STOP_GRACE_MS;
    // Another caller may have seen the stop first; its deadline stays.
    gStopDeadline.compare_exchange_strong(deadline, fromNow);
    return gStopDeadline.load();
}

void stopShellCommandsWith(const volatile sig_atomic_t* running) {
    gShellRunning = running;
}

bool stopGraceOver() {
    return monotonicMs() >= stopDeadline();
}
