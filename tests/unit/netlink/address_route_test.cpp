// Address and route notifications: which ones set a WAN's address and gateway, and which are
// only logged.
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include "netlink_fixture.h"

namespace {

class AddressRouteTest : public NetlinkTest {
protected:
    AddressRouteTest() {
        deliver(nltest::link(RTM_NEWLINK, ETH0_INDEX, FLAGS_RUNNING, "eth0"));
        log.clear();
    }
};

} // namespace

TEST_F(AddressRouteTest, NewAddressStored) {
    deliver(nltest::address(RTM_NEWADDR, ETH0_INDEX, "192.0.2.10"));
    EXPECT_EQ(nltest::ipv4("192.0.2.10"), wan("eth0").address.load());
    const std::vector<std::string> expected = {"eth0| RTM_NEWADDR index(7)",
                                               "eth0| Address changed to 192.0.2.10"};
    EXPECT_EQ(expected, log.messages());
}

TEST_F(AddressRouteTest, LinkScopeAddressSkipped) {
    deliver(nltest::address(RTM_NEWADDR, ETH0_INDEX, "169.254.7.7", RT_SCOPE_LINK));
    deliver(nltest::address(RTM_DELADDR, ETH0_INDEX, "169.254.7.7", RT_SCOPE_LINK));
    EXPECT_FALSE(wan("eth0").ipValid());
    const std::vector<std::string> expected = {"eth0| RTM_NEWADDR Skipping link-local address",
                                               "eth0| RTM_DELADDR Skipping link-local address"};
    EXPECT_EQ(expected, log.messages());
}

TEST_F(AddressRouteTest, LastAddressAnnouncedStays) {
    ifaddrmsg info{};
    info.ifa_family = AF_INET;
    info.ifa_index = ETH0_INDEX;
    deliver(nltest::Message(RTM_NEWADDR)
                .raw(&info, sizeof(info))
                .attrU32(IFA_LOCAL, nltest::ipv4("192.0.2.10"))
                .attr(IFA_LOCAL, "\xc0\x00\x02\x0b\x00", 5)
                .attrU32(IFA_LOCAL, nltest::ipv4("192.0.2.12"))
                .bytes());
    EXPECT_EQ(nltest::ipv4("192.0.2.12"), wan("eth0").address.load());
    // The index line and one line per well-formed IFA_LOCAL.
    EXPECT_EQ(2, log.count("eth0| Address changed to 192.0.2.10") +
                     log.count("eth0| Address changed to 192.0.2.12"));
    EXPECT_EQ(3u, log.messages().size());
}

TEST_F(AddressRouteTest, AddressOfOtherInterfacesSkipped) {
    wan("eth1").ifIndex = ETH1_INDEX;
    deliver(nltest::address(RTM_NEWADDR, 42, "192.0.2.10"));
    deliver(nltest::address(RTM_DELADDR, ETH1_INDEX, "192.0.2.10"));
    // wlan0's link has not been seen, so it too has index -1.
    deliver(nltest::address(RTM_NEWADDR, -1, "192.0.2.10"));
    deliver(nltest::address(RTM_NEWADDR, ETH0_INDEX, "2001:db8::1", 0, AF_INET6));
    const std::vector<std::string> expected = {
        "RTM_NEWADDR: index(42) skipping as not wan interface",
        "RTM_DELADDR: index(9) skipping as not wan interface",
        "RTM_NEWADDR: index(-1) skipping as not wan interface",
    };
    EXPECT_EQ(expected, log.messages());
    for (const Wan& each : app->wans)
        EXPECT_FALSE(each.ipValid());
}

TEST_F(AddressRouteTest, DeletedAddressReportsDown) {
    bringUp("eth0", ETH0_INDEX, "192.0.2.10", "192.0.2.1", ETH0_TABLE);
    ASSERT_EQ("Up\n", istate("eth0"));
    log.clear();
    // Whichever address goes, the WAN has none afterwards.
    deliver(nltest::address(RTM_DELADDR, ETH0_INDEX, "192.0.2.99"));
    EXPECT_FALSE(wan("eth0").ipValid());
    const std::vector<std::string> expected = {
        "eth0| RTM_DELADDR index(7)", "eth0| Address deleted", "eth0| App::processInetDown"};
    EXPECT_EQ(expected, log.messages());
    EXPECT_EQ("Down\n", istate("eth0"));
}

TEST_F(AddressRouteTest, AddressCompletingAWanReportsUp) {
    deliver(nltest::route(RTM_NEWROUTE, ETH0_INDEX, "192.0.2.1", ETH0_TABLE));
    EXPECT_EQ(0, log.count("eth0| App::processInetUp"));
    deliver(nltest::address(RTM_NEWADDR, ETH0_INDEX, "192.0.2.10"));
    EXPECT_EQ(1, log.count("eth0| App::processInetUp"));
    EXPECT_EQ("Up\n", istate("eth0"));
    EXPECT_TRUE(app->searchNextInet);
}

