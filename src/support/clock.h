// The one time source of the daemon: the monotonic clock. Every time stamp and time-out reads
// it through monotonicMs, so a test binary can link in a clock of its own and step time.
#pragma once

#include <cstdint>

// Milliseconds of the monotonic clock.
int64_t monotonicMs();
// Milliseconds since the epoch: only for times shown to people, never for a rule's timing.
int64_t realtimeMs();

// Whole seconds of the same clock: the stamps of the engine's rules (check intervals, the
// roaming lock).
inline int32_t monotonicSeconds() {
    return static_cast<int32_t>(monotonicMs() / 1000);
}
