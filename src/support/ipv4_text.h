// IPv4 addresses as log lines and commands print them.
#pragma once

#include <cstdint>
#include <string>

// An IPv4 address in network byte order that means "none".
constexpr uint32_t NO_ADDRESS = 0xFFFFFFFFu;

// Dotted quad of an address in network byte order.
std::string dottedQuad(uint32_t address);
