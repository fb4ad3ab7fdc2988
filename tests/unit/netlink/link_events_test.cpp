// Link notifications: up/down, the flag words, roaming of the Wi-Fi and its lock, and links
// that are not enabled WANs.
#include <algorithm>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include "netlink_fixture.h"
#include "support/clock.h"

namespace {

constexpr uint32_t UP = 0x1;
constexpr uint32_t RUNNING = 0x40;
constexpr uint32_t LOWER_UP = 0x10000;
constexpr uint32_t DORMANT = 0x20000;
// The Wi-Fi re-associating: carrier kept, RUNNING gone.
constexpr uint32_t ROAMING = UP | LOWER_UP;

const std::vector<std::string> ROAMING_BANNER = {
    "wlan0| ==========================================================",
    "wlan0| ==                                                      ==",
    "wlan0| ==                 WIFI ROAMING DETECTED                ==",
    "wlan0| ==                                                      ==",
    "wlan0| ==========================================================",
};
const char* const LOCKING_LINE =
    "wlan0| ==               LOCKING CURRENT INTERFACE              ==";

class LinkTest : public NetlinkTest {
protected:
    void newLink(const std::string& name, int32_t index, uint32_t flags) {
        deliver(nltest::link(RTM_NEWLINK, index, flags, name));
    }
    int wlan0() const { return 1; }
    bool bannerLogged() const {
        const auto messages = log.messages();
        return std::search(messages.begin(), messages.end(), ROAMING_BANNER.begin(),
                           ROAMING_BANNER.end()) != messages.end();
    }
};

struct FlagCase {
    uint32_t flags;
    const char* line;
};

const FlagCase FLAG_CASES[] = {
    {0x0, "eth0| RTM_NEWLINK: index=7 flags=0x0 [not UP][not RUNNING][not LOWER_UP]"},
    {UP, "eth0| RTM_NEWLINK: index=7 flags=0x1 [UP][not RUNNING][not LOWER_UP]"},
    {UP | RUNNING | LOWER_UP, "eth0| RTM_NEWLINK: index=7 flags=0x10041 [UP][RUNNING][LOWER_UP]"},
    {UP | DORMANT | LOWER_UP | 0x1000,
     "eth0| RTM_NEWLINK: index=7 flags=0x31001 [UP][not RUNNING][LOWER_UP][DORMANT]"},
};

} // namespace

TEST_F(LinkTest, FlagWords) {
    for (const FlagCase& c : FLAG_CASES) {
        SCOPED_TRACE(c.line);
        log.clear();
        newLink("eth0", ETH0_INDEX, c.flags);
        EXPECT_TRUE(log.has(c.line));
    }
}

TEST_F(LinkTest, UpAloneLeavesTheLinkDown) {
    newLink("eth0", ETH0_INDEX, UP);
    EXPECT_EQ(ETH0_INDEX, wan("eth0").ifIndex);
    EXPECT_FALSE(wan("eth0").up);
    EXPECT_EQ(1u, log.messages().size());
}

TEST_F(LinkTest, UpAndRunningReportsInternetOnceWhenUsable) {
    wan("eth0").address.store(nltest::ipv4("192.0.2.10"));
    wan("eth0").gateway = nltest::ipv4("192.0.2.1");
    newLink("eth0", ETH0_INDEX, UP | RUNNING);
    EXPECT_TRUE(wan("eth0").up);
    EXPECT_TRUE(log.has("eth0| Up state changed to true"));
    EXPECT_EQ(1, log.count("eth0| App::processInetUp"));
    EXPECT_EQ("Up\n", istate("eth0"));
    EXPECT_TRUE(app->searchNextInet);

    log.clear();
    newLink("eth0", ETH0_INDEX, UP | RUNNING);
    EXPECT_EQ(std::vector<std::string>{"eth0| RTM_NEWLINK: index=7 flags=0x41 [UP][RUNNING][not "
                                       "LOWER_UP]"},
              log.messages());
}

TEST_F(LinkTest, UpWithoutAddressIsNotReported) {
    newLink("eth0", ETH0_INDEX, FLAGS_RUNNING);
    EXPECT_TRUE(wan("eth0").up);
    EXPECT_EQ(0, log.count("eth0| App::processInetUp"));
    EXPECT_EQ("", istate("eth0"));
}

