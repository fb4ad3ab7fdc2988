#include "app_test_util.h"

using apptest::AppTest;
using apptest::checkOf;
using apptest::giveLink;
using apptest::lastCheckOf;
using apptest::setCheck;
using apptest::wanConfig;

class ActiveCheckTest : public AppTest {
protected:
    // Three Active WANs with link, address and gateway; none checked yet.
    App& buildActive() {
        App& engine = buildThree(Failover, Active);
        for (Wan& wan : engine.wans)
            giveLink(wan);
        engine.searchNextInet = false;
        return engine;
    }

    // The names of the WANs that had a check started, in the order the log shows them.
    std::vector<std::string> activated() const {
        std::vector<std::string> names;
        for (const std::string& message : log.messages()) {
            const size_t bar = message.find("| Wan::checkActivate");
            if (bar != std::string::npos)
                names.push_back(message.substr(0, bar));
        }
        return names;
    }
};

struct LimitCase {
    int current;
    std::vector<std::string> expected;
};

TEST_F(ActiveCheckTest, NewChecksOnlyUpToTheLimitFromTheBottomUp) {
    const LimitCase cases[] = {
        {-1, {"eth1", "eth0"}},
        {0, {"eth0"}},
        {1, {"eth1", "eth0"}},
        {2, {"eth2", "eth1", "eth0"}},
    };
    for (const LimitCase& c : cases) {
        SCOPED_TRACE(c.current);
        App& engine = buildActive();
        engine.currentWan = c.current;
        log.clear();
        engine.driveActiveChecks();
        EXPECT_EQ(activated(), c.expected);
        for (size_t i = 0; i < engine.wans.size(); ++i) {
            const bool started = std::find(c.expected.begin(), c.expected.end(),
                                           engine.wans[i].ifname) != c.expected.end();
            EXPECT_EQ(lastCheckOf(engine.wans[i]) != 0, started) << i;
        }
    }
}

struct IntervalCase {
    bool usable;
    int32_t sinceLast;
    const char* message; // nullptr: no check started
};

TEST_F(ActiveCheckTest, ShortIntervalWhileNotUsable) {
    // Intervals: short 5 s, full 100 s.
    const IntervalCase cases[] = {
        {false, 10, "eth0| Wan::checkActivate after a short interval"},
        {false, 2, nullptr},
        {true, 10, nullptr},
        {true, 200, "eth0| Wan::checkActivate"},
        {false, -100, "eth0| Wan::checkActivate after a short interval"},
        {true, -100, "eth0| Wan::checkActivate"},
    };
    for (const IntervalCase& c : cases) {
        SCOPED_TRACE(::testing::Message() << c.usable << " " << c.sinceLast);
        App& engine = buildActive();
        engine.currentWan = 0;
        engine.wans[0].activeResult = c.usable;
        const int32_t stamp = monotonicSeconds() - c.sinceLast;
        setCheck(engine.wans[0], Idle, stamp);
        log.clear();
        engine.driveActiveChecks();
        const std::vector<std::string> started = activated();
        if (c.message == nullptr) {
            EXPECT_TRUE(started.empty());
            EXPECT_EQ(lastCheckOf(engine.wans[0]), stamp);
        } else {
            EXPECT_TRUE(log.has(c.message));
            EXPECT_NE(checkOf(engine.wans[0]), Idle);
        }
    }
}

TEST_F(ActiveCheckTest, NoNewCheckWithoutLinkAddressOrGateway) {
    App& engine = buildActive();
    engine.currentWan = 2;
    engine.wans[0].up = false;
    engine.wans[1].gateway = NO_ADDRESS;
    engine.wans[2].misc = false;
    engine.driveActiveChecks();
    EXPECT_TRUE(activated().empty());
}

struct CollectCase {
    CheckState verdict;
    bool before;
    bool after;
    const char* message;
    const char* reaction; // nullptr: no reaction
};

