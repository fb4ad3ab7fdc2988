// Writing a whole buffer to a descriptor.
#pragma once

#include <cstddef>

// Writes all length bytes, completing short writes and retrying interrupted ones; false when
// a write fails (a full disk, a closed pipe), with the rest dropped.
bool writeAll(int fd, const char* data, size_t length);