TEST_F(AddressRouteTest, GatewayFromTheWansOwnTable) {
    deliver(nltest::route(RTM_NEWROUTE, ETH0_INDEX, "192.0.2.1", ETH0_TABLE));
    EXPECT_EQ(nltest::ipv4("192.0.2.1"), wan("eth0").gateway);
    const std::vector<std::string> expected = {
        "eth0| RTM_NEWROUTE index(7) gw(192.0.2.1) table(101)", "eth0| Gateway set to 192.0.2.1"};
    EXPECT_EQ(expected, log.messages());
}

TEST_F(AddressRouteTest, RoutesElsewhereOnlyLogged) {
    deliver(nltest::route(RTM_NEWROUTE, ETH0_INDEX, "192.0.2.1", RT_TABLE_MAIN));
    deliver(nltest::route(RTM_NEWROUTE, ETH0_INDEX, "", ETH0_TABLE));
    deliver(nltest::route(RTM_DELROUTE, ETH0_INDEX, "", ETH0_TABLE));
    deliver(nltest::route(RTM_NEWROUTE, ETH0_INDEX, "192.0.2.1", ETH0_TABLE, AF_INET6));
    EXPECT_FALSE(wan("eth0").gwValid());
    const std::vector<std::string> expected = {
        "eth0| RTM_NEWROUTE index(7) gw(192.0.2.1) table(254)",
        "eth0| RTM_NEWROUTE index(7) gw(255.255.255.255) table(101)",
        "eth0| RTM_DELROUTE index(7) gw(255.255.255.255) table(101)",
    };
    EXPECT_EQ(expected, log.messages());
}

TEST_F(AddressRouteTest, GatewayOfWrongLengthIgnored) {
    rtmsg info{};
    info.rtm_family = AF_INET;
    info.rtm_table = ETH0_TABLE;
    deliver(nltest::Message(RTM_NEWROUTE)
                .raw(&info, sizeof(info))
                .attr(RTA_GATEWAY, "\xc0\x00\x02\x01\x00\x00", 6)
                .attrU32(RTA_OIF, ETH0_INDEX)
                .bytes());
    EXPECT_FALSE(wan("eth0").gwValid());
    EXPECT_TRUE(log.has("eth0| RTM_NEWROUTE index(7) gw(255.255.255.255) table(101)"));
}

TEST_F(AddressRouteTest, DeletedRouteReportsDown) {
    bringUp("eth0", ETH0_INDEX, "192.0.2.10", "192.0.2.1", ETH0_TABLE);
    log.clear();
    deliver(nltest::route(RTM_DELROUTE, ETH0_INDEX, "192.0.2.254", ETH0_TABLE));
    EXPECT_FALSE(wan("eth0").gwValid());
    const std::vector<std::string> expected = {
        "eth0| RTM_DELROUTE index(7) gw(192.0.2.254) table(101)", "eth0| Gateway deleted",
        "eth0| App::processInetDown"};
    EXPECT_EQ(expected, log.messages());
    EXPECT_EQ("Down\n", istate("eth0"));
}

TEST_F(AddressRouteTest, RoutesOfOtherInterfacesSkipped) {
    wan("eth1").ifIndex = ETH1_INDEX;
    deliver(nltest::route(RTM_NEWROUTE, 42, "192.0.2.1", ETH0_TABLE));
    deliver(nltest::route(RTM_DELROUTE, ETH1_INDEX, "192.0.2.1", 103));
    // No RTA_OIF: never taken for wlan0, whose link (index -1) has not been seen.
    deliver(nltest::route(RTM_NEWROUTE, -1, "198.51.100.1", WLAN0_TABLE));
    const std::vector<std::string> expected = {
        "RTM_NEWROUTE: index(42) skipping as not wan interface",
        "RTM_DELROUTE: index(9) skipping as not wan interface",
        "RTM_NEWROUTE: index(-1) skipping as not wan interface",
    };
    EXPECT_EQ(expected, log.messages());
    for (const Wan& each : app->wans)
        EXPECT_FALSE(each.gwValid());
}

TEST_F(AddressRouteTest, TableAbove255NeverMatches) {
    rebuild({wanConfig("eth0", 10, 300, true), wanConfig("wlan0", 20, WLAN0_TABLE, true)},
            Failover);
    deliver(nltest::link(RTM_NEWLINK, ETH0_INDEX, FLAGS_RUNNING, "eth0"));
    // 300 does not fit the 8-bit table field; its low byte is 44.
    deliver(nltest::route(RTM_NEWROUTE, ETH0_INDEX, "192.0.2.1", 300 & 0xff));
    EXPECT_FALSE(wan("eth0").gwValid());
}
