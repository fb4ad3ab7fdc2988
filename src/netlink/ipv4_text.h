// IPv4 addresses as the log lines print them.
#pragma once

#include <cstdint>
#include <string>

namespace netlink {

// Dotted quad of an address in network byte order.
std::string dottedQuad(uint32_t address);

} // namespace netlink
