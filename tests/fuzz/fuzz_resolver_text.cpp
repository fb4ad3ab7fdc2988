// The two line scanners of the WAN checks, on the same arbitrary text: a resolver file read for
// its "nameserver" lines, and the lookup tool's output scanned for its "Found ipV4" lines (the
// scan the lookup runs on the tool's output, called here without starting the tool).
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "fuzz_util.h"
#include "wan/checking_thread.h"
#include "wan/line_scan.h"

namespace {

// The characters trimming removes; a NUL is not one of them.
bool isSpace(char c) {
    return c != '\0' && std::strchr(" \t\r\n\v\f", c) != nullptr;
}

// Values come out trimmed and never span a line.
bool isCleanValue(const std::string& value) {
    if (value.find('\n') != std::string::npos)
        return false;
    return value.empty() || (!isSpace(value.front()) && !isSpace(value.back()));
}

void scanResolverFile(const uint8_t* data, size_t size) {
    const std::string& path = fuzzutil::scratchFile();
    if (!fuzzutil::writeFile(path, data, size))
        fuzzutil::fail("the input file cannot be written");
    // The check thread's helpers do not touch their Wan; no thread is started here.
    static WanCheckingThread checker(nullptr);
    std::vector<std::string> servers;
    const bool seen = checker.readNameservers(servers, path);
    FUZZ_CHECK(seen == !servers.empty());
    for (const std::string& server : servers)
        FUZZ_CHECK(isCleanValue(server));
}

void scanLookupOutput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    size_t found = 0;
    for (const std::string& line : wanscan::lines(text)) {
        FUZZ_CHECK(line.find('\n') == std::string::npos);
        std::string address;
        if (!wanscan::valueAfter(line, "Found ipV4", address))
            continue;
        FUZZ_CHECK(isCleanValue(address));
        ++found;
    }
    FUZZ_CHECK(found * std::strlen("Found ipV4") <= size);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const bool ready = (fuzzutil::quietLogger(), true);
    (void)ready;
    scanResolverFile(data, size);
    scanLookupOutput(data, size);
    return 0;
}
