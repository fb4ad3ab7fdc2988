#include "netlink_builder.h"

#include <arpa/inet.h>
#include <cstring>
#include <linux/rtnetlink.h>

namespace nltest {

Message::Message(uint16_t type, uint32_t seq) : data_(NLMSG_HDRLEN, 0) {
    nlmsghdr header{};
    header.nlmsg_type = type;
    header.nlmsg_seq = seq;
    std::memcpy(data_.data(), &header, sizeof(header));
}

Message& Message::raw(const void* data, size_t size) {
    const auto* bytes = static_cast<const uint8_t*>(data);
    data_.insert(data_.end(), bytes, bytes + size);
    return *this;
}

Message& Message::attr(uint16_t type, const void* payload, size_t size) {
    rtattr header{};
    header.rta_len = static_cast<uint16_t>(RTA_LENGTH(size));
    header.rta_type = type;
    raw(&header, sizeof(header));
    raw(payload, size);
    data_.resize(NLMSG_ALIGN(data_.size()), 0);
    return *this;
}

Message& Message::attrU32(uint16_t type, uint32_t value) {
    return attr(type, &value, 4);
}

Message& Message::attrName(uint16_t type, const std::string& name) {
    return attr(type, name.c_str(), name.size() + 1);
}

Bytes Message::bytes() const {
    Bytes out = data_;
    out.resize(NLMSG_ALIGN(out.size()), 0);
    const uint32_t length = static_cast<uint32_t>(out.size());
    std::memcpy(out.data(), &length, sizeof(length));
    return out;
}

Bytes link(uint16_t type, int32_t index, uint32_t flags, const std::string& name, uint8_t family) {
    ifinfomsg info{};
    info.ifi_family = family;
    info.ifi_index = index;
    info.ifi_flags = flags;
    Message message(type);
    message.raw(&info, sizeof(info));
    if (!name.empty())
        message.attrName(IFLA_IFNAME, name);
    return message.bytes();
}

Bytes address(uint16_t type, int32_t index, const std::string& dotted, uint8_t scope,
              uint8_t family) {
    ifaddrmsg info{};
    info.ifa_family = family;
    info.ifa_prefixlen = 24;
    info.ifa_scope = scope;
    info.ifa_index = static_cast<uint32_t>(index);
    Message message(type);
    message.raw(&info, sizeof(info));
    // The kernel sends IFA_ADDRESS first; only IFA_LOCAL names our own address.
    message.attrU32(IFA_ADDRESS, ipv4(dotted)).attrU32(IFA_LOCAL, ipv4(dotted));
    return message.bytes();
}

Bytes route(uint16_t type, int32_t oif, const std::string& gateway, uint8_t table, uint8_t family) {
    rtmsg info{};
    info.rtm_family = family;
    info.rtm_table = table;
    info.rtm_protocol = RTPROT_BOOT;
    info.rtm_type = RTN_UNICAST;
    Message message(type);
    message.raw(&info, sizeof(info));
    message.attrU32(RTA_TABLE, table);
    if (!gateway.empty())
        message.attrU32(RTA_GATEWAY, ipv4(gateway));
    if (oif != -1)
        message.attrU32(RTA_OIF, static_cast<uint32_t>(oif));
    return message.bytes();
}

Bytes done(uint32_t seq) {
    const int32_t zero = 0;
    return Message(NLMSG_DONE, seq).raw(&zero, sizeof(zero)).bytes();
}

Bytes error(uint32_t seq, int32_t code) {
    nlmsgerr body{};
    body.error = code;
    return Message(NLMSG_ERROR, seq).raw(&body, sizeof(body)).bytes();
}

Bytes concat(std::initializer_list<Bytes> parts) {
    Bytes out;
    for (const Bytes& part : parts)
        out.insert(out.end(), part.begin(), part.end());
    return out;
}

uint32_t ipv4(const std::string& dotted) {
    in_addr value{};
    inet_pton(AF_INET, dotted.c_str(), &value);
    return value.s_addr;
}

} // namespace nltest
