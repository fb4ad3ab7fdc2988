// The "true"/"false" words the engine's log lines and state dump print for flags.
#pragma once

inline const char* boolText(bool value) {
    return value ? "true" : "false";
}
