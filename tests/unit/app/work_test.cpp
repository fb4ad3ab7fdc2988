#include <sys/socket.h>
#include <unistd.h>

#include "app_test_util.h"

using apptest::AppTest;
using apptest::giveLink;
using apptest::wanConfig;

class WorkTest : public AppTest {
protected:
    void SetUp() override {
        AppTest::SetUp();
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_DGRAM, 0, pair_), 0);
    }
    void TearDown() override {
        if (app)
            app->deinit();
        close(pair_[1]);
    }

    // An engine whose netlink socket is one end of a local pair, so a step need not wait.
    App& buildWorking(int verbosity = 0, MonitorMode monitor = Passive) {
        App& engine =
            build(Failover, {wanConfig("eth0", 1, true, monitor), wanConfig("ppp0", 2)}, verbosity);
        engine.netlinkFd = pair_[0];
        return engine;
    }

    // Makes the next step's wait return at once; the reader drops a datagram without
    // credentials.
    void poke() { ASSERT_EQ(send(pair_[1], "x", 1, 0), 1); }

    int pair_[2] = {-1, -1};
};

TEST_F(WorkTest, NoDecisionsBeforeTheStartUpDumpsComplete) {
    App& engine = buildWorking();
    giveLink(engine.wans[0]);
    engine.initStage = 3;
    poke();
    engine.work();
    EXPECT_TRUE(log.has("NEWLINK MESSAGE START"));
    EXPECT_TRUE(log.has("NEWLINK MESSAGE END"));
    EXPECT_EQ(engine.currentWan, -1);
    EXPECT_TRUE(engine.searchNextInet);
    EXPECT_TRUE(hookCalls().empty());
    EXPECT_TRUE(running);
}

TEST_F(WorkTest, OneStepSwitchesFollowsTheModemAndStartsChecks) {
    // A failing probe leaves eth0's verdict where it is, whenever the step collects it.
    tools.add("uplinker-ping", 1);
    App& engine = buildWorking(2, Active);
    giveLink(engine.wans[0]);
    giveLink(engine.wans[1]);
    engine.wans[1].misc = false;
    apptest::shell("mkdir -p /var/run/cell");
    std::ofstream(CELL_STATUS_FILE) << "CONNECTED\n";
    poke();
    engine.work();
    EXPECT_TRUE(log.has("Current wan interfaces state [work:211]: "));
    // Nothing is usable at the switching point yet; the modem report comes later in the step
    // and asks for a search, which the next step carries out.
    EXPECT_EQ(engine.currentWan, -1);
    EXPECT_TRUE(engine.wans[1].misc);
    EXPECT_TRUE(engine.searchNextInet);
    EXPECT_EQ(hookCalls(), (std::vector<std::string>{""}));
    EXPECT_TRUE(log.has("eth0| Wan::checkActivate after a short interval"));

    poke();
    engine.work();
    // eth0 waits for its first check, so the last resort carries the route meanwhile.
    EXPECT_EQ(engine.currentWan, 1);
    EXPECT_EQ(engine.previousWan, 1);
    EXPECT_FALSE(engine.searchNextInet);
    EXPECT_FALSE(engine.refreshInet);
    EXPECT_EQ(hookCalls(), (std::vector<std::string>{"", "-i ppp0 -d up"}));
    EXPECT_TRUE(running);
}

TEST_F(WorkTest, WaitErrorClearsTheRunningFlag) {
    App& engine = buildWorking();
    // A descriptor number that was valid a moment ago and is closed now.
    const int closed = dup(pair_[0]);
    ASSERT_GE(closed, 0);
    close(closed);
    engine.netlinkFd = closed;
    engine.work();
    EXPECT_FALSE(running);
    // The step goes on regardless: the pending search is carried out.
    EXPECT_FALSE(engine.searchNextInet);
    engine.netlinkFd = pair_[0];
}
