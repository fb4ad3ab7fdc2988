// IPv4 addresses as log lines and commands print them.
#pragma once

#include <cstdint>
#include <string>

// Dotted quad of an address in network byte order.
std::string dottedQuad(uint32_t address);
