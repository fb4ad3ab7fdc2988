#include "common/icmp_echo.h"

namespace tools {
namespace {

constexpr uint8_t kEchoReply = 0;
constexpr uint8_t kEchoRequest = 8;
constexpr size_t kIcmpHeaderSize = 8;
constexpr size_t kMinIpHeaderSize = 20;
constexpr uint8_t kProtocolIcmp = 1;

uint16_t read16(const uint8_t* at) {
    return static_cast<uint16_t>((at[0] << 8) | at[1]);
}

void write16(uint8_t* at, uint16_t value) {
    at[0] = static_cast<uint8_t>(value >> 8);
    at[1] = static_cast<uint8_t>(value & 0xff);
}

// Finds the ICMP message of an IPv4 datagram after checking that the header is whole, that
// it carries ICMP and that its total length fits what was received; false when unusable.
bool icmpPart(const uint8_t* data, size_t length, size_t& offset, size_t& icmpLength) {
    if (length < kMinIpHeaderSize || (data[0] >> 4) != 4 || data[9] != kProtocolIcmp)
        return false;
    size_t headerSize = static_cast<size_t>(data[0] & 0x0f) * 4;
    size_t totalLength = read16(data + 2);
    if (headerSize < kMinIpHeaderSize || headerSize > totalLength || totalLength > length)
        return false;
    offset = headerSize;
    icmpLength = totalLength - headerSize;
    return true;
}

} // namespace

uint16_t internetChecksum(const uint8_t* data, size_t length) {
    uint32_t sum = 0;
    size_t i = 0;
    for (; i + 1 < length; i += 2)
        sum += read16(data + i);
    if (i < length)
        sum += static_cast<uint32_t>(data[i]) << 8;
    while (sum >> 16)
        sum = (sum & 0xffff) + (sum >> 16);
    return static_cast<uint16_t>(~sum & 0xffff);
}

std::vector<uint8_t> buildEchoRequest(uint16_t id, uint16_t seq) {
    std::vector<uint8_t> packet(kIcmpHeaderSize + kEchoPayloadSize, 0);
    packet[0] = kEchoRequest;
    write16(&packet[4], id);
    write16(&packet[6], seq);
    for (size_t i = 0; i < kEchoPayloadSize; ++i)
        packet[kIcmpHeaderSize + i] = static_cast<uint8_t>(i);
    write16(&packet[2], internetChecksum(packet.data(), packet.size()));
    return packet;
}

bool isOurEchoReply(const uint8_t* data, size_t length, in_addr sender,
                    const EchoExpectation& expected) {
    uint16_t seq = 0;
    return isOurEchoReply(data, length, sender, expected, seq);
}

bool isOurEchoReply(const uint8_t* data, size_t length, in_addr sender,
                    const EchoExpectation& expected, uint16_t& seq) {
    if (sender.s_addr != expected.target.s_addr)
        return false;
    size_t offset = 0;
    size_t icmpLength = length;
    if (expected.withIpHeader && !icmpPart(data, length, offset, icmpLength))
        return false;
    if (icmpLength < kIcmpHeaderSize)
        return false;
    const uint8_t* icmp = data + offset;
    // A raw socket gets its copy before the kernel's ICMP layer has checked the datagram; an
    // ICMP datagram socket only gets what passed that check.
    if (expected.withIpHeader && internetChecksum(icmp, icmpLength) != 0)
        return false;
    if (icmp[0] != kEchoReply || icmp[1] != 0)
        return false;
    if (expected.checkId && read16(icmp + 4) != expected.id)
        return false;
    seq = read16(icmp + 6);
    return seq >= 1 && seq <= expected.lastSeq;
}

} // namespace tools
