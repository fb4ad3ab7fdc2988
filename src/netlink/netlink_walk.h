// Bounded walks over rtnetlink input: the messages of a datagram and the attributes of a
// message. Nothing is read before its length has been checked against the bytes left, and
// fixed headers are copied out, so a datagram at any alignment is safe to walk.
#pragma once

#include <cstddef>
#include <cstdint>
#include <linux/netlink.h>
#include <string>

namespace netlink {

// Copies the netlink header of a message whose first 16 bytes the caller has checked.
nlmsghdr messageHeader(const nlmsghdr* message);

// Copies the fixed family header (ifinfomsg, ifaddrmsg, rtmsg) that follows the netlink
// header; false when nlmsg_len is too short to hold it.
bool fixedHeader(const nlmsghdr* message, void* out, size_t size);

// Steps over the messages of one datagram; stops at the first whose length is below the
// netlink header or runs past the end of the datagram.
class MessageWalk {
public:
    MessageWalk(const uint8_t* data, size_t length);
    // The next well-formed message, or nullptr at the end.
    const nlmsghdr* next();

private:
    const uint8_t* cursor_;
    size_t left_;
};

// One attribute found by AttributeWalk: its type and its payload (after the 4-byte header).
struct Attribute {
    uint16_t type;
    const uint8_t* payload;
    size_t payloadLength;
};

// Steps over the attributes that follow a fixed header of fixedLength bytes; stops at the
// first attribute shorter than its own header or longer than the bytes left of the message.
class AttributeWalk {
public:
    AttributeWalk(const nlmsghdr* message, size_t fixedLength);
    // Fills attribute with the next well-formed attribute; false at the end.
    bool next(Attribute& attribute);

private:
    const uint8_t* cursor_;
    size_t left_;
};

// An IPv4 address (network byte order) from an attribute of total length exactly 8.
bool readIpv4(const Attribute& attribute, uint32_t& out);
// A 32-bit value from the first 4 payload bytes; false when the payload is shorter.
bool readInt32(const Attribute& attribute, int32_t& out);
// A name that ends at its NUL, or at the end of the payload when it has none.
std::string readName(const Attribute& attribute);

} // namespace netlink
