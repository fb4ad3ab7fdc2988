// The table-name file reader on any content: every name is one word of 1..15 characters.
#include <cstring>
#include <fstream>

#include "conf/route_tables.h"
#include "fuzz_util.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // tests/fuzz/run gives each target a private /run on tmpfs.
    const char* path = "/run/rt_tables.fuzz";
    std::ofstream(path, std::ios::binary | std::ios::trunc)
        .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    for (const auto& entry : loadRouteTables(path)) {
        FUZZ_CHECK(!entry.first.empty() && entry.first.size() <= 15);
        for (char c : entry.first)
            FUZZ_CHECK(c != '\0' && std::strchr(" \t\n\v\f\r", c) == nullptr);
    }
    return 0;
}
