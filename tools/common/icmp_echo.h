// ICMP echo requests and the recognition of their replies, as bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <netinet/in.h>
#include <vector>

namespace tools {

constexpr size_t kEchoPayloadSize = 56;

// One's-complement sum of 16-bit words, as ICMP wants it.
uint16_t internetChecksum(const uint8_t* data, size_t length);

// An echo request (type 8) with identifier id and sequence seq, checksum filled in.
std::vector<uint8_t> buildEchoRequest(uint16_t id, uint16_t seq);

// What a reply must look like to count as ours.
struct EchoExpectation {
    bool withIpHeader; // raw sockets hand over the IPv4 header, ICMP datagram sockets do not
    bool checkId;      // datagram sockets rewrite the identifier, and filter by it themselves
    uint16_t id;
    uint16_t lastSeq; // sequences 1..lastSeq have been sent
    in_addr target;   // the reply must come from here
};

// True when a received datagram from sender is an intact echo reply (type 0) to one of our
// requests.
bool isOurEchoReply(const uint8_t* data, size_t length, in_addr sender,
                    const EchoExpectation& expected);
// The same, giving the sequence of the request it answers in seq.
bool isOurEchoReply(const uint8_t* data, size_t length, in_addr sender,
                    const EchoExpectation& expected, uint16_t& seq);

} // namespace tools
