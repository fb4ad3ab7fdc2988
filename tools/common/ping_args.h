// Command line of uplinker-ping: -I ADDRESS -c COUNT TARGET.
#pragma once

#include "common/arg_scan.h"

#include <netinet/in.h>
#include <string>
#include <vector>

namespace tools {

struct PingArgs {
    in_addr source{};   // network byte order
    unsigned count = 0; // 1..255
    std::string target; // IPv4 address or host name, resolved later
};

ParseStatus parsePingArgs(const std::vector<std::string>& args, PingArgs& parsed,
                          std::string& error);

extern const char* const kPingUsage;

} // namespace tools
