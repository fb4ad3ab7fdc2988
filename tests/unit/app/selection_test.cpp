#include "app_test_util.h"

using apptest::AppTest;
using apptest::giveLink;
using apptest::takeLink;
using apptest::wanConfig;

namespace {

// Builds the usable set from a mask: bit i makes WAN i usable.
void applyUsable(App& app, unsigned mask) {
    for (size_t i = 0; i < app.wans.size(); ++i) {
        if (mask & (1u << i))
            giveLink(app.wans[i]);
        else
            takeLink(app.wans[i]);
    }
}

} // namespace

struct SearchCase {
    Mode mode;
    std::vector<bool> enabled;
    unsigned usable;
    int from;
    int expected;
};

TEST_F(AppTest, SearchPicksByMode) {
    const SearchCase cases[] = {
        {Failover, {true, true, true}, 0b111, -1, 0},
        {Failover, {true, true, true}, 0b111, 0, 1},
        {Failover, {true, true, true}, 0b111, 2, -1},
        {Failover, {true, true, true}, 0b101, 0, 2},
        {Failover, {true, true, true}, 0b000, -1, -1},
        {Failover, {false, true, true}, 0b111, -1, 1},
        {Failover, {true, true, true}, 0b111, -2, -1},
        {Constant, {true, true, true}, 0b110, -1, -1},
        {Constant, {true, true, true}, 0b111, -1, 0},
        {Constant, {false, true, true}, 0b101, -1, -1},
        {Constant, {false, true, true}, 0b110, -1, 1},
        {Constant, {true, true, true}, 0b111, 0, 1},
    };
    for (const SearchCase& c : cases) {
        SCOPED_TRACE(::testing::Message()
                     << "mode " << c.mode << " usable " << c.usable << " from " << c.from);
        std::vector<WanConfig> configs;
        for (size_t i = 0; i < c.enabled.size(); ++i)
            configs.push_back(wanConfig("eth" + std::to_string(i), 1, c.enabled[i]));
        App& engine = build(c.mode, configs);
        // A second enabled WAN would otherwise be forced back to Constant by the table size.
        engine.mode = c.mode;
        applyUsable(engine, c.usable);
        log.clear();
        EXPECT_EQ(engine.searchNextWan(c.from), c.expected);
        EXPECT_TRUE(log.has("App::searchNextWan for " + std::to_string(c.from)));
        EXPECT_EQ(log.has("App::searchNextWan: next wan found " + std::to_string(c.expected)),
                  c.expected != -1);
    }
}

TEST_F(AppTest, SearchNeverReturnsItsStartOrAbove) {
    for (Mode mode : {Constant, Failover}) {
        App& engine = buildThree(mode);
        engine.mode = mode;
        for (unsigned mask = 0; mask < 8; ++mask) {
            applyUsable(engine, mask);
            for (int from = -1; from < 3; ++from) {
                const int found = engine.searchNextWan(from);
                EXPECT_TRUE(found == -1 || found > from) << mode << " " << mask << " " << from;
            }
        }
    }
}

TEST_F(AppTest, UnsupportedModeWarnsPerEnabledWan) {
    App& engine =
        build(Failover, {wanConfig("eth0", 1), wanConfig("eth1", 2, false), wanConfig("eth2", 3)});
    applyUsable(engine, 0b111);
    engine.searchNextInet = false;
    engine.mode = static_cast<Mode>(7);
    EXPECT_EQ(engine.searchNextWan(-1), -1);
    EXPECT_EQ(log.count("Unsupported mode"), 2);
    engine.currentWan = 0;
    engine.processInetDown("eth0");
    engine.processInetUp("eth2");
    EXPECT_EQ(log.count("Unsupported mode"), 4);
    EXPECT_FALSE(engine.refreshInet);
    EXPECT_FALSE(engine.searchNextInet);
}

struct ReactionCase {
    Mode mode;
    int current;
    bool up;
    std::string name;
    int expectCurrent;
    int expectPrevious;
    int expectNext;
    bool expectSearch;
    bool expectRefresh;
};

