// Where a WAN's active check stands.
#pragma once

#include <cstdint>

enum class CheckState : int32_t {
    Idle = 0,
    RunActive = 1,
    SuccessUp = 2,
    SuccessDown = 3,
    Failed = 4
};

// "Idle" ... "Failed"; any other value "Unknown".
const char* checkStateName(CheckState state);
