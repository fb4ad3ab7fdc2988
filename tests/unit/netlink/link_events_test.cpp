// Link notifications: up/down, the flag words, roaming of the Wi-Fi and its lock, and links
// that are not enabled WANs.
#include <algorithm>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include "netlink_fixture.h"
#include "support/clock.h"

using nltest::Bytes;
using Lines = std::vector<std::string>;

namespace {

constexpr uint32_t UP = 0x1;
constexpr uint32_t RUNNING = 0x40;
constexpr uint32_t LOWER_UP = 0x10000;
constexpr uint32_t DORMANT = 0x20000;
// The Wi-Fi re-associating: carrier kept, RUNNING gone.
constexpr uint32_t ROAMING = UP | LOWER_UP;
constexpr int WLAN0 = 1;

const Lines ROAMING_BANNER = {
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
    void bringUpWlan0() {
        bringUp("wlan0", WLAN0_INDEX, "198.51.100.5", "198.51.100.1", WLAN0_TABLE);
    }
    bool bannerLogged() const {
        const Lines messages = log.messages();
        return std::search(messages.begin(), messages.end(), ROAMING_BANNER.begin(),
                           ROAMING_BANNER.end()) != messages.end();
    }
};

// The last IFLA_IFNAME wins; one without its NUL is bounded by its length.
Bytes renamedWithoutNul() {
    ifinfomsg info{};
    info.ifi_index = ETH0_INDEX;
    info.ifi_flags = FLAGS_RUNNING;
    return nltest::Message(RTM_NEWLINK)
        .raw(&info, sizeof(info))
        .attrName(IFLA_IFNAME, "wlan0")
        .attr(IFLA_IFNAME, "eth0", 4)
        .bytes();
}

} // namespace

TEST_F(LinkTest, FlagWordsAndUpState) {
    const struct {
        uint32_t flags;
        const char* line;
        bool up;
    } cases[] = {
        {0x0, "eth0| RTM_NEWLINK: index=7 flags=0x0 [not UP][not RUNNING][not LOWER_UP]", false},
        {UP, "eth0| RTM_NEWLINK: index=7 flags=0x1 [UP][not RUNNING][not LOWER_UP]", false},
        {UP | RUNNING | LOWER_UP,
         "eth0| RTM_NEWLINK: index=7 flags=0x10041 [UP][RUNNING][LOWER_UP]", true},
        {UP | DORMANT | LOWER_UP | 0x1000,
         "eth0| RTM_NEWLINK: index=7 flags=0x31001 [UP][not RUNNING][LOWER_UP][DORMANT]", false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.line);
        log.clear();
        newLink("eth0", ETH0_INDEX, c.flags);
        EXPECT_TRUE(log.has(c.line));
        EXPECT_EQ(ETH0_INDEX, wan("eth0").ifIndex);
        EXPECT_EQ(c.up, wan("eth0").up);
        // Without address and gateway the link alone is never reported up.
        EXPECT_EQ(0, log.count("eth0| App::processInetUp"));
        EXPECT_NE("Up\n", istate("eth0"));
    }
}

TEST_F(LinkTest, RunningReportsInternetOnceWhenUsable) {
    wan("eth0").address.store(nltest::ipv4("192.0.2.10"));
    wan("eth0").gateway = nltest::ipv4("192.0.2.1");
    newLink("eth0", ETH0_INDEX, UP | RUNNING);
    EXPECT_TRUE(log.has("eth0| Up state changed to true"));
    EXPECT_EQ(1, log.count("eth0| App::processInetUp"));
    EXPECT_EQ("Up\n", istate("eth0"));
    EXPECT_TRUE(app->searchNextInet);

    log.clear();
    newLink("eth0", ETH0_INDEX, UP | RUNNING);
    EXPECT_EQ(Lines{"eth0| RTM_NEWLINK: index=7 flags=0x41 [UP][RUNNING][not LOWER_UP]"},
              log.messages());
}

TEST_F(LinkTest, NotificationsOfOtherLinksSkipped) {
    newLink("eth0", ETH0_INDEX, FLAGS_RUNNING);
    wan("eth1").ifIndex = ETH1_INDEX;
    log.clear();
    // Header cut to 12 of its 16 bytes.
    const Bytes shortHeader =
        nltest::Message(RTM_NEWLINK).raw("\0\0\0\0\x07\0\0\0\x41\0\0\0", 12).bytes();
    for (const Bytes& datagram : {
             nltest::link(RTM_NEWLINK, 12, FLAGS_RUNNING, "eth9"),
             nltest::link(RTM_NEWLINK, ETH1_INDEX, FLAGS_RUNNING, "eth1"),
             nltest::link(RTM_NEWLINK, 13, FLAGS_RUNNING, ""),
             nltest::link(RTM_NEWLINK, ETH0_INDEX, 0, "eth0", AF_BRIDGE),
             shortHeader,
             nltest::link(RTM_DELLINK, 42, 0, ""),
             nltest::link(RTM_DELLINK, ETH1_INDEX, 0, ""),
             nltest::link(RTM_DELLINK, ETH0_INDEX, 0, "", AF_INET),
         })
        deliver(datagram);
    const Lines expected = {
        "eth9| RTM_NEWLINK: index(12) skipping as not wan interface",
        "eth1| RTM_NEWLINK: index(9) skipping as not wan interface",
        "| RTM_NEWLINK: index(13) skipping as not wan interface",
        "RTM_DELLINK: index(42) skipping as not wan interface",
        "RTM_DELLINK: index(9) skipping as not wan interface",
    };
    EXPECT_EQ(expected, log.messages());
    EXPECT_FALSE(wan("eth1").up);
    EXPECT_EQ(ETH1_INDEX, wan("eth1").ifIndex);
    EXPECT_TRUE(wan("eth0").up);
    EXPECT_EQ(ETH0_INDEX, wan("eth0").ifIndex);
}

