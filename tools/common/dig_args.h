// Command line of vrx-dig: --bind-address ADDRESS --dns-address SERVER[:PORT] NAME.
#pragma once

#include "common/arg_scan.h"

#include <cstdint>
#include <netinet/in.h>
#include <string>
#include <vector>

namespace tools {

struct DigArgs {
    in_addr bindAddress{}; // network byte order
    in_addr server{};      // network byte order
    uint16_t port = 53;
    std::string name;
};

ParseStatus parseDigArgs(const std::vector<std::string>& args, DigArgs& parsed, std::string& error);

extern const char* const kDigUsage;

} // namespace tools