TEST_F(LinkTest, LosingRunningReportsDown) {
    bringUp("eth0", ETH0_INDEX, "192.0.2.10", "192.0.2.1", ETH0_TABLE);
    app->currentWan = 0;
    log.clear();
    newLink("eth0", ETH0_INDEX, UP | LOWER_UP);
    EXPECT_FALSE(wan("eth0").up);
    EXPECT_TRUE(log.has("eth0| Up state changed to false"));
    EXPECT_EQ(1, log.count("eth0| App::processInetDown"));
    EXPECT_EQ("Down\n", istate("eth0"));
    EXPECT_TRUE(app->searchNextInet);
    // Only the Wi-Fi roams.
    EXPECT_FALSE(bannerLogged());
    EXPECT_EQ(-1, app->lockedWan);
}

TEST_F(LinkTest, LinksThatAreNotEnabledWansSkipped) {
    newLink("eth9", 12, FLAGS_RUNNING);
    newLink("eth1", ETH1_INDEX, FLAGS_RUNNING);
    deliver(nltest::link(RTM_NEWLINK, 13, FLAGS_RUNNING, ""));
    const std::vector<std::string> expected = {
        "eth9| RTM_NEWLINK: index(12) skipping as not wan interface",
        "eth1| RTM_NEWLINK: index(9) skipping as not wan interface",
        "| RTM_NEWLINK: index(13) skipping as not wan interface",
    };
    EXPECT_EQ(expected, log.messages());
    EXPECT_EQ(-1, wan("eth1").ifIndex);
    EXPECT_FALSE(wan("eth1").up);
}

TEST_F(LinkTest, NameWithoutNulAndRepeatedNameAttribute) {
    // The last IFLA_IFNAME wins; one without its NUL is bounded by its length.
    ifinfomsg info{};
    info.ifi_index = ETH0_INDEX;
    info.ifi_flags = FLAGS_RUNNING;
    deliver(nltest::Message(RTM_NEWLINK)
                .raw(&info, sizeof(info))
                .attrName(IFLA_IFNAME, "wlan0")
                .attr(IFLA_IFNAME, "eth0", 4)
                .bytes());
    EXPECT_EQ(ETH0_INDEX, wan("eth0").ifIndex);
    EXPECT_EQ(-1, wan("wlan0").ifIndex);
}

TEST_F(LinkTest, OtherFamilyAndShortHeaderIgnored) {
    deliver(nltest::link(RTM_NEWLINK, ETH0_INDEX, FLAGS_RUNNING, "eth0", AF_BRIDGE));
    // Header cut to 12 of its 16 bytes.
    nltest::Bytes cut =
        nltest::Message(RTM_NEWLINK).raw("\0\0\0\0\x07\0\0\0\x41\0\0\0", 12).bytes();
    deliver(cut);
    EXPECT_EQ(-1, wan("eth0").ifIndex);
    EXPECT_TRUE(log.messages().empty());
}

TEST_F(LinkTest, RoamingWhileCurrentTakesTheLock) {
    bringUp("wlan0", WLAN0_INDEX, "198.51.100.5", "198.51.100.1", WLAN0_TABLE);
    app->currentWan = wlan0();
    log.clear();
    const int32_t before = monotonicSeconds();
    newLink("wlan0", WLAN0_INDEX, ROAMING);
    const int32_t after = monotonicSeconds();
    EXPECT_EQ(wlan0(), app->lockedWan);
    EXPECT_GE(app->lockedUntil, before + ROAMING_LOCK_S);
    EXPECT_LE(app->lockedUntil, after + ROAMING_LOCK_S);
    std::vector<std::string> expected = {
        "wlan0| RTM_NEWLINK: index=8 flags=0x10001 [UP][not RUNNING][LOWER_UP]"};
    expected.insert(expected.end(), ROAMING_BANNER.begin(), ROAMING_BANNER.end());
    expected.push_back(LOCKING_LINE);
    expected.push_back(ROAMING_BANNER[0]);
    expected.push_back("wlan0| Up state changed to false");
    expected.push_back("wlan0| App::processInetDown");
    EXPECT_EQ(expected, log.messages());
    EXPECT_FALSE(wan("wlan0").up);

    // The same notification again finds the link already down.
    log.clear();
    newLink("wlan0", WLAN0_INDEX, ROAMING);
    EXPECT_EQ(1u, log.messages().size());
}

