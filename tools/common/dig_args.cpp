#include "common/dig_args.h"

#include "common/values.h"

namespace tools {

const char* const kDigUsage =
    "usage: vrx-dig --bind-address ADDRESS --dns-address SERVER[:PORT] NAME\n"
    "  Asks SERVER (port 53 unless given) once for the A records of NAME, from the local IPv4\n"
    "  ADDRESS, and prints \"Found ipV4 A.B.C.D\" for each address of the answer. Exits 0 when\n"
    "  the query was answered, 1 when it was not, 2 on a usage error.\n";

ParseStatus parseDigArgs(const std::vector<std::string>& args, DigArgs& parsed,
                         std::string& error) {
    static const std::vector<OptionSpec> specs = {
        {"", "bind-address", true}, {"", "dns-address", true}, {"h", "help", false}};
    ScannedArgs scanned;
    if (!scanArgs(args, specs, scanned, error))
        return ParseStatus::Error;
    if (scanned.options.count("help"))
        return ParseStatus::Help;
    auto bind = scanned.options.find("bind-address");
    auto server = scanned.options.find("dns-address");
    if (bind == scanned.options.end() || server == scanned.options.end()) {
        error = "both --bind-address and --dns-address are required";
        return ParseStatus::Error;
    }
    if (!parseIpv4(bind->second, parsed.bindAddress)) {
        error = "bad bind address " + bind->second;
        return ParseStatus::Error;
    }
    if (!parseIpv4WithPort(server->second, 53, parsed.server, parsed.port)) {
        error = "bad server address " + server->second;
        return ParseStatus::Error;
    }
    if (scanned.positionals.size() != 1 || !plausibleHost(scanned.positionals[0])) {
        error = "exactly one NAME is required";
        return ParseStatus::Error;
    }
    parsed.name = scanned.positionals[0];
    return ParseStatus::Ok;
}

} // namespace tools
