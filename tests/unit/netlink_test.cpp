// The rtnetlink intake on forged bytes: well-formed, garbled, truncated and misaligned
// datagrams against the events they yield.
#include <arpa/inet.h>
#include <climits>
#include <cstring>
#include <gtest/gtest.h>
#include <linux/if.h>
#include <linux/rtnetlink.h>

#include "netlink/netlink_events.h"
#include "support/ipv4_text.h"
#include "support/text.h"

namespace {

using Bytes = std::vector<uint8_t>;
constexpr int32_t INDEX = 5;

void append(Bytes& to, const void* data, size_t size) {
    const auto* bytes = static_cast<const uint8_t*>(data);
    to.insert(to.end(), bytes, bytes + size);
}

// One attribute, padded to 4 bytes; size is the payload size the header claims.
Bytes attr(uint16_t type, const void* payload, size_t size) {
    Bytes out;
    const rtattr header = {static_cast<unsigned short>(RTA_LENGTH(size)), type};
    append(out, &header, sizeof(header));
    append(out, payload, size);
    out.resize(RTA_ALIGN(out.size()));
    return out;
}

template <typename Fixed>
Bytes message(uint16_t type, const Fixed& fixed, std::initializer_list<Bytes> attrs,
              uint32_t seq = 0) {
    Bytes body;
    append(body, &fixed, sizeof(fixed));
    for (const Bytes& a : attrs)
        append(body, a.data(), a.size());
    const nlmsghdr header = {static_cast<uint32_t>(NLMSG_HDRLEN + body.size()), type, 0, seq, 0};
    Bytes out;
    append(out, &header, sizeof(header));
    append(out, body.data(), body.size());
    return out;
}

Bytes link(uint16_t type = RTM_NEWLINK, const char* name = "eth0", size_t nameSize = 5,
           uint8_t family = AF_UNSPEC) {
    ifinfomsg info = {};
    info.ifi_family = family;
    info.ifi_index = INDEX;
    info.ifi_flags = IFF_UP | IFF_RUNNING;
    return message(type, info, {attr(IFLA_IFNAME, name, nameSize)});
}

Bytes address(uint16_t type = RTM_NEWADDR, size_t size = 4, uint8_t family = AF_INET) {
    ifaddrmsg info = {family, 24, 0, RT_SCOPE_LINK, static_cast<uint32_t>(INDEX)};
    const uint8_t payload[8] = {10, 0, 0, 2};
    return message(type, info, {attr(IFA_LOCAL, payload, size), attr(IFA_LOCAL, payload, 4)});
}

Bytes route(size_t gatewaySize = 4, bool withOif = true, uint16_t type = RTM_NEWROUTE) {
    rtmsg info = {};
    info.rtm_family = AF_INET;
    info.rtm_table = 100;
    const uint8_t gateway[8] = {10, 0, 0, 1};
    Bytes oif = withOif ? attr(RTA_OIF, &INDEX, sizeof(INDEX)) : Bytes();
    return message(type, info, {oif, attr(RTA_GATEWAY, gateway, gatewaySize)});
}

Bytes join(std::initializer_list<Bytes> parts) {
    Bytes out;
    for (const Bytes& p : parts)
        append(out, p.data(), p.size());
    return out;
}

// Each event as one line of text.
class Recorder : public netlink::EventSink {
public:
    void handleNewLink(const netlink::LinkEvent& e) override {
        add({"link", std::to_string(e.ifIndex), std::to_string(e.flags), e.name});
    }
    void handleDelLink(const netlink::LinkGoneEvent& e) override {
        add({"gone", std::to_string(e.ifIndex)});
    }
    void handleAddress(const netlink::AddressEvent& e) override {
        std::vector<std::string> words = {e.added ? "addr+" : "addr-", std::to_string(e.ifIndex),
                                          "scope", std::to_string(e.scope)};
        for (uint32_t local : e.locals)
            words.push_back(dottedQuad(local));
        add(words);
    }
    void handleRoute(const netlink::RouteEvent& e) override {
        add({e.added ? "route+" : "route-", std::to_string(e.outputIndex), dottedQuad(e.gateway),
             "table", std::to_string(e.table)});
    }
    void handleNetlinkDone(uint32_t seq) override { add({"done", std::to_string(seq)}); }
    void handleNetlinkError(uint32_t seq, int32_t code) override {
        add({"error", std::to_string(seq), std::to_string(code)});
    }
    std::vector<std::string> events;

private:
    void add(const std::vector<std::string>& words) {
        events.push_back(VRX::Text::join(words, ' '));
    }
};

std::vector<std::string> decode(const uint8_t* data, size_t size) {
    Recorder recorder;
    netlink::decodeDatagram(data, size, recorder);
    return recorder.events;
}

using Events = std::vector<std::string>;
const std::string LINK = "link 5 65 eth0", ADDR = "addr+ 5 scope 253 10.0.0.2 10.0.0.2",
                  ROUTE = "route+ 5 10.0.0.1 table 100";

} // namespace

