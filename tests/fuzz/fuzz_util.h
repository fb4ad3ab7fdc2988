// Helpers shared by the fuzz targets: a logger that formats every line but writes nowhere, a
// private scratch directory, and a loud stop when a behaviour property breaks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace fuzzutil {

// TRACE in force (so every message is formatted) with /dev/null as the target.
void quietLogger();
// A file in a directory made once per process (both removed at exit); the targets that read
// files write their input there.
const std::string& scratchFile();
// Replaces the file's content with the bytes; false when it cannot be written.
bool writeFile(const std::string& path, const uint8_t* data, size_t size);
// Reports a broken property and aborts, which libFuzzer records as a crash with its input.
[[noreturn]] void fail(const char* what);

} // namespace fuzzutil

#define FUZZ_CHECK(condition)                                                                      \
    do {                                                                                           \
        if (!(condition))                                                                          \
            fuzzutil::fail(#condition);                                                            \
    } while (0)
