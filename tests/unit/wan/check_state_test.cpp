#include <algorithm>
#include <gtest/gtest.h>

#include "common/test_util.h"
#include "support/logger.h"
#include "wan/check_state.h"
#include "wan/wan.h"
#include "wan_test_support.h"

using namespace wantest;

namespace {

const char* const NOT_IDLE = "DEBUG checking activate -> not idle";
const char* const NOT_COMPLETED = "DEBUG Check done -> previous checking is not completed";

// Lines equal to "LABEL message".
long countLines(const testutil::LogCapture& log, const char* labelled) {
    std::vector<std::string> lines = log.labelled();
    return std::count(lines.begin(), lines.end(), labelled);
}

TEST(CheckStateName, NamesEveryValueAndUnknownOutside) {
    struct Case {
        int value;
        const char* name;
    };
    const Case cases[] = {{0, "Idle"},   {1, "RunActive"}, {2, "SuccessUp"}, {3, "SuccessDown"},
                          {4, "Failed"}, {5, "Unknown"},   {-1, "Unknown"},  {1000, "Unknown"}};
    for (const Case& c : cases)
        EXPECT_STREQ(checkStateName(static_cast<CheckState>(c.value)), c.name) << c.value;
}

TEST(WanConstruction, StartsIdleWithoutAddressAndStopsItsThreadOnDestruction) {
    testutil::LogCapture log;
    {
        Wan wan(makeConfig("wlan0"));
        EXPECT_EQ(&wan.ifname, &wan.config.name);
        EXPECT_EQ(wan.ifIndex, -1);
        EXPECT_FALSE(wan.up);
        EXPECT_TRUE(wan.misc);
        EXPECT_EQ(wan.address.load(), NO_ADDRESS);
        EXPECT_EQ(wan.gateway, NO_ADDRESS);
        EXPECT_FALSE(wan.lastEnabled || wan.activeResult);
        EXPECT_EQ(stateOf(wan), Idle);
        EXPECT_EQ(wan.lastCheckTime, 0);
        EXPECT_TRUE(
            testutil::waitFor([&] { return log.has("WanCheckingThread::checkingThread"); }));
    }
    EXPECT_EQ(log.count("Wan::Wan"), 1);
    EXPECT_EQ(log.count("Wan::~Wan"), 1);
}

TEST(CheckStateMachine, ActivateOnlyFromIdleAndStampsTheTime) {
    for (CheckState start : {Idle, RunActive, SuccessUp, SuccessDown, Failed}) {
        SCOPED_TRACE(checkStateName(start));
        testutil::LogCapture log;
        Wan wan(makeConfig());
        wan.thread.stop();
        setState(wan, start);
        wan.lastCheckTime = 12345;
        wan.checkActivate();
        EXPECT_EQ(stateOf(wan), start == Idle ? RunActive : start);
        EXPECT_EQ(wan.lastCheckTime == 12345, start != Idle);
        EXPECT_GT(wan.lastCheckTime, 0);
        EXPECT_EQ(countLines(log, NOT_IDLE), start == Idle ? 0 : 1);
    }
}

TEST(CheckStateMachine, DoneReleasesOnlyAVerdict) {
    struct Case {
        CheckState start;
        CheckState end;
        bool refused;
    };
    const Case cases[] = {{Idle, Idle, true},
                          {RunActive, RunActive, true},
                          {SuccessUp, Idle, false},
                          {SuccessDown, Idle, false},
                          {Failed, Idle, false}};
    for (const Case& c : cases) {
        testutil::LogCapture log;
        Wan wan(makeConfig());
        wan.thread.stop();
        wan.activeResult = c.start == SuccessDown;
        setState(wan, c.start);
        wan.checkDone();
        EXPECT_EQ(stateOf(wan), c.end) << checkStateName(c.start);
        EXPECT_EQ(countLines(log, NOT_COMPLETED), c.refused ? 1 : 0) << checkStateName(c.start);
        EXPECT_EQ(wan.activeResult, c.start == SuccessDown) << checkStateName(c.start);
    }
}

TEST(WanCopy, StartsIdleWithTheSourceTimeStampAndItsOwnName) {
    testutil::LogCapture log;
    Wan source(makeConfig("eth2"));
    source.ifIndex = 7;
    source.up = true;
    source.misc = false;
    source.address = ipv4("10.0.0.2");
    source.gateway = ipv4("10.0.0.1");
    source.lastEnabled = true;
    source.activeResult = true;
    source.thread.stop();
    source.checkActivate();
    ASSERT_EQ(stateOf(source), RunActive);

    Wan copy(source);
    EXPECT_EQ(stateOf(copy), Idle);
    EXPECT_EQ(stateOf(source), RunActive);
    EXPECT_EQ(copy.lastCheckTime, source.lastCheckTime);
    EXPECT_EQ(&copy.ifname, &copy.config.name);
    EXPECT_EQ(copy.ifname, "eth2");
    EXPECT_EQ(copy.ifIndex, 7);
    EXPECT_TRUE(copy.up);
    EXPECT_FALSE(copy.misc);
    EXPECT_EQ(copy.address.load(), ipv4("10.0.0.2"));
    EXPECT_EQ(copy.gateway, ipv4("10.0.0.1"));
    EXPECT_TRUE(copy.lastEnabled);
    EXPECT_TRUE(copy.activeResult);
    EXPECT_EQ(log.count("Wan::Wan"), 2);
}

TEST(WanCopy, HasAThreadOfItsOwn) {
    testutil::LogCapture log;
    Wan source(makeConfig());
    source.thread.stop();
    Wan copy(source);
    // The source's thread is gone; only the copy's can store this verdict.
    copy.checkActivate();
    EXPECT_TRUE(testutil::waitFor([&] { return stateOf(copy) == SuccessDown; }));
}

} // namespace
