#include "netlink/netlink_walk.h"

#include <cstring>
#include <linux/rtnetlink.h>

namespace netlink {

nlmsghdr messageHeader(const nlmsghdr* message) {
    nlmsghdr header;
    std::memcpy(&header, message, sizeof(header));
    return header;
}

bool fixedHeader(const nlmsghdr* message, void* out, size_t size) {
    if (messageHeader(message).nlmsg_len < NLMSG_HDRLEN + size)
        return false;
    std::memcpy(out, reinterpret_cast<const uint8_t*>(message) + NLMSG_HDRLEN, size);
    return true;
}

MessageWalk::MessageWalk(const uint8_t* data, size_t length) : cursor_(data), left_(length) {}

const nlmsghdr* MessageWalk::next() {
    if (left_ < NLMSG_HDRLEN)
        return nullptr;
    // Through void: on Arm the cursor need not be 4-byte aligned, and the pointer is only ever
    // read through messageHeader and fixedHeader, which copy.
    const auto* message = static_cast<const nlmsghdr*>(static_cast<const void*>(cursor_));
    const uint32_t length = messageHeader(message).nlmsg_len;
    if (length < NLMSG_HDRLEN || length > left_) {
        left_ = 0;
        return nullptr;
    }
    // The last message of a datagram need not carry its padding.
    const size_t step = NLMSG_ALIGN(length) < left_ ? NLMSG_ALIGN(length) : left_;
    cursor_ += step;
    left_ -= step;
    return message;
}

AttributeWalk::AttributeWalk(const nlmsghdr* message, size_t fixedLength)
    : cursor_(nullptr), left_(0) {
    const uint32_t length = messageHeader(message).nlmsg_len;
    if (length < NLMSG_HDRLEN + fixedLength)
        return;
    cursor_ = reinterpret_cast<const uint8_t*>(message) + NLMSG_HDRLEN + fixedLength;
    left_ = length - NLMSG_HDRLEN - fixedLength;
}

bool AttributeWalk::next(Attribute& attribute) {
    if (left_ < sizeof(rtattr))
        return false;
    rtattr header;
    std::memcpy(&header, cursor_, sizeof(header));
    if (header.rta_len < sizeof(rtattr) || header.rta_len > left_) {
        left_ = 0;
        return false;
    }
    attribute.type = header.rta_type;
    attribute.payload = cursor_ + sizeof(rtattr);
    attribute.payloadLength = header.rta_len - sizeof(rtattr);
    const size_t step = RTA_ALIGN(header.rta_len) < left_ ? RTA_ALIGN(header.rta_len) : left_;
    cursor_ += step;
    left_ -= step;
    return true;
}

bool readIpv4(const Attribute& attribute, uint32_t& out) {
    if (attribute.payloadLength != sizeof(out))
        return false;
    std::memcpy(&out, attribute.payload, sizeof(out));
    return true;
}

bool readInt32(const Attribute& attribute, int32_t& out) {
    if (attribute.payloadLength < sizeof(out))
        return false;
    std::memcpy(&out, attribute.payload, sizeof(out));
    return true;
}

std::string readName(const Attribute& attribute) {
    const void* end = std::memchr(attribute.payload, '\0', attribute.payloadLength);
    const size_t length =
        end ? static_cast<size_t>(static_cast<const uint8_t*>(end) - attribute.payload)
            : attribute.payloadLength;
    return std::string(reinterpret_cast<const char*>(attribute.payload), length);
}

} // namespace netlink
