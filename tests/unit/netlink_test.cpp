// The rtnetlink intake on forged bytes: well-formed, garbled, truncated and misaligned
// datagrams against what one WAN learns from them.
#include <arpa/inet.h>
#include <climits>
#include <cstring>
#include <linux/if.h>
#include <linux/rtnetlink.h>

#include "engine_fixture.h"

namespace {

using Bytes = std::vector<uint8_t>;
constexpr int32_t INDEX = 5;
const uint32_t ADDRESS = inet_addr("10.0.0.2");
const uint32_t GATEWAY = inet_addr("10.0.0.1");

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

Bytes link(unsigned flags, const char* name = "eth0", size_t nameSize = 5) {
    ifinfomsg info = {};
    info.ifi_index = INDEX;
    info.ifi_flags = flags;
    return message(RTM_NEWLINK, info, {attr(IFLA_IFNAME, name, nameSize)});
}

Bytes address(uint16_t type = RTM_NEWADDR, uint8_t scope = 0, size_t size = 4,
              uint8_t family = AF_INET, int32_t index = INDEX) {
    ifaddrmsg info = {family, 24, 0, scope, static_cast<uint32_t>(index)};
    const uint8_t payload[8] = {10, 0, 0, 2};
    return message(type, info, {attr(IFA_LOCAL, payload, size)});
}

Bytes route(unsigned char table = 100, size_t gatewaySize = 4, bool withOif = true) {
    rtmsg info = {};
    info.rtm_family = AF_INET;
    info.rtm_table = table;
    const uint8_t gateway[8] = {10, 0, 0, 1};
    Bytes oif = withOif ? attr(RTA_OIF, &INDEX, sizeof(INDEX)) : Bytes();
    return message(RTM_NEWROUTE, info, {oif, attr(RTA_GATEWAY, gateway, gatewaySize)});
}

Bytes join(std::initializer_list<Bytes> parts) {
    Bytes out;
    for (const Bytes& p : parts)
        append(out, p.data(), p.size());
    return out;
}

const unsigned RUNNING = IFF_UP | IFF_RUNNING | IFF_LOWER_UP;

// What the WAN has learnt: i(ndex), u(p), a(ddress), g(ateway); "?" for a wrong value.
std::string learnt(const Wan& wan) {
    auto fact = [](bool right, bool unset, const char* letter) {
        return right ? letter : unset ? "" : "?";
    };
    return std::string(fact(wan.ifIndex == INDEX, wan.ifIndex == -1, "i")) + (wan.up ? "u" : "") +
           fact(wan.address == ADDRESS, wan.address == NO_ADDRESS, "a") +
           fact(wan.gateway == GATEWAY, wan.gateway == NO_ADDRESS, "g");
}

} // namespace

TEST_F(EngineTest, DatagramsTeachTheWanOnlyWhatIsWellFormed) {
    Bytes overlong = address();
    overlong[0] += 4; // claims more than the datagram holds: the walk stops there
    Bytes runt = address();
    runt[0] = NLMSG_HDRLEN - 1;
    const Bytes up = link(RUNNING);
    const std::tuple<const char*, Bytes, const char*> cases[] = {
        {"link, address, route", join({up, address(), route()}), "iuag"},
        {"name without its NUL", link(RUNNING, "eth0", 4), "iu"},
        {"another name", link(RUNNING, "eth00", 6), ""},
        {"no RUNNING", link(IFF_UP | IFF_LOWER_UP), "i"},
        {"link-scope address", join({up, address(RTM_NEWADDR, RT_SCOPE_LINK)}), "iu"},
        {"address of 3 bytes", join({up, address(RTM_NEWADDR, 0, 3)}), "iu"},
        {"address of 5 bytes", join({up, address(RTM_NEWADDR, 0, 5)}), "iu"},
        {"IPv6 family", join({up, address(RTM_NEWADDR, 0, 4, AF_INET6)}), "iu"},
        {"another link's address", join({up, address(RTM_NEWADDR, 0, 4, AF_INET, 6)}), "iu"},
        {"address deleted", join({up, address(), address(RTM_DELADDR)}), "iu"},
        {"route of another table", join({up, route(200)}), "iu"},
        {"gateway of 5 bytes", join({up, route(100, 5)}), "iu"},
        {"route without RTA_OIF", join({up, route(100, 4, false)}), "iu"},
        {"message past the end", join({up, overlong}), "iu"},
        {"message shorter than its header", join({up, runt, route()}), "iu"},
    };
    // Every cut of the first, read from an odd address, leaves each fact unlearnt or right.
    for (const auto& [what, datagram, expected] : cases) {
        for (size_t cut = what == std::get<0>(cases[0]) ? 0 : datagram.size();
             cut <= datagram.size(); ++cut) {
            build(Failover, {true});
            Bytes shifted(1);
            append(shifted, datagram.data(), cut);
            app->netlinkHandleDatagram(shifted.data() + 1, cut);
            const std::string facts = learnt(app->wans[0]);
            EXPECT_EQ(cut == datagram.size() ? expected : facts.substr(0, facts.find('?')), facts)
                << what << ", cut at " << cut;
            EXPECT_TRUE(cut == datagram.size() || facts != "iuag") << what << " " << cut;
        }
    }
}

// An error reply to the dump request stops the engine only while the start-up dumps run.
TEST_F(EngineTest, ErrorRepliesStopOnlyAnIncompleteStart) {
    struct Case {
        int stage;
        int32_t code;
        bool seqMatches, running;
    };
    const Case cases[] = {{1, -ENOBUFS, true, false},
                          {1, INT32_MIN, true, false},
                          {1, -ENOBUFS, false, true},
                          {1, 0, true, true},
                          {4, -ENOBUFS, true, true}};
    for (const Case& c : cases) {
        build(Failover, {true});
        app->initStage = c.stage;
        const Bytes reply = message(NLMSG_ERROR, c.code, {}, app->dumpSeq + (c.seqMatches ? 0 : 1));
        app->netlinkHandleDatagram(reply.data(), reply.size());
        EXPECT_EQ(running, c.running) << c.stage << " " << c.code;
    }
}