TEST(NetlinkIntake, DatagramsYieldOnlyWhatIsWellFormed) {
    Bytes overlong = address();
    overlong[0] += 4; // claims more than the datagram holds: the walk stops there
    Bytes runt = address();
    runt[0] = NLMSG_HDRLEN - 1;
    const int32_t nobuffers = -ENOBUFS, lowest = INT32_MIN;
    const std::tuple<const char*, Bytes, Events> cases[] = {
        {"link, address, route", join({link(), address(), route()}), {LINK, ADDR, ROUTE}},
        {"name without its NUL", link(RTM_NEWLINK, "eth0", 4), {LINK}},
        {"IPv6 link family", link(RTM_NEWLINK, "eth0", 5, AF_INET6), {}},
        {"link deleted", link(RTM_DELLINK), {"gone 5"}},
        {"address of 3 bytes", address(RTM_NEWADDR, 3), {"addr+ 5 scope 253 10.0.0.2"}},
        {"address of 5 bytes", address(RTM_NEWADDR, 5), {"addr+ 5 scope 253 10.0.0.2"}},
        {"IPv6 address family", address(RTM_NEWADDR, 4, AF_INET6), {}},
        {"address deleted", address(RTM_DELADDR), {"addr- 5 scope 253 10.0.0.2 10.0.0.2"}},
        {"gateway of 5 bytes", route(5), {"route+ 5 255.255.255.255 table 100"}},
        {"route without RTA_OIF", route(4, false, RTM_DELROUTE), {"route- -1 10.0.0.1 table 100"}},
        {"dump done, error replies",
         join({message(NLMSG_DONE, 0, {}, 3), message(NLMSG_ERROR, nobuffers, {}, 3),
               message(NLMSG_ERROR, lowest, {}, 4)}),
         {"done 3", "error 3 -105", "error 4 -2147483648"}},
        {"message past the end", join({link(), overlong}), {LINK}},
        {"message shorter than its header", join({link(), runt, route()}), {LINK}},
    };
    for (const auto& [what, datagram, expected] : cases) {
        EXPECT_EQ(decode(datagram.data(), datagram.size()), expected) << what;
    }
    // Every cut of the first, read from an odd address, yields the events of the messages it
    // holds whole, and nothing else.
    const Bytes& whole = std::get<1>(cases[0]);
    const size_t ends[] = {link().size(), link().size() + address().size(), whole.size()};
    for (size_t cut = 0; cut <= whole.size(); ++cut) {
        Bytes shifted(1);
        append(shifted, whole.data(), cut);
        Events expected;
        for (size_t n = 0; n < 3 && ends[n] <= cut; ++n)
            expected.push_back(std::get<2>(cases[0])[n]);
        EXPECT_EQ(decode(shifted.data() + 1, cut), expected) << "cut at " << cut;
    }
}