TEST_F(ActiveCheckTest, VerdictsAreCollectedEvenAboveTheLimit) {
    const CollectCase cases[] = {
        {SuccessUp, false, true, "eth1| Wan::checkDone (up)", "eth1| App::processInetUp"},
        {SuccessUp, true, true, "eth1| Wan::checkDone (up)", nullptr},
        {SuccessDown, true, false, "eth1| Wan::checkDone (down)", "eth1| App::processInetDown"},
        {SuccessDown, false, false, "eth1| Wan::checkDone (down)", nullptr},
        {Failed, true, true, "eth1| Wan::checkDone (failed)", nullptr},
        {Failed, false, false, "eth1| Wan::checkDone (failed)", nullptr},
    };
    for (const CollectCase& c : cases) {
        SCOPED_TRACE(::testing::Message() << c.verdict << " " << c.before);
        App& engine = buildActive();
        engine.currentWan = engine.previousWan = 0;
        engine.wans[1].activeResult = c.before;
        setCheck(engine.wans[1], c.verdict, monotonicSeconds());
        log.clear();
        engine.driveActiveChecks();
        EXPECT_EQ(checkOf(engine.wans[1]), Idle);
        EXPECT_EQ(engine.wans[1].activeResult, c.after);
        EXPECT_TRUE(log.has(c.message));
        const bool changed = c.before != c.after;
        EXPECT_EQ(log.has(std::string("eth1| Active check result changed to ") +
                          (c.after ? "true" : "false")),
                  changed);
        EXPECT_EQ(log.has("eth1| App::processInetUp") || log.has("eth1| App::processInetDown"),
                  c.reaction != nullptr);
        if (c.reaction != nullptr) {
            EXPECT_TRUE(log.has(c.reaction));
        }
    }
}

TEST_F(ActiveCheckTest, LowerPriorityReactionComesFirst) {
    App& engine = buildActive();
    engine.currentWan = engine.previousWan = 2;
    setCheck(engine.wans[0], SuccessUp, monotonicSeconds());
    setCheck(engine.wans[1], SuccessUp, monotonicSeconds());
    engine.driveActiveChecks();
    const std::vector<std::string> messages = log.messages();
    auto low = std::find(messages.begin(), messages.end(), "eth1| App::processInetUp");
    auto high = std::find(messages.begin(), messages.end(), "eth0| App::processInetUp");
    ASSERT_NE(low, messages.end());
    ASSERT_NE(high, messages.end());
    EXPECT_LT(low - messages.begin(), high - messages.begin());
    // The preferred WAN reported last, so it is the one switched to.
    EXPECT_EQ(engine.nextWan, 0);
}

TEST_F(ActiveCheckTest, ConstantModeNeverChecks) {
    App& engine = buildActive();
    engine.mode = Constant;
    engine.currentWan = 2;
    setCheck(engine.wans[1], SuccessUp, 1);
    engine.driveActiveChecks();
    EXPECT_TRUE(activated().empty());
    EXPECT_EQ(checkOf(engine.wans[1]), SuccessUp);
    EXPECT_EQ(lastCheckOf(engine.wans[0]), 0);
}

TEST_F(ActiveCheckTest, ProbeVerdictFlowsBackIntoTheResult) {
    for (int status : {0, 1}) {
        SCOPED_TRACE(status);
        tools.add("uplinker-ping", status);
        App& engine = buildActive();
        engine.currentWan = engine.previousWan = 2;
        engine.wans[0].activeResult = status != 0;
        engine.driveActiveChecks();
        ASSERT_TRUE(testutil::waitFor([&] {
            const CheckState state = checkOf(engine.wans[0]);
            return state == SuccessUp || state == SuccessDown;
        }));
        engine.driveActiveChecks();
        EXPECT_EQ(engine.wans[0].activeResult, status == 0);
        EXPECT_EQ(checkOf(engine.wans[0]), Idle);
        EXPECT_FALSE(tools.calls("uplinker-ping").empty());
    }
}
