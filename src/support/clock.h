// The one time source of the daemon: whole seconds of the monotonic clock.
#pragma once

#include <cstdint>

int32_t monotonicSeconds();
