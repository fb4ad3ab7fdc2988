#include <cstdlib>

#include "app_test_util.h"

using apptest::AppTest;
using apptest::giveLink;
using apptest::setCheck;
using apptest::wanConfig;

TEST_F(AppTest, DumpShowsEveryWanAndTheIndices) {
    App& engine = build(Failover, {wanConfig("eth0", 1), wanConfig("wlan0", 2, true, Active),
                                   wanConfig("ppp0", 3, false, Active)});
    giveLink(engine.wans[0]);
    engine.wans[0].activeResult = false;
    engine.wans[1].misc = true;
    setCheck(engine.wans[1], SuccessDown, 0);
    engine.currentWan = 0;
    log.clear();
    engine.dumpState("work", 282, "Before switchInet()");
    const std::vector<std::string> expected = {
        "TRACE Current wan interfaces state [work:282]: Before switchInet()",
        "TRACE   * 0 eth0  : enabled Inet=true  Up=true , IpValid=true , GwValid=true , "
        "Misc=true , ActiveResult=true []",
        "TRACE     1 wlan0 : enabled Inet=false Up=false, IpValid=false, GwValid=false, "
        "Misc=true , ActiveResult=false[SuccessDown]",
        "TRACE     2 ppp0  :         Inet=false Up=false, IpValid=false, GwValid=false, "
        "Misc=false, ActiveResult=false[Idle]",
        "TRACE       wans  : currentWan=0  previousWan=-1 searchNextInet=1  nextWan=-1, "
        "lastEnabledWan= 1",
    };
    EXPECT_EQ(log.labelled(), expected);
}

TEST_F(AppTest, DumpWithoutWansOrCurrentWan) {
    App engine(&running, 1);
    log.clear();
    engine.dumpState(nullptr, 5, nullptr);
    const std::vector<std::string> expected = {
        "Current wan interfaces state [:5]: ",
        "      wans  : currentWan=-1 previousWan=-1 searchNextInet=0  nextWan=-1, "
        "lastEnabledWan=-1",
    };
    EXPECT_EQ(log.messages(), expected);
}

TEST_F(AppTest, DumpShowsTheRoamingLock) {
    App& engine = build(Failover, {wanConfig("wlan0", 1), wanConfig("eth1", 2)});
    engine.lockedWan = 0;
    engine.lockedUntil = monotonicSeconds() + 30;
    log.clear();
    engine.dumpState("work", 229, "In locked state, all state variables are fixed");
    const std::vector<std::string> messages = log.messages();
    ASSERT_EQ(messages.size(), 5u);
    const std::string prefix = "  ! LOCKED  : lockedWan=0 , ";
    ASSERT_EQ(messages[4].rfind(prefix, 0), 0u) << messages[4];
    const long remaining = std::strtol(messages[4].c_str() + prefix.size(), nullptr, 10);
    EXPECT_GE(remaining, 29);
    EXPECT_LE(remaining, 30);
    EXPECT_EQ(messages[4].substr(messages[4].size() - 18), " seconds remaining");
}

TEST_F(AppTest, DumpIsSilentWhenTraceIsFiltered) {
    App& engine = buildThree(Failover);
    engine.lockedWan = 0;
    testutil::LogCapture quiet(VRX::Logger::PrintLevel::DEBUG_LEVEL);
    engine.dumpState("work", 211, "");
    EXPECT_TRUE(quiet.messages().empty());
}

TEST_F(AppTest, DecisionPointsDumpOnlyWhenAsked) {
    for (int verbosity : {0, 1}) {
        SCOPED_TRACE(verbosity);
        App& engine = buildThree(Failover);
        engine.dumpVerbosity = verbosity;
        giveLink(engine.wans[0]);
        log.clear();
        engine.applyRequests();
        const int dumps =
            log.count("Current wan interfaces state [work:282]: Before switchInet()") +
            log.count("Current wan interfaces state [work:286]: After switchInet()") +
            log.count("Current wan interfaces state [work:272]: After searchNextWan()") +
            log.count("Current wan interfaces state [searchNextWan:392]: At the "
                      "beginning of searchNextWan()");
        EXPECT_EQ(dumps, verbosity == 0 ? 0 : 4);
    }
}
