// Crafted rtnetlink datagrams for the tests: messages in the kernel's layout, built byte by
// byte so that they can also be cut short or garbled.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

namespace nltest {

using Bytes = std::vector<uint8_t>;

// One netlink message: header, fixed family header, attributes; nlmsg_len set by bytes().
class Message {
public:
    Message(uint16_t type, uint32_t seq = 0);
    // Appends the fixed family header (or any raw bytes) right after what is there.
    Message& raw(const void* data, size_t size);
    // Appends one attribute with its payload, padded to 4 bytes.
    Message& attr(uint16_t type, const void* payload, size_t size);
    Message& attrU32(uint16_t type, uint32_t value);
    // The name with its terminating NUL.
    Message& attrName(uint16_t type, const std::string& name);
    Bytes bytes() const;

private:
    Bytes data_;
};

// Kernel-style messages of the six handled types and the two control types.
Bytes link(uint16_t type, int32_t index, uint32_t flags, const std::string& name,
           uint8_t family = 0);
Bytes address(uint16_t type, int32_t index, const std::string& dotted, uint8_t scope = 0,
              uint8_t family = 2 /* AF_INET */);
// oif -1 and an empty gateway leave out RTA_OIF and RTA_GATEWAY.
Bytes route(uint16_t type, int32_t oif, const std::string& gateway, uint8_t table,
            uint8_t family = 2 /* AF_INET */);
Bytes done(uint32_t seq);
Bytes error(uint32_t seq, int32_t code);

// Messages back to back, as the kernel packs them into one datagram.
Bytes concat(std::initializer_list<Bytes> parts);
// The network-byte-order value of a dotted quad.
uint32_t ipv4(const std::string& dotted);

} // namespace nltest
