#include "support/clock.h"

#include <ctime>

int32_t monotonicSeconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<int32_t>(now.tv_sec);
}