TEST_F(AppTest, ReactionsRecordRequests) {
    const ReactionCase cases[] = {
        // Failover losses: the current one searches, anything else refreshes.
        {Failover, 1, false, "eth1", 1, -1, -1, true, false},
        {Failover, 1, false, "eth2", 1, -1, -1, false, true},
        {Failover, 1, false, "", 1, -1, -1, false, true},
        {Failover, 1, false, "wlan9", 1, -1, -1, false, true},
        // Failover gains.
        {Failover, -1, true, "eth2", -1, -1, -1, true, false},
        {Failover, 2, true, "eth0", 2, -1, 0, true, false},
        {Failover, 1, true, "eth1", 1, -1, -1, false, true},
        {Failover, 1, true, "eth2", 1, -1, -1, false, true},
        {Failover, 1, true, "", 1, -1, -1, false, true},
        // Constant losses: the current one leaves no WAN at all.
        {Constant, 0, false, "eth0", -1, 0, -1, false, true},
        {Constant, 0, false, "eth1", 0, -1, -1, false, false},
        {Constant, 0, false, "", 0, -1, -1, false, false},
        // Constant gains.
        {Constant, -1, true, "eth1", -1, -1, -1, true, false},
        {Constant, 0, true, "eth0", 0, -1, -1, false, true},
        {Constant, 0, true, "eth1", 0, -1, -1, false, false},
        {Constant, -1, true, "wlan9", -1, -1, -1, false, false},
    };
    for (const ReactionCase& c : cases) {
        SCOPED_TRACE(::testing::Message() << "mode " << c.mode << " current " << c.current << " "
                                          << (c.up ? "up " : "down ") << c.name);
        App& engine = buildThree(c.mode);
        engine.mode = c.mode;
        engine.currentWan = c.current;
        engine.searchNextInet = false;
        if (c.up)
            engine.processInetUp(c.name);
        else
            engine.processInetDown(c.name);
        EXPECT_EQ(engine.currentWan, c.expectCurrent);
        EXPECT_EQ(engine.previousWan, c.expectPrevious);
        EXPECT_EQ(engine.nextWan, c.expectNext);
        EXPECT_EQ(engine.searchNextInet, c.expectSearch);
        EXPECT_EQ(engine.refreshInet, c.expectRefresh);
    }
}

TEST_F(AppTest, ReactionsBeforeStartUpOnlyWriteStateFiles) {
    App& engine = buildThree(Failover);
    engine.initStage = 3;
    engine.searchNextInet = false;
    engine.currentWan = 1;
    engine.processInetDown("eth1");
    engine.processInetUp("eth0");
    EXPECT_FALSE(engine.searchNextInet);
    EXPECT_FALSE(engine.refreshInet);
    EXPECT_EQ(engine.nextWan, -1);
    EXPECT_EQ(testutil::readText("/var/run/uplinker/istate/eth1"), "Down\n");
    EXPECT_EQ(testutil::readText("/var/run/uplinker/istate/eth0"), "Up\n");
    EXPECT_TRUE(log.has("eth1| App::processInetDown"));
    EXPECT_TRUE(log.has("eth0| App::processInetUp"));
}

TEST_F(AppTest, FindWanByNameAndIndex) {
    App& engine = buildThree(Failover);
    engine.wans[1].ifIndex = 7;
    engine.wans[2].ifIndex = 7;
    EXPECT_EQ(engine.findWanByName("eth1") - engine.wans.begin(), 1);
    EXPECT_EQ(engine.findWanByName("eth"), engine.wans.end());
    EXPECT_EQ(engine.findWanByName("eth1 "), engine.wans.end());
    EXPECT_EQ(engine.findWanByIndex(7), 1);
    EXPECT_EQ(engine.findWanByIndex(8), -1);
}

