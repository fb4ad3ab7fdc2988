// Shared by the fuzz targets: a logger that formats every line but writes nowhere, and a loud
// stop when a property the daemon relies on breaks (libFuzzer keeps the input as a crash).
#pragma once

#include <cstdio>
#include <cstdlib>

#include "support/logger.h"

#define FUZZ_CHECK(condition)                                                                      \
    ((condition) ? (void)0                                                                         \
                 : (std::fprintf(stderr, "fuzz property broken: %s\n", #condition), std::abort()))

inline bool quietLogger() {
    VRX::Logger::setPrintLevel(VRX::Logger::PrintLevel::TRACE_LEVEL, false);
    FUZZ_CHECK(VRX::Logger::setup(VRX::Logger::FILE_MODE, "/dev/null"));
    return true;
}
