#include "app_test_util.h"

using apptest::AppTest;
using apptest::giveLink;
using apptest::takeLink;
using apptest::wanConfig;

namespace {

const char* const FRAME = "wlan0| ==========================================================";
const char* const INTERNET_NOW =
    "wlan0| ==   UNLOCKING INTERFACE SINCE IT HAS INTERNET NOW      ==";
const char* const TIMEOUT = "wlan0| ==   UNLOCKING INTERFACE AFTER 30 SECONDS LOCK TIMEOUT  ==";
const char* const SUPPRESS = "wlan0| Setting ActiveResult=true to suppress false negative result";

} // namespace

class RoamingLockTest : public AppTest {
protected:
    // wlan0 is the current uplink and has just roamed: locked, link gone; eth1 is usable.
    App& buildLocked(MonitorMode monitor, int32_t lockSeconds) {
        App& engine = build(Failover, {wanConfig("wlan0", 1, true, monitor), wanConfig("eth1", 2)});
        giveLink(engine.wans[1]);
        takeLink(engine.wans[0]);
        engine.currentWan = engine.previousWan = 0;
        engine.lockedWan = 0;
        engine.lockedUntil = monotonicSeconds() + lockSeconds;
        engine.searchNextInet = false;
        return engine;
    }
};

TEST_F(RoamingLockTest, LockPinsTheStateAndDropsRequests) {
    App& engine = buildLocked(Passive, 30);
    engine.processInetDown("wlan0");
    engine.nextWan = 1;
    engine.refreshInet = true;
    engine.currentWan = 1;
    engine.enforceRoamingLock();
    EXPECT_EQ(engine.currentWan, 0);
    EXPECT_EQ(engine.previousWan, 0);
    EXPECT_EQ(engine.nextWan, -1);
    EXPECT_FALSE(engine.searchNextInet);
    EXPECT_FALSE(engine.refreshInet);
    EXPECT_EQ(engine.lockedWan, 0);
    engine.applyRequests();
    EXPECT_TRUE(hookCalls().empty());
    EXPECT_FALSE(log.has(FRAME));
}

struct UnlockCase {
    MonitorMode monitor;
    bool activeBefore;
    int32_t lockSeconds;
    bool suppressLogged;
    bool timeoutLogged;
};

TEST_F(RoamingLockTest, EarlyUnlockWhenTheWifiHasItsNetworkBack) {
    const UnlockCase cases[] = {
        {Active, false, 30, true, false},
        {Active, true, 30, false, false},
        {Passive, false, 30, false, false},
        {Active, false, -1, true, true},
    };
    for (const UnlockCase& c : cases) {
        SCOPED_TRACE(::testing::Message()
                     << c.monitor << " " << c.activeBefore << " " << c.lockSeconds);
        App& engine = buildLocked(c.monitor, c.lockSeconds);
        engine.wans[0].activeResult = c.activeBefore;
        giveLink(engine.wans[0]);
        log.clear();
        engine.enforceRoamingLock();
        EXPECT_TRUE(engine.wans[0].activeResult);
        EXPECT_EQ(log.count(FRAME), c.timeoutLogged ? 4 : 2);
        EXPECT_TRUE(log.has(INTERNET_NOW));
        EXPECT_EQ(log.has(SUPPRESS), c.suppressLogged);
        EXPECT_EQ(log.has(TIMEOUT), c.timeoutLogged);
        EXPECT_TRUE(log.has("Search for best available wan among all enabled wans"));
        EXPECT_EQ(engine.lockedWan, -1);
        EXPECT_EQ(engine.lockedUntil, 0);
        EXPECT_TRUE(engine.searchNextInet);
        EXPECT_EQ(engine.nextWan, 0);
    }
}

TEST_F(RoamingLockTest, TimeoutUnlocksAndSearchesFromTheTop) {
    App& engine = buildLocked(Passive, -1);
    engine.enforceRoamingLock();
    const std::vector<std::string> expected = {FRAME, TIMEOUT, FRAME};
    std::vector<std::string> banner;
    for (const std::string& message : log.messages()) {
        if (message.rfind("wlan0| ==", 0) == 0)
            banner.push_back(message);
    }
    EXPECT_EQ(banner, expected);
    EXPECT_FALSE(log.has(INTERNET_NOW));
    EXPECT_TRUE(log.has("App::searchNextWan for -1"));
    EXPECT_EQ(engine.nextWan, 1);
    engine.applyRequests();
    EXPECT_EQ(engine.currentWan, 1);
    EXPECT_EQ(hookCalls(), (std::vector<std::string>{"-i eth1 -d down"}));
}

TEST_F(RoamingLockTest, NothingUsableSearchesTwiceThenSwitchesToNone) {
    App& engine = buildLocked(Passive, -1);
    takeLink(engine.wans[1]);
    engine.enforceRoamingLock();
    engine.applyRequests();
    const std::vector<std::string> messages = log.messages();
    auto first = std::find(messages.begin(), messages.end(), "App::searchNextWan for -1");
    auto second = std::find(messages.begin(), messages.end(), "App::searchNextWan for 0");
    ASSERT_NE(first, messages.end());
    ASSERT_NE(second, messages.end());
    EXPECT_LT(first - messages.begin(), second - messages.begin());
    EXPECT_EQ(engine.currentWan, -1);
    EXPECT_EQ(hookCalls(), (std::vector<std::string>{"-d down"}));
}

TEST_F(RoamingLockTest, LockOutsideTheTableOnlyTimesOut) {
    App& engine = buildLocked(Passive, 30);
    engine.lockedWan = 5;
    engine.enforceRoamingLock();
    EXPECT_EQ(engine.lockedWan, 5);
    EXPECT_EQ(engine.currentWan, 5);
    engine.lockedUntil = monotonicSeconds() - 1;
    engine.enforceRoamingLock();
    EXPECT_EQ(engine.lockedWan, -1);
    EXPECT_TRUE(log.has("unknown| ==   UNLOCKING INTERFACE AFTER 30 SECONDS LOCK TIMEOUT  =="));
}