// Scenarios through the switching point: the reactions record, applyRequests switches.
TEST_F(AppTest, FailoverFailsOverAndBack) {
    App& engine = buildThree(Failover);
    applyUsable(engine, 0b111);
    engine.applyRequests();
    ASSERT_EQ(engine.currentWan, 0);

    takeLink(engine.wans[0]);
    engine.processInetDown("eth0");
    engine.applyRequests();
    EXPECT_EQ(engine.currentWan, 1);
    EXPECT_EQ(engine.previousWan, 1);

    giveLink(engine.wans[0]);
    engine.processInetUp("eth0");
    EXPECT_EQ(engine.nextWan, 0);
    engine.applyRequests();
    EXPECT_EQ(engine.currentWan, 0);

    takeLink(engine.wans[2]);
    engine.processInetDown("eth2");
    EXPECT_TRUE(engine.refreshInet);
    EXPECT_FALSE(engine.searchNextInet);
    engine.applyRequests();
    giveLink(engine.wans[2]);
    engine.processInetUp("eth2");
    engine.applyRequests();
    EXPECT_EQ(engine.currentWan, 0);
    EXPECT_EQ(hookCalls(), (std::vector<std::string>{"-i eth0 -d up", "-i eth1 -d down",
                                                     "-i eth0 -d up", "-i eth0", "-i eth0"}));
}

TEST_F(AppTest, LossSearchesOnlyBelowTheCurrentWan) {
    App& engine = buildThree(Failover);
    applyUsable(engine, 0b111);
    engine.currentWan = engine.previousWan = 1;
    engine.searchNextInet = false;
    takeLink(engine.wans[1]);
    engine.processInetDown("eth1");
    engine.applyRequests();
    EXPECT_EQ(engine.currentWan, 2);
    EXPECT_TRUE(log.has("App::searchNextWan for 1"));
}

TEST_F(AppTest, NoUsableWanThenSearchFromTheTop) {
    App& engine = buildThree(Failover);
    applyUsable(engine, 0b000);
    engine.applyRequests();
    EXPECT_EQ(engine.currentWan, -1);

    applyUsable(engine, 0b110);
    engine.processInetUp("eth2");
    engine.applyRequests();
    // The most preferred usable WAN wins, not the one that reported.
    EXPECT_EQ(engine.currentWan, 1);
}

TEST_F(AppTest, ChosenNextWanIsNotRetested) {
    App& engine = buildThree(Failover);
    applyUsable(engine, 0b100);
    engine.applyRequests();
    ASSERT_EQ(engine.currentWan, 2);
    giveLink(engine.wans[0]);
    engine.processInetUp("eth0");
    takeLink(engine.wans[0]);
    engine.processInetDown("eth0");
    EXPECT_EQ(engine.nextWan, 0);
    engine.applyRequests();
    EXPECT_EQ(engine.currentWan, 0);
}

TEST_F(AppTest, LastReportedPreferredWanWins) {
    App& engine = buildThree(Failover);
    applyUsable(engine, 0b100);
    engine.applyRequests();
    applyUsable(engine, 0b111);
    engine.processInetUp("eth0");
    engine.processInetUp("eth1");
    engine.applyRequests();
    EXPECT_EQ(engine.currentWan, 1);
}

TEST_F(AppTest, ActiveWansStartOnTheLastResortAndFailBack) {
    App& engine = buildThree(Failover, Active);
    applyUsable(engine, 0b111);
    engine.applyRequests();
    EXPECT_EQ(engine.currentWan, 2);
    engine.wans[0].activeResult = true;
    engine.processInetUp("eth0");
    engine.applyRequests();
    EXPECT_EQ(engine.currentWan, 0);
}

TEST_F(AppTest, ConstantModeStaysOnTheFirstEnabledWan) {
    App& engine = build(Constant, {wanConfig("eth0", 1), wanConfig("eth1", 2)});
    applyUsable(engine, 0b10);
    engine.applyRequests();
    EXPECT_EQ(engine.currentWan, -1);
    engine.processInetUp("eth1");
    engine.applyRequests();
    EXPECT_EQ(engine.currentWan, -1);

    applyUsable(engine, 0b11);
    engine.processInetUp("eth0");
    engine.applyRequests();
    ASSERT_EQ(engine.currentWan, 0);
    takeLink(engine.wans[0]);
    engine.processInetDown("eth0");
    engine.applyRequests();
    EXPECT_EQ(engine.currentWan, -1);
    EXPECT_EQ(hookCalls().back(), "-d down");
}
