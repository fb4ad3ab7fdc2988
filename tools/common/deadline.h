// Time limits of the tools: every wait is measured on the monotonic clock, and a watchdog ends
// a run that overstays its bound whatever call it is blocked in.
#pragma once

#include <cstdint>

namespace tools {

// Milliseconds and microseconds of CLOCK_MONOTONIC, immune to wall-clock steps.
int64_t monotonicMs();
int64_t monotonicUs();

class Deadline {
public:
    explicit Deadline(int64_t fromNowMs) : end_(monotonicMs() + fromNowMs) {}
    // Milliseconds left, never negative; fits a poll() time-out.
    int remainingMs() const;
    bool expired() const { return remainingMs() == 0; }

private:
    int64_t end_;
};

// Ends the process by SIGALRM after seconds. Covers what the tools cannot bound themselves
// (getaddrinfo through the system resolver); a parent sees a non-zero, signalled status.
void armWatchdog(unsigned seconds);

} // namespace tools
