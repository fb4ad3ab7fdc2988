#include "wan/check_state.h"

const char* checkStateName(CheckState state) {
    switch (state) {
    case Idle:
        return "Idle";
    case RunActive:
        return "RunActive";
    case SuccessUp:
        return "SuccessUp";
    case SuccessDown:
        return "SuccessDown";
    case Failed:
        return "Failed";
    }
    return "Unknown";
}
