#include <unistd.h>

#include "app_test_util.h"

using apptest::AppTest;
using apptest::giveLink;
using apptest::wanConfig;

struct StateCase {
    bool enabled;
    bool up;
    const char* content;
};

TEST_F(AppTest, InterfaceStateContent) {
    const StateCase cases[] = {
        {false, true, "Disabled\n"},
        {true, false, "Down\n"},
        {true, true, "Up\n"},
        {false, false, "Disabled\n"},
    };
    for (const StateCase& c : cases) {
        SCOPED_TRACE(::testing::Message() << c.enabled << " " << c.up);
        // The file is kept between cases: a shorter word after a longer one leaves no tail.
        App& engine = build(Failover, {wanConfig("eth0", 1), wanConfig("wlan0", 2, c.enabled)});
        engine.writeInterfaceState("wlan0", c.up);
        EXPECT_EQ(testutil::readText("/var/run/uplinker/istate/wlan0"), c.content);
    }
}

TEST_F(AppTest, InterfaceStateOnlyForKnownNames) {
    App& engine = buildThree(Failover);
    engine.writeInterfaceState("wlan7", true);
    engine.writeInterfaceState("", true);
    EXPECT_NE(access("/var/run/uplinker", F_OK), 0);
    engine.processInetDown("wlan7");
    EXPECT_NE(access("/var/run/uplinker/istate/wlan7", F_OK), 0);
}

struct CellCase {
    const char* content; // nullptr: no status file
    bool miscBefore;
    bool miscAfter;
    const char* istate; // what the report wrote, "" when nothing was reported
};

TEST_F(AppTest, CellularStatusFollowsTheFirstLine) {
    const CellCase cases[] = {
        {"CONNECTED\n", false, true, "Up\n"},
        {"CONNECTED", false, true, "Up\n"},
        {"CONNECTED\nDISCONNECTED\n", false, true, "Up\n"},
        {"CONNECTED \n", true, false, "Down\n"},
        {"connected\n", true, false, "Down\n"},
        {"\n", true, false, "Down\n"},
        {"CONNECTED \n", false, false, ""},
        {"CONNECTED\n", true, true, ""},
        {"", true, true, ""},
        {"", false, false, ""},
        {nullptr, true, true, ""},
        {nullptr, false, false, ""},
    };
    for (const CellCase& c : cases) {
        SCOPED_TRACE(::testing::Message()
                     << (c.content ? c.content : "(missing)") << " misc " << c.miscBefore);
        apptest::shell("rm -rf /var/run/cell /var/run/uplinker && mkdir -p /var/run/cell");
        if (c.content != nullptr)
            std::ofstream(CELL_STATUS_FILE) << c.content;
        App& engine = build(Failover, {wanConfig("eth0", 1), wanConfig("ppp0", 2)});
        giveLink(engine.wans[1]);
        engine.wans[1].misc = c.miscBefore;
        engine.currentWan = engine.previousWan = 0;
        log.clear();
        engine.pollCellularStatus();
        EXPECT_EQ(engine.wans[1].misc, c.miscAfter);
        EXPECT_EQ(testutil::readText("/var/run/uplinker/istate/ppp0"), c.istate);
        const bool changed = c.miscBefore != c.miscAfter;
        EXPECT_EQ(log.has(std::string("ppp0| Cellular connectivity status changed to ") +
                          (c.miscAfter ? "true" : "false")),
                  changed);
    }
}

TEST_F(AppTest, ConnectedModemWithoutLinkIsNotReportedUp) {
    apptest::shell("mkdir -p /var/run/cell");
    std::ofstream(CELL_STATUS_FILE) << "CONNECTED\n";
    App& engine = build(Failover, {wanConfig("eth0", 1), wanConfig("ppp0", 2)});
    engine.pollCellularStatus();
    EXPECT_TRUE(engine.wans[1].misc);
    EXPECT_FALSE(log.has("ppp0| App::processInetUp"));
}

TEST_F(AppTest, DisabledCellularWanIsReportedDisabled) {
    apptest::shell("mkdir -p /var/run/cell");
    std::ofstream(CELL_STATUS_FILE) << "NO SERVICE\n";
    App& engine = build(Failover, {wanConfig("eth0", 1), wanConfig("ppp0", 2, false)});
    engine.wans[1].misc = true;
    engine.pollCellularStatus();
    EXPECT_EQ(testutil::readText("/var/run/uplinker/istate/ppp0"), "Disabled\n");
}
