// Strict readers for the values the tools accept on their command lines.
#pragma once

#include <netinet/in.h>
#include <string>

namespace tools {

// Plain decimal digits only (no sign, blank or prefix), within [min, max].
bool parseNumber(const std::string& text, unsigned long min, unsigned long max,
                 unsigned long& value);

// A dotted-quad IPv4 address; address is in network byte order.
bool parseIpv4(const std::string& text, in_addr& address);

// "A.B.C.D" or "A.B.C.D:PORT"; port defaults to defaultPort, PORT in 1..65535.
bool parseIpv4WithPort(const std::string& text, uint16_t defaultPort, in_addr& address,
                       uint16_t& port);

// A host argument: an IPv4 address or something that can be a host name (non-empty, at most
// 253 bytes, no blanks or control characters); the look-up itself happens later.
bool plausibleHost(const std::string& text);

} // namespace tools
