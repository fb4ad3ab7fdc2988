// Command line of uplinker-ping: [-a] -I ADDRESS -c COUNT TARGET.
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
    bool all = false;   // wait for every reply, not only the first
};

ParseStatus parsePingArgs(const std::vector<std::string>& args, PingArgs& parsed,
                          std::string& error);

extern const char* const kPingUsage;

} // namespace tools
