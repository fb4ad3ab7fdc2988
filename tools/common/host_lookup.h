// Turns a host argument into one IPv4 address.
#pragma once

#include <netinet/in.h>
#include <string>

namespace tools {

// A dotted quad is taken as it is; anything else goes to getaddrinfo (AF_INET), first answer.
// On failure error says why.
bool lookupIpv4(const std::string& host, in_addr& address, std::string& error);

} // namespace tools
