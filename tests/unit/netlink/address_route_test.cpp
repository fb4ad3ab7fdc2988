// Address and route notifications: which ones set a WAN's address and gateway, and which are
// only logged.
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include "netlink_fixture.h"

using nltest::Bytes;
using nltest::ipv4;
using Lines = std::vector<std::string>;

namespace {

class AddressRouteTest : public NetlinkTest {
protected:
    AddressRouteTest() {
        deliver(nltest::link(RTM_NEWLINK, ETH0_INDEX, FLAGS_RUNNING, "eth0"));
        // A disabled WAN never learns its index; pretend it had.
        wan("eth1").ifIndex = ETH1_INDEX;
        log.clear();
    }
};

// Three IFA_LOCAL attributes, the middle one a byte too long.
Bytes threeLocals() {
    ifaddrmsg info{};
    info.ifa_family = AF_INET;
    info.ifa_index = ETH0_INDEX;
    return nltest::Message(RTM_NEWADDR)
        .raw(&info, sizeof(info))
        .attrU32(IFA_LOCAL, ipv4("192.0.2.10"))
        .attr(IFA_LOCAL, "\xc0\x00\x02\x0b\x00", 5)
        .attrU32(IFA_LOCAL, ipv4("192.0.2.12"))
        .bytes();
}

Bytes sixByteGateway() {
    rtmsg info{};
    info.rtm_family = AF_INET;
    info.rtm_table = ETH0_TABLE;
    return nltest::Message(RTM_NEWROUTE)
        .raw(&info, sizeof(info))
        .attr(RTA_GATEWAY, "\xc0\x00\x02\x01\x00\x00", 6)
        .attrU32(RTA_OIF, ETH0_INDEX)
        .bytes();
}

struct NoticeCase {
    const char* what;
    std::vector<Bytes> datagrams;
    Lines lines;
    uint32_t address;
    uint32_t gateway;
};

} // namespace

TEST_F(AddressRouteTest, NotificationsThatLeaveTheWanUnusable) {
    const NoticeCase cases[] = {
        {"new address",
         {nltest::address(RTM_NEWADDR, ETH0_INDEX, "192.0.2.10")},
         {"eth0| RTM_NEWADDR index(7)", "eth0| Address changed to 192.0.2.10"},
         ipv4("192.0.2.10"),
         NO_ADDRESS},
        {"link scope",
         {nltest::address(RTM_NEWADDR, ETH0_INDEX, "169.254.7.7", RT_SCOPE_LINK),
          nltest::address(RTM_DELADDR, ETH0_INDEX, "169.254.7.7", RT_SCOPE_LINK)},
         {"eth0| RTM_NEWADDR Skipping link-local address",
          "eth0| RTM_DELADDR Skipping link-local address"},
         NO_ADDRESS,
         NO_ADDRESS},
        {"last well-formed local address wins",
         {threeLocals()},
         {"eth0| RTM_NEWADDR index(7)", "eth0| Address changed to 192.0.2.10",
          "eth0| Address changed to 192.0.2.12"},
         ipv4("192.0.2.12"),
         NO_ADDRESS},
        // wlan0's link has not been seen, so it too has index -1.
        {"addresses of other interfaces",
         {nltest::address(RTM_NEWADDR, 42, "192.0.2.10"),
          nltest::address(RTM_DELADDR, ETH1_INDEX, "192.0.2.10"),
          nltest::address(RTM_NEWADDR, -1, "192.0.2.10"),
          nltest::address(RTM_NEWADDR, ETH0_INDEX, "2001:db8::1", 0, AF_INET6)},
         {"RTM_NEWADDR: index(42) skipping as not wan interface",
          "RTM_DELADDR: index(9) skipping as not wan interface",
          "RTM_NEWADDR: index(-1) skipping as not wan interface"},
         NO_ADDRESS,
         NO_ADDRESS},
        {"gateway in the WAN's own table",
         {nltest::route(RTM_NEWROUTE, ETH0_INDEX, "192.0.2.1", ETH0_TABLE)},
         {"eth0| RTM_NEWROUTE index(7) gw(192.0.2.1) table(101)", "eth0| Gateway set to 192.0.2.1"},
         NO_ADDRESS,
         ipv4("192.0.2.1")},
        {"routes elsewhere or without gateway",
         {nltest::route(RTM_NEWROUTE, ETH0_INDEX, "192.0.2.1", RT_TABLE_MAIN),
          nltest::route(RTM_NEWROUTE, ETH0_INDEX, "", ETH0_TABLE),
          nltest::route(RTM_DELROUTE, ETH0_INDEX, "", ETH0_TABLE),
          nltest::route(RTM_NEWROUTE, ETH0_INDEX, "192.0.2.1", ETH0_TABLE, AF_INET6)},
         {"eth0| RTM_NEWROUTE index(7) gw(192.0.2.1) table(254)",
          "eth0| RTM_NEWROUTE index(7) gw(255.255.255.255) table(101)",
          "eth0| RTM_DELROUTE index(7) gw(255.255.255.255) table(101)"},
         NO_ADDRESS,
         NO_ADDRESS},
        {"gateway of the wrong length",
         {sixByteGateway()},
         {"eth0| RTM_NEWROUTE index(7) gw(255.255.255.255) table(101)"},
         NO_ADDRESS,
         NO_ADDRESS},
        // Without RTA_OIF a route is never taken for wlan0, whose link (index -1) is unseen.
        {"routes of other interfaces",
         {nltest::route(RTM_NEWROUTE, 42, "192.0.2.1", ETH0_TABLE),
          nltest::route(RTM_DELROUTE, ETH1_INDEX, "192.0.2.1", 103),
          nltest::route(RTM_NEWROUTE, -1, "198.51.100.1", WLAN0_TABLE)},
         {"RTM_NEWROUTE: index(42) skipping as not wan interface",
          "RTM_DELROUTE: index(9) skipping as not wan interface",
          "RTM_NEWROUTE: index(-1) skipping as not wan interface"},
         NO_ADDRESS,
         NO_ADDRESS},
    };
    for (const NoticeCase& c : cases) {
        SCOPED_TRACE(c.what);
        wan("eth0").address.store(NO_ADDRESS);
        wan("eth0").gateway = NO_ADDRESS;
        log.clear();
        for (const Bytes& datagram : c.datagrams)
            deliver(datagram);
        EXPECT_EQ(c.lines, log.messages());
        EXPECT_EQ(c.address, wan("eth0").address.load());
        EXPECT_EQ(c.gateway, wan("eth0").gateway);
        for (const char* other : {"wlan0", "eth1"})
            EXPECT_FALSE(wan(other).ipValid() || wan(other).gwValid()) << other;
        EXPECT_EQ("", istate("eth0"));
    }
}

