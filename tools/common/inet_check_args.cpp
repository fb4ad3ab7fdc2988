#include "common/inet_check_args.h"

#include "common/values.h"

#include <net/if.h>

namespace tools {

const char* const kInetCheckUsage =
    "usage: inet-check -m active -h HOST -t tcp -p PORT IFNAME\n"
    "       inet-check --help\n"
    "  Opens a TCP connection to HOST:PORT (IPv4 address or host name) through the interface\n"
    "  IFNAME. Exits 0 when it connects within 3 s, 1 otherwise, 2 on a usage error.\n";

namespace {

bool checkFixed(const ScannedArgs& scanned, const std::string& key, const std::string& wanted,
                std::string& error) {
    auto found = scanned.options.find(key);
    if (found == scanned.options.end()) {
        error = "-" + key + " " + wanted + " is required";
        return false;
    }
    if (found->second != wanted) {
        error = "only -" + key + " " + wanted + " is supported, not " + found->second;
        return false;
    }
    return true;
}

bool takeEndpoint(const ScannedArgs& scanned, InetCheckArgs& parsed, std::string& error) {
    auto host = scanned.options.find("h");
    auto port = scanned.options.find("p");
    if (host == scanned.options.end() || !plausibleHost(host->second)) {
        error = "a HOST is required after -h";
        return false;
    }
    unsigned long number = 0;
    if (port == scanned.options.end() || !parseNumber(port->second, 1, 65535, number)) {
        error = "a PORT in 1..65535 is required after -p";
        return false;
    }
    parsed.host = host->second;
    parsed.port = static_cast<uint16_t>(number);
    return true;
}

} // namespace

ParseStatus parseInetCheckArgs(const std::vector<std::string>& args, InetCheckArgs& parsed,
                               std::string& error) {
    if (args.size() == 1 && args[0] == "-h")
        return ParseStatus::Help;
    static const std::vector<OptionSpec> specs = {
        {"m", "", true}, {"h", "", true}, {"t", "", true}, {"p", "", true}, {"", "help", false}};
    ScannedArgs scanned;
    if (!scanArgs(args, specs, scanned, error))
        return ParseStatus::Error;
    if (scanned.options.count("help"))
        return ParseStatus::Help;
    if (!checkFixed(scanned, "m", "active", error) || !checkFixed(scanned, "t", "tcp", error) ||
        !takeEndpoint(scanned, parsed, error))
        return ParseStatus::Error;
    const std::vector<std::string>& rest = scanned.positionals;
    if (rest.size() != 1 || rest[0].empty() || rest[0].size() >= IFNAMSIZ ||
        rest[0].find('/') != std::string::npos) {
        error = "exactly one interface name is required";
        return ParseStatus::Error;
    }
    parsed.ifname = rest[0];
    return ParseStatus::Ok;
}

} // namespace tools
