// Command line of inet-check: -m active -h HOST -t tcp -p PORT IFNAME.
#pragma once

#include "common/arg_scan.h"

#include <cstdint>
#include <string>
#include <vector>

namespace tools {

struct InetCheckArgs {
    std::string host;   // IPv4 address or host name, resolved later
    uint16_t port = 0;  // 1..65535
    std::string ifname; // the interface the connection must leave through
};

// "-h" names the host here, so the help is "--help", or "-h" as the only word.
ParseStatus parseInetCheckArgs(const std::vector<std::string>& args, InetCheckArgs& parsed,
                               std::string& error);

extern const char* const kInetCheckUsage;

} // namespace tools
