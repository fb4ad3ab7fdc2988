// The selection policy and the requests an up or down report records, as tables.
#include "engine_fixture.h"

TEST_F(EngineTest, SearchPicksTheNextUsableWanByMode) {
    const struct {
        Mode mode;
        std::vector<bool> enabled;
        unsigned usable;
        int from, expected;
    } cases[] = {
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
    for (const auto& c : cases) {
        build(c.mode, c.enabled);
        setUsable(c.usable);
        EXPECT_EQ(app->searchNextWan(c.from), c.expected)
            << "mode " << c.mode << " usable " << c.usable << " from " << c.from;
    }
}

TEST_F(EngineTest, ReportsRecordTheRightRequest) {
    const struct {
        Mode mode;
        int current;
        bool up;
        const char* name;
        int current_, previous, next;
        bool search, refresh;
    } cases[] = {
        // Failover losses: the current one searches, anything else refreshes.
        {Failover, 1, false, "eth1", 1, -1, -1, true, false},
        {Failover, 1, false, "eth2", 1, -1, -1, false, true},
        {Failover, 1, false, "wlan9", 1, -1, -1, false, true},
        // Failover gains: a better WAN is chosen as the next one, others refresh.
        {Failover, -1, true, "eth2", -1, -1, -1, true, false},
        {Failover, 2, true, "eth0", 2, -1, 0, true, false},
        {Failover, 1, true, "eth1", 1, -1, -1, false, true},
        {Failover, 1, true, "eth2", 1, -1, -1, false, true},
        // Constant losses: the current one leaves no WAN at all; others change nothing.
        {Constant, 0, false, "eth0", -1, 0, -1, false, true},
        {Constant, 0, false, "eth1", 0, -1, -1, false, false},
        // Constant gains.
        {Constant, -1, true, "eth1", -1, -1, -1, true, false},
        {Constant, 0, true, "eth0", 0, -1, -1, false, true},
        {Constant, 0, true, "eth1", 0, -1, -1, false, false},
        {Constant, -1, true, "wlan9", -1, -1, -1, false, false},
    };
    for (const auto& c : cases) {
        build(c.mode, {true, true, true});
        app->currentWan = c.current;
        app->searchNextInet = false;
        if (c.up)
            app->processInetUp(c.name);
        else
            app->processInetDown(c.name);
        const std::vector<int> got = {app->currentWan, app->previousWan, app->nextWan,
                                      app->searchNextInet, app->refreshInet};
        const std::vector<int> want = {c.current_, c.previous, c.next, c.search, c.refresh};
        EXPECT_EQ(got, want) << "mode " << c.mode << " current " << c.current << " "
                             << (c.up ? "up " : "down ") << c.name;
    }
}

TEST_F(EngineTest, ReportsBeforeTheStartUpDumpsRecordNothing) {
    build(Failover, {true, true, true});
    app->initStage = 3;
    app->searchNextInet = false;
    app->currentWan = 1;
    app->processInetDown("eth1");
    app->processInetUp("eth0");
    EXPECT_FALSE(app->searchNextInet || app->refreshInet || app->nextWan != -1);
}