TEST_F(LinkTest, NameAttributeWithoutNulAndRepeated) {
    deliver(renamedWithoutNul());
    EXPECT_EQ(ETH0_INDEX, wan("eth0").ifIndex);
    EXPECT_EQ(-1, wan("wlan0").ifIndex);
}

TEST_F(LinkTest, RoamingWhileCurrentTakesTheLockOnce) {
    bringUpWlan0();
    app->currentWan = WLAN0;
    log.clear();
    const int32_t before = monotonicSeconds();
    newLink("wlan0", WLAN0_INDEX, ROAMING);
    const int32_t after = monotonicSeconds();
    EXPECT_EQ(WLAN0, app->lockedWan);
    EXPECT_GE(app->lockedUntil, before + ROAMING_LOCK_S);
    EXPECT_LE(app->lockedUntil, after + ROAMING_LOCK_S);
    Lines expected = {"wlan0| RTM_NEWLINK: index=8 flags=0x10001 [UP][not RUNNING][LOWER_UP]"};
    expected.insert(expected.end(), ROAMING_BANNER.begin(), ROAMING_BANNER.end());
    expected.insert(expected.end(),
                    {LOCKING_LINE, ROAMING_BANNER[0], "wlan0| Up state changed to false",
                     "wlan0| App::processInetDown"});
    EXPECT_EQ(expected, log.messages());

    // The same notification again finds the link already down.
    log.clear();
    newLink("wlan0", WLAN0_INDEX, ROAMING);
    EXPECT_EQ(1u, log.messages().size());

    // Roaming again while locked neither renews nor extends the lock.
    app->lockedUntil -= 10;
    const int32_t until = app->lockedUntil;
    newLink("wlan0", WLAN0_INDEX, FLAGS_RUNNING);
    ASSERT_TRUE(wan("wlan0").up);
    log.clear();
    newLink("wlan0", WLAN0_INDEX, ROAMING);
    EXPECT_TRUE(bannerLogged());
    EXPECT_FALSE(log.has(LOCKING_LINE));
    EXPECT_EQ(until, app->lockedUntil);
    EXPECT_EQ(WLAN0, app->lockedWan);
}

TEST_F(LinkTest, RoamingDetectionAndLock) {
    const struct {
        const char* what;
        const char* name;
        int current;
        bool usable;
        uint32_t flags;
        bool banner;
        bool locked;
        bool upAfter;
    } cases[] = {
        {"Wi-Fi not current", "wlan0", 0, true, ROAMING, true, false, false},
        {"dormant while running", "wlan0", WLAN0, true, FLAGS_RUNNING | DORMANT, true, true, true},
        {"Wi-Fi already down", "wlan0", WLAN0, false, ROAMING, false, false, false},
        {"only the Wi-Fi roams", "eth0", 0, true, ROAMING, false, false, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        restart();
        const bool wifi = c.name[0] == 'w';
        const int32_t index = wifi ? WLAN0_INDEX : ETH0_INDEX;
        if (c.usable)
            bringUp(c.name, index, "198.51.100.5", "198.51.100.1", wifi ? WLAN0_TABLE : ETH0_TABLE);
        app->currentWan = c.current;
        log.clear();
        newLink(c.name, index, c.flags);
        EXPECT_EQ(c.banner, bannerLogged());
        EXPECT_EQ(c.locked, log.has(LOCKING_LINE));
        EXPECT_EQ(c.locked ? WLAN0 : -1, app->lockedWan);
        EXPECT_EQ(c.locked, app->lockedUntil != 0);
        EXPECT_EQ(c.upAfter, wan(c.name).up);
        if (c.usable && !c.upAfter) {
            EXPECT_EQ(1, log.count(std::string(c.name) + "| App::processInetDown"));
            EXPECT_EQ("Down\n", istate(c.name));
        }
    }
}

TEST_F(LinkTest, DelLinkForgetsTheIndexAndReportsDownWhenUp) {
    for (bool usable : {true, false}) {
        SCOPED_TRACE(usable);
        restart();
        if (usable)
            bringUp("eth0", ETH0_INDEX, "192.0.2.10", "192.0.2.1", ETH0_TABLE);
        else
            newLink("eth0", ETH0_INDEX, UP);
        log.clear();
        deliver(nltest::link(RTM_DELLINK, ETH0_INDEX, 0, usable ? "eth0" : ""));
        EXPECT_EQ(-1, wan("eth0").ifIndex);
        EXPECT_FALSE(wan("eth0").up);
        const Lines expected = usable ? Lines{"eth0| RTM_DELLINK", "eth0| App::processInetDown"}
                                      : Lines{"eth0| RTM_DELLINK"};
        EXPECT_EQ(expected, log.messages());
        EXPECT_EQ(usable ? "Down\n" : "", istate("eth0"));
    }
}
