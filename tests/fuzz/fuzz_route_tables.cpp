// The table-name file reader on arbitrary file content. Every name it returns must be one word
// of at most 15 characters, the way the routing tools print it.
#include <cstdint>
#include <cstring>

#include "conf/route_tables.h"
#include "fuzz_util.h"

namespace {

constexpr size_t MAX_NAME = 15;

bool isOneWord(const std::string& name) {
    if (name.empty() || name.size() > MAX_NAME)
        return false;
    for (char c : name) {
        if (c == '\0' || std::strchr(" \t\n\v\f\r", c) != nullptr)
            return false;
    }
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string& path = fuzzutil::scratchFile();
    if (!fuzzutil::writeFile(path, data, size))
        fuzzutil::fail("the input file cannot be written");
    const std::map<std::string, int> tables = loadRouteTables(path);
    // The shortest entry is a digit and a one-letter name with nothing between ("0x"), and
    // entries need a line each.
    FUZZ_CHECK(tables.size() <= (size + 1) / 3);
    for (const auto& entry : tables)
        FUZZ_CHECK(isOneWord(entry.first));
    return 0;
}