TEST_F(LinkTest, RoamingAgainWhileLockedNeitherRenewsNorExtends) {
    bringUp("wlan0", WLAN0_INDEX, "198.51.100.5", "198.51.100.1", WLAN0_TABLE);
    app->currentWan = wlan0();
    newLink("wlan0", WLAN0_INDEX, ROAMING);
    ASSERT_EQ(wlan0(), app->lockedWan);
    // Pretend part of the lock has run out.
    app->lockedUntil -= 10;
    const int32_t until = app->lockedUntil;
    newLink("wlan0", WLAN0_INDEX, FLAGS_RUNNING);
    ASSERT_TRUE(wan("wlan0").up);
    log.clear();
    newLink("wlan0", WLAN0_INDEX, ROAMING);
    EXPECT_TRUE(bannerLogged());
    EXPECT_FALSE(log.has(LOCKING_LINE));
    EXPECT_EQ(until, app->lockedUntil);
    EXPECT_EQ(wlan0(), app->lockedWan);
}

TEST_F(LinkTest, RoamingWhileNotCurrentOnlyBanner) {
    bringUp("wlan0", WLAN0_INDEX, "198.51.100.5", "198.51.100.1", WLAN0_TABLE);
    app->currentWan = 0;
    log.clear();
    newLink("wlan0", WLAN0_INDEX, ROAMING);
    EXPECT_TRUE(bannerLogged());
    EXPECT_FALSE(log.has(LOCKING_LINE));
    EXPECT_EQ(-1, app->lockedWan);
    EXPECT_EQ(0, app->lockedUntil);
}

TEST_F(LinkTest, DormantIsRoamingEvenWhileRunning) {
    bringUp("wlan0", WLAN0_INDEX, "198.51.100.5", "198.51.100.1", WLAN0_TABLE);
    app->currentWan = wlan0();
    log.clear();
    newLink("wlan0", WLAN0_INDEX, FLAGS_RUNNING | DORMANT);
    EXPECT_TRUE(bannerLogged());
    EXPECT_EQ(wlan0(), app->lockedWan);
    EXPECT_TRUE(wan("wlan0").up);
}

TEST_F(LinkTest, NoRoamingWhileTheWifiIsDown) {
    app->currentWan = wlan0();
    newLink("wlan0", WLAN0_INDEX, ROAMING);
    EXPECT_FALSE(bannerLogged());
    EXPECT_EQ(-1, app->lockedWan);
}

TEST_F(LinkTest, DelLinkOfAnUpWanReportsDown) {
    bringUp("eth0", ETH0_INDEX, "192.0.2.10", "192.0.2.1", ETH0_TABLE);
    log.clear();
    deliver(nltest::link(RTM_DELLINK, ETH0_INDEX, 0, "eth0"));
    EXPECT_EQ(-1, wan("eth0").ifIndex);
    EXPECT_FALSE(wan("eth0").up);
    const std::vector<std::string> expected = {"eth0| RTM_DELLINK", "eth0| App::processInetDown"};
    EXPECT_EQ(expected, log.messages());
    EXPECT_EQ("Down\n", istate("eth0"));
}

TEST_F(LinkTest, DelLinkOfADownWanOnlyForgetsTheIndex) {
    newLink("eth0", ETH0_INDEX, UP);
    log.clear();
    deliver(nltest::link(RTM_DELLINK, ETH0_INDEX, 0, ""));
    EXPECT_EQ(-1, wan("eth0").ifIndex);
    EXPECT_EQ(std::vector<std::string>{"eth0| RTM_DELLINK"}, log.messages());
}

TEST_F(LinkTest, DelLinkOfOtherLinksSkipped) {
    newLink("eth0", ETH0_INDEX, FLAGS_RUNNING);
    // A disabled WAN never learns its index; pretend it had.
    wan("eth1").ifIndex = ETH1_INDEX;
    log.clear();
    deliver(nltest::link(RTM_DELLINK, 42, 0, ""));
    deliver(nltest::link(RTM_DELLINK, ETH1_INDEX, 0, ""));
    deliver(nltest::link(RTM_DELLINK, ETH0_INDEX, 0, "", AF_INET));
    const std::vector<std::string> expected = {
        "RTM_DELLINK: index(42) skipping as not wan interface",
        "RTM_DELLINK: index(9) skipping as not wan interface",
    };
    EXPECT_EQ(expected, log.messages());
    EXPECT_EQ(ETH1_INDEX, wan("eth1").ifIndex);
    EXPECT_TRUE(wan("eth0").up);
}
