#include "common/ping_args.h"

#include "common/values.h"

namespace tools {

const char* const kPingUsage =
    "usage: uplinker-ping -I ADDRESS -c COUNT TARGET\n"
    "  Sends COUNT (1..255) ICMP echo requests, 200 ms apart, from the local IPv4 ADDRESS to\n"
    "  TARGET (IPv4 address or host name). Exits 0 at the first reply, 1 when none came\n"
    "  within 6 s after the last request (a reply up to 5 s late still counts; a silent\n"
    "  TARGET takes 6.6 s with COUNT 4), 2 on a usage error. With -a it sends every request\n"
    "  and waits for every reply (again at most 6 s after the last request), to measure loss\n"
    "  and round-trip times; the exit status is the same. The last line reports\n"
    "  \"sent N received M rtt_ms\" and the round-trip time of each reply in ms.\n";

ParseStatus parsePingArgs(const std::vector<std::string>& args, PingArgs& parsed,
                          std::string& error) {
    static const std::vector<OptionSpec> specs = {
        {"I", "", true}, {"c", "", true}, {"a", "", false}, {"h", "help", false}};
    ScannedArgs scanned;
    if (!scanArgs(args, specs, scanned, error))
        return ParseStatus::Error;
    if (scanned.options.count("help"))
        return ParseStatus::Help;
    auto source = scanned.options.find("I");
    auto count = scanned.options.find("c");
    if (source == scanned.options.end() || count == scanned.options.end()) {
        error = "both -I and -c are required";
        return ParseStatus::Error;
    }
    if (!parseIpv4(source->second, parsed.source)) {
        error = "bad source address " + source->second;
        return ParseStatus::Error;
    }
    unsigned long number = 0;
    if (!parseNumber(count->second, 1, 255, number)) {
        error = "COUNT must be 1..255, not " + count->second;
        return ParseStatus::Error;
    }
    parsed.count = static_cast<unsigned>(number);
    if (scanned.positionals.size() != 1 || !plausibleHost(scanned.positionals[0])) {
        error = "exactly one TARGET is required";
        return ParseStatus::Error;
    }
    parsed.target = scanned.positionals[0];
    parsed.all = scanned.options.count("a") != 0;
    return ParseStatus::Ok;
}

} // namespace tools