TEST_F(AddressRouteTest, AddressCompletingAWanReportsUp) {
    deliver(nltest::route(RTM_NEWROUTE, ETH0_INDEX, "192.0.2.1", ETH0_TABLE));
    EXPECT_EQ(0, log.count("eth0| App::processInetUp"));
    deliver(nltest::address(RTM_NEWADDR, ETH0_INDEX, "192.0.2.10"));
    EXPECT_EQ(1, log.count("eth0| App::processInetUp"));
    EXPECT_EQ("Up\n", istate("eth0"));
    EXPECT_TRUE(app->searchNextInet);
}

TEST_F(AddressRouteTest, DeletionReportsDown) {
    // Whichever address or gateway goes, the WAN has none afterwards.
    const std::pair<Bytes, Lines> cases[] = {
        {nltest::address(RTM_DELADDR, ETH0_INDEX, "192.0.2.99"),
         {"eth0| RTM_DELADDR index(7)", "eth0| Address deleted", "eth0| App::processInetDown"}},
        {nltest::route(RTM_DELROUTE, ETH0_INDEX, "192.0.2.254", ETH0_TABLE),
         {"eth0| RTM_DELROUTE index(7) gw(192.0.2.254) table(101)", "eth0| Gateway deleted",
          "eth0| App::processInetDown"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.second[0]);
        bringUp("eth0", ETH0_INDEX, "192.0.2.10", "192.0.2.1", ETH0_TABLE);
        ASSERT_EQ("Up\n", istate("eth0"));
        log.clear();
        deliver(c.first);
        EXPECT_EQ(c.second, log.messages());
        EXPECT_FALSE(wan("eth0").inet());
        EXPECT_EQ("Down\n", istate("eth0"));
    }
}

TEST_F(AddressRouteTest, TableAbove255NeverMatches) {
    rebuild({wanConfig("eth0", 10, 300, true), wanConfig("wlan0", 20, WLAN0_TABLE, true)},
            Failover);
    deliver(nltest::link(RTM_NEWLINK, ETH0_INDEX, FLAGS_RUNNING, "eth0"));
    // 300 does not fit the 8-bit table field; its low byte is 44.
    deliver(nltest::route(RTM_NEWROUTE, ETH0_INDEX, "192.0.2.1", 300 & 0xff));
    EXPECT_FALSE(wan("eth0").gwValid());
}
