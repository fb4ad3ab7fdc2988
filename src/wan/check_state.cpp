#include "wan/check_state.h"

const char* checkStateName(CheckState state) {
    switch (state) {
    case CheckState::Idle:
        return "Idle";
    case CheckState::RunActive:
        return "RunActive";
    case CheckState::SuccessUp:
        return "SuccessUp";
    case CheckState::SuccessDown:
        return "SuccessDown";
    case CheckState::Failed:
        return "Failed";
    }
    return "Unknown";
}
