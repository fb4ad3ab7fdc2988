// The rtnetlink intake on forged bytes: well-formed, garbled, truncated and misaligned
// datagrams against the events they yield.
#include <algorithm>
#include <cstdint>
#include <gtest/gtest.h>
#include <linux/if.h>
#include <linux/rtnetlink.h>
#include <sstream>

#include "netlink/netlink_events.h"
#include "netlink/netlink_socket.h"

namespace {

using namespace netlink;
using Bytes = std::vector<uint8_t>;
using Events = std::vector<std::string>;
constexpr int32_t INDEX = 5;
const uint8_t ADDRESS[8] = {10, 0, 0, 2}, GATEWAY[8] = {10, 0, 0, 1};

Bytes raw(const void* data, size_t size) {
    return Bytes(static_cast<const uint8_t*>(data), static_cast<const uint8_t*>(data) + size);
}

Bytes join(std::initializer_list<Bytes> parts) {
    Bytes out;
    for (const Bytes& p : parts)
        out.insert(out.end(), p.begin(), p.end());
    return out;
}

// One attribute, padded to 4 bytes; size is the payload size its header claims.
Bytes attr(uint16_t type, const void* payload, size_t size) {
    const rtattr header = {static_cast<unsigned short>(RTA_LENGTH(size)), type};
    Bytes out = join({raw(&header, sizeof(header)), raw(payload, size)});
    out.resize(RTA_ALIGN(out.size()));
    return out;
}

template <typename Fixed>
Bytes message(uint16_t type, const Fixed& fixed, const Bytes& attrs = {}, uint32_t seq = 0) {
    const auto size = static_cast<uint32_t>(NLMSG_HDRLEN + sizeof(fixed) + attrs.size());
    const nlmsghdr header = {size, type, 0, seq, 0};
    return join({raw(&header, sizeof(header)), raw(&fixed, sizeof(fixed)), attrs});
}

Bytes link(uint16_t type = RTM_NEWLINK, size_t nameSize = 5, uint8_t family = AF_UNSPEC) {
    const ifinfomsg info = {family, 0, 0, INDEX, IFF_UP | IFF_RUNNING, 0};
    return message(type, info, attr(IFLA_IFNAME, "eth0", nameSize));
}

Bytes address(uint16_t type = RTM_NEWADDR, size_t size = 4, uint8_t family = AF_INET) {
    const ifaddrmsg info = {family, 24, 0, RT_SCOPE_LINK, static_cast<uint32_t>(INDEX)};
    return message(type, info, join({attr(IFA_LOCAL, ADDRESS, size), attr(IFA_LOCAL, ADDRESS, 4)}));
}

Bytes route(size_t gatewaySize = 4, bool withOif = true, uint16_t type = RTM_NEWROUTE) {
    rtmsg info = {};
    info.rtm_family = AF_INET;
    info.rtm_table = 100;
    const Bytes oif = withOif ? attr(RTA_OIF, &INDEX, sizeof(INDEX)) : Bytes();
    return message(type, info, join({oif, attr(RTA_GATEWAY, GATEWAY, gatewaySize)}));
}

// Each event as one line of words.
class Recorder : public EventSink {
public:
    void handleNewLink(const LinkEvent& e) override { add("link", e.ifIndex, e.flags, e.name); }
    void handleDelLink(const LinkGoneEvent& e) override { add("gone", e.ifIndex); }
    void handleAddress(const AddressEvent& e) override {
        std::string locals;
        for (uint32_t local : e.locals)
            locals += " " + dottedQuad(local);
        add(e.added ? "addr+" : "addr-", e.ifIndex, "scope", int{e.scope}, locals.erase(0, 1));
    }
    void handleRoute(const RouteEvent& e) override {
        add(e.added ? "route+" : "route-", e.outputIndex, dottedQuad(e.gateway), e.table);
    }
    void handleNetlinkDone(uint32_t seq) override { add("done", seq); }
    void handleNetlinkError(uint32_t seq, int32_t code) override { add("error", seq, code); }
    Events events;

private:
    template <typename... Words> void add(const Words&... words) {
        std::ostringstream line;
        ((line << words << ' '), ...);
        events.push_back(line.str().substr(0, line.str().size() - 1));
    }
};

Events decode(const uint8_t* data, size_t size) {
    Recorder recorder;
    decodeDatagram(data, size, recorder);
    return recorder.events;
}

const std::string LINK = "link 5 65 eth0", ADDR = "addr+ 5 scope 253 10.0.0.2 10.0.0.2",
                  ROUTE = "route+ 5 10.0.0.1 100";

} // namespace

