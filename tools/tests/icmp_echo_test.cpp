// Echo requests as sent, and which received datagrams count as their replies.
#include "common/icmp_echo.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>

namespace {

in_addr ip(const char* text) {
    in_addr address{};
    inet_pton(AF_INET, text, &address);
    return address;
}

// The reply a peer would send to buildEchoRequest(id, seq), behind a 20-byte IPv4 header
// when withIp is set.
std::vector<uint8_t> reply(uint16_t id, uint16_t seq, bool withIp) {
    std::vector<uint8_t> icmp = tools::buildEchoRequest(id, seq);
    icmp[0] = 0;
    if (!withIp)
        return icmp;
    std::vector<uint8_t> packet = {0x45, 0, 0,   0, 0, 0, 0,  0, 64, 1,
                                   0,    0, 192, 0, 2, 1, 10, 0, 0,  2};
    packet.insert(packet.end(), icmp.begin(), icmp.end());
    return packet;
}

const tools::EchoExpectation kRaw = {true, true, 0x1234, 3, ip("192.0.2.1")};

} // namespace

TEST(IcmpEcho, RequestCarriesIdSequenceAndValidChecksum) {
    std::vector<uint8_t> packet = tools::buildEchoRequest(0x1234, 7);
    ASSERT_EQ(packet.size(), 8 + tools::kEchoPayloadSize);
    EXPECT_EQ(packet[0], 8);
    EXPECT_EQ(packet[1], 0);
    EXPECT_EQ(packet[4], 0x12);
    EXPECT_EQ(packet[5], 0x34);
    EXPECT_EQ(packet[7], 7);
    // A packet with its checksum in place sums to zero.
    EXPECT_EQ(tools::internetChecksum(packet.data(), packet.size()), 0);
}

TEST(IcmpEcho, ChecksumOfOddLengthPadsWithZero) {
    const uint8_t odd[] = {0x01, 0x02, 0x03};
    const uint8_t padded[] = {0x01, 0x02, 0x03, 0x00};
    EXPECT_EQ(tools::internetChecksum(odd, 3), tools::internetChecksum(padded, 4));
    EXPECT_EQ(tools::internetChecksum(padded, 4), static_cast<uint16_t>(~0x0402 & 0xffff));
}

TEST(IcmpEcho, MatchesOnlyOurReplies) {
    struct Case {
        const char* why;
        std::vector<uint8_t> bytes;
        const char* sender;
        bool ours;
    } cases[] = {
        {"ours", reply(0x1234, 2, true), "192.0.2.1", true},
        {"last sequence", reply(0x1234, 3, true), "192.0.2.1", true},
        {"sequence not sent yet", reply(0x1234, 4, true), "192.0.2.1", false},
        {"sequence zero", reply(0x1234, 0, true), "192.0.2.1", false},
        {"other identifier", reply(0x4321, 1, true), "192.0.2.1", false},
        {"other sender", reply(0x1234, 1, true), "192.0.2.9", false},
        {"a request", tools::buildEchoRequest(0x1234, 1), "192.0.2.1", false},
    };
    for (const Case& c : cases)
        EXPECT_EQ(tools::isOurEchoReply(c.bytes.data(), c.bytes.size(), ip(c.sender), kRaw), c.ours)
            << c.why;
}

TEST(IcmpEcho, GarbledAndTruncatedDatagramsAreRejected) {
    std::vector<uint8_t> good = reply(0x1234, 1, true);
    for (size_t length = 0; length < 28; ++length)
        EXPECT_FALSE(tools::isOurEchoReply(good.data(), length, ip("192.0.2.1"), kRaw)) << length;
    std::vector<uint8_t> longHeader = good;
    longHeader[0] = 0x4f; // claims 60 header bytes: the ICMP part is then too short
    EXPECT_FALSE(tools::isOurEchoReply(longHeader.data(), 64, ip("192.0.2.1"), kRaw));
    std::vector<uint8_t> shortHeader = good;
    shortHeader[0] = 0x44;
    EXPECT_FALSE(tools::isOurEchoReply(shortHeader.data(), good.size(), ip("192.0.2.1"), kRaw));
    std::vector<uint8_t> notIcmp = good;
    notIcmp[9] = 17;
    EXPECT_FALSE(tools::isOurEchoReply(notIcmp.data(), good.size(), ip("192.0.2.1"), kRaw));
}

TEST(IcmpEcho, DatagramSocketRepliesHaveNoHeaderAndAnyIdentifier) {
    tools::EchoExpectation datagram = kRaw;
    datagram.withIpHeader = false;
    datagram.checkId = false;
    std::vector<uint8_t> bytes = reply(0x9999, 1, false);
    EXPECT_TRUE(tools::isOurEchoReply(bytes.data(), bytes.size(), ip("192.0.2.1"), datagram));
    EXPECT_FALSE(tools::isOurEchoReply(bytes.data(), 7, ip("192.0.2.1"), datagram));
}
