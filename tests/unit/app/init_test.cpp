#include <fcntl.h>
#include <unistd.h>

#include "app_test_util.h"

using apptest::AppTest;
using apptest::wanConfig;

namespace {

std::vector<std::string> namesOf(const App& app) {
    std::vector<std::string> names;
    for (const Wan& wan : app.wans)
        names.push_back(wan.ifname);
    return names;
}

} // namespace

TEST_F(AppTest, TableIsSortedByPriorityKeepingConfigurationOrder) {
    App& engine = build(Failover, {wanConfig("first", 20), wanConfig("second", 10),
                                   wanConfig("third", 10), wanConfig("top", 0xFFFFFFFFu)});
    EXPECT_EQ(namesOf(engine), (std::vector<std::string>{"second", "third", "first", "top"}));
    EXPECT_TRUE(log.has("uplinker mode -> Failover"));
    EXPECT_TRUE(log.has("wans count -> 4"));
    EXPECT_TRUE(engine.searchNextInet);
}

struct StartCase {
    Mode mode;
    std::vector<bool> enabled;
    Mode expectedMode;
    bool autoSwitch;
    int lastEnabledWan;
};

TEST_F(AppTest, StartValuesFollowModeAndEnabledWans) {
    const StartCase cases[] = {
        {Failover, {true, false, false}, Constant, true, 0},
        {Failover, {true, true, false}, Failover, false, 1},
        {Failover, {false, false, false}, Constant, true, -1},
        {Constant, {true, true, true}, Constant, false, 2},
        {Constant, {false, false, false}, Constant, false, -1},
        {Failover, {true, false, true}, Failover, false, 2},
    };
    for (const StartCase& c : cases) {
        SCOPED_TRACE(::testing::Message() << "mode " << c.mode << " last " << c.lastEnabledWan);
        log.clear();
        tools.clear();
        std::vector<WanConfig> configs;
        for (size_t i = 0; i < c.enabled.size(); ++i)
            configs.push_back(wanConfig("eth" + std::to_string(i), 1, c.enabled[i]));
        App& engine = build(c.mode, configs);
        EXPECT_EQ(engine.mode, c.expectedMode);
        EXPECT_EQ(log.has("auto switch to first mode"), c.autoSwitch);
        EXPECT_EQ(engine.lastEnabledWan, c.lastEnabledWan);
        for (size_t i = 0; i < engine.wans.size(); ++i) {
            EXPECT_EQ(engine.wans[i].activeResult, c.expectedMode == Constant);
            EXPECT_EQ(engine.wans[i].lastEnabled, static_cast<int>(i) == c.lastEnabledWan);
        }
        if (c.lastEnabledWan >= 0) {
            EXPECT_TRUE(log.has("last enabled wan " + std::to_string(c.lastEnabledWan) + " -> eth" +
                                std::to_string(c.lastEnabledWan)));
        }
    }
}

// The resolver link is pointed at every enabled WAN in turn, so it ends at the last one.
TEST_F(AppTest, ResolverLinkEndsAtLastEnabledWanAndTheModemStartsNotReady) {
    App& engine = build(Failover, {wanConfig("eth0", 1), wanConfig("ppp0", 2),
                                   wanConfig("ppp00", 3), wanConfig("eth2", 4, false)});
    EXPECT_EQ(tools.calls("ln"), (std::vector<std::string>{
                                     "-sf /var/run/resolv_eth0.conf /var/run/wan_resolv.conf",
                                     "-sf /var/run/resolv_ppp0.conf /var/run/wan_resolv.conf",
                                     "-sf /var/run/resolv_ppp00.conf /var/run/wan_resolv.conf"}));
    EXPECT_TRUE(engine.wans[0].misc);
    EXPECT_FALSE(engine.wans[1].misc);
    EXPECT_TRUE(engine.wans[2].misc);
}

TEST_F(AppTest, DestructionStopsWansInIndexOrder) {
    build(Failover, {wanConfig("eth0", 1), wanConfig("eth1", 2)});
    log.clear();
    app.reset();
    const std::vector<std::string> messages = log.messages();
    ASSERT_FALSE(messages.empty());
    EXPECT_EQ(messages.front(), "App::~App");
    EXPECT_EQ(log.count("Wan::~Wan"), 2);
}

TEST_F(AppTest, DeinitClosesTheSocketOnce) {
    App& engine = build(Constant, {wanConfig("eth0", 1)});
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    close(fds[1]);
    engine.netlinkFd = fds[0];
    engine.deinit();
    EXPECT_EQ(engine.netlinkFd, -1);
    EXPECT_EQ(fcntl(fds[0], F_GETFD), -1);
    engine.deinit();
    EXPECT_EQ(engine.netlinkFd, -1);
}

// Nothing answers on the loopback interface of the test sandbox, so the configuration stays
// unusable and init stops before any WAN or socket exists.
TEST_F(AppTest, InitFailsWithoutConfiguration) {
    App engine(&running, 1);
    EXPECT_FALSE(engine.init());
    EXPECT_TRUE(log.has("Config has no valid data!"));
    EXPECT_FALSE(log.has("INIT NETLINK STARTED"));
    EXPECT_TRUE(engine.wans.empty());
    EXPECT_EQ(engine.netlinkFd, -1);
}