TEST(NetlinkIntake, DatagramsYieldOnlyWhatIsWellFormed) {
    Bytes overlong = address();
    overlong[0] += 4; // claims more than the datagram holds: the walk stops there
    Bytes runt = address();
    runt[0] = NLMSG_HDRLEN - 1;
    Bytes spilling = route(); // its gateway's bytes cut off: they would be the next message's
    spilling.resize(spilling.size() - 4);
    spilling[0] -= 4;
    const Bytes whole = join({link(), address(), route()});
    // clang-format off
    const std::tuple<const char*, Bytes, Events> cases[] = {
        {"link, address, route", whole, {LINK, ADDR, ROUTE}},
        {"name without its NUL", link(RTM_NEWLINK, 4), {LINK}},
        {"IPv6 link family", link(RTM_NEWLINK, 5, AF_INET6), {}},
        {"link deleted", link(RTM_DELLINK), {"gone 5"}},
        {"address of 3 bytes", address(RTM_NEWADDR, 3), {"addr+ 5 scope 253 10.0.0.2"}},
        {"address of 5 bytes", address(RTM_NEWADDR, 5), {"addr+ 5 scope 253 10.0.0.2"}},
        {"IPv6 address family", address(RTM_NEWADDR, 4, AF_INET6), {}},
        {"address deleted", address(RTM_DELADDR), {"addr- 5 scope 253 10.0.0.2 10.0.0.2"}},
        {"gateway of 5 bytes", route(5), {"route+ 5 255.255.255.255 100"}},
        {"route without RTA_OIF", route(4, false, RTM_DELROUTE), {"route- -1 10.0.0.1 100"}},
        {"dump done, error replies", join({message(NLMSG_DONE, 0, {}, 3),
            message(NLMSG_ERROR, -ENOBUFS, {}, 3), message(NLMSG_ERROR, INT32_MIN, {}, 4)}),
         {"done 3", "error 3 -105", "error 4 -2147483648"}},
        {"attribute past its message", join({spilling, link()}),
         {"route+ 5 255.255.255.255 100", LINK}},
        {"message past the end", join({link(), overlong}), {LINK}},
        {"message shorter than its header", join({link(), runt, route()}), {LINK}},
    };
    // clang-format on
    for (const auto& [what, datagram, expected] : cases)
        EXPECT_EQ(decode(datagram.data(), datagram.size()), expected) << what;
    // Every cut of the first, read from an odd address, yields the events of the messages it
    // holds whole, and nothing else.
    const size_t ends[] = {link().size(), link().size() + address().size(), whole.size()};
    const Events all = {LINK, ADDR, ROUTE};
    for (size_t cut = 0; cut <= whole.size(); ++cut) {
        Bytes shifted = join({{0}, Bytes(whole.begin(), whole.begin() + cut)});
        const auto held = std::upper_bound(std::begin(ends), std::end(ends), cut) - ends;
        EXPECT_EQ(decode(shifted.data() + 1, cut), Events(all.begin(), all.begin() + held))
            << "cut at " << cut;
    }
}

// A read that fails for any reason but an overrun is an error the engine ends on.
TEST(NetlinkIntake, ReadOnAClosedSocketFails) {
    Socket closed;
    Recorder recorder;
    EXPECT_EQ(closed.receive(recorder), Socket::Received::Failed);
}
