#include <sys/stat.h>

#include "app_test_util.h"

using apptest::AppTest;
using apptest::giveLink;
using apptest::wanConfig;

namespace {

bool exists(const std::string& path) {
    struct stat info;
    return stat(path.c_str(), &info) == 0;
}

} // namespace

TEST_F(AppTest, SwitchRunsRouteCommandsLinkAndHookInOrder) {
    App& engine = buildThree(Failover);
    giveLink(engine.wans[1], "10.0.1.1");
    ASSERT_FALSE(exists(CURRENT_WAN_DIR));
    tools.clear();
    engine.currentWan = 1;
    engine.previousWan = -1;
    engine.switchInet();
    EXPECT_EQ(testutil::readText(CURRENT_WAN_FILE), "eth1\n");
    EXPECT_EQ(tools.calls("ip"),
              (std::vector<std::string>{"route del default table main",
                                        "route add default via 10.0.1.1 dev eth1 table main"}));
    EXPECT_EQ(tools.calls("ln"),
              (std::vector<std::string>{"-sf /var/run/resolv_eth1.conf /var/run/wan_resolv.conf"}));
    EXPECT_EQ(hookCalls(), (std::vector<std::string>{"-i eth1 -d up"}));
    const std::vector<std::string> expected = {
        "App::switchInet: Current wan is eth1 (1)",
        "App::switchInet: ip route del default table main",
        "App::switchInet: ip route add default via 10.0.1.1 dev eth1 table main",
        "App::switchInet: /etc/uplinker/hooks/after-switch-inet -i eth1 -d up",
    };
    std::vector<std::string> switchLines;
    for (const std::string& message : log.messages()) {
        if (message.rfind("App::switchInet", 0) == 0)
            switchLines.push_back(message);
    }
    EXPECT_EQ(switchLines, expected);
}

struct HookCase {
    int previous;
    int current;
    const char* arguments;
};

TEST_F(AppTest, HookDirectionFollowsThePreferenceOrder) {
    const HookCase cases[] = {
        {1, 1, "-i eth1"},       {-1, 1, "-i eth1 -d up"},
        {2, 1, "-i eth1 -d up"}, {0, 1, "-i eth1 -d down"},
        {2, 0, "-i eth0 -d up"}, {0, 2, "-i eth2 -d down"},
        {1, -1, "-d down"},      {-1, -1, ""},
    };
    App& engine = buildThree(Failover);
    for (int i = 0; i < 3; ++i)
        giveLink(engine.wans[i]);
    for (const HookCase& c : cases) {
        SCOPED_TRACE(::testing::Message() << c.previous << " -> " << c.current);
        apptest::shell(std::string("rm -f ") + apptest::HOOK_LOG);
        tools.clear();
        log.clear();
        engine.previousWan = c.previous;
        engine.currentWan = c.current;
        engine.switchInet();
        EXPECT_EQ(hookCalls(), (std::vector<std::string>{c.arguments}));
        const std::string command =
            std::string(HOOK_PATH) + (*c.arguments ? " " : "") + c.arguments;
        EXPECT_TRUE(log.has("App::switchInet: " + command));
        // Without a WAN the default route and the resolver link are left as they are.
        EXPECT_EQ(tools.calls("ip").empty(), c.current == -1);
        EXPECT_EQ(tools.calls("ln").empty(), c.current == -1);
        EXPECT_EQ(testutil::readText(CURRENT_WAN_FILE),
                  c.current == -1 ? "\n" : engine.wans[c.current].ifname + "\n");
        // switchInet itself leaves the indices to the work step.
        EXPECT_EQ(engine.previousWan, c.previous);
    }
}

TEST_F(AppTest, UnsafeInterfaceNameStaysOneInertWord) {
    App& engine = build(Failover, {wanConfig("eth9;reboot", 1), wanConfig("eth1", 2)});
    giveLink(engine.wans[0]);
    engine.currentWan = 0;
    engine.previousWan = -1;
    engine.switchInet();
    EXPECT_EQ(tools.calls("ip").back(),
              "route add default via 10.0.0.1 dev eth9;reboot table main");
    EXPECT_EQ(hookCalls(), (std::vector<std::string>{"-i eth9;reboot -d up"}));
    EXPECT_TRUE(tools.calls("reboot").empty());
    EXPECT_TRUE(log.has("App::switchInet: ip route add default via 10.0.0.1 dev 'eth9;reboot' "
                        "table main"));
    EXPECT_TRUE(
        log.has("App::switchInet: /etc/uplinker/hooks/after-switch-inet -i 'eth9;reboot' -d up"));
    EXPECT_EQ(testutil::readText(CURRENT_WAN_FILE), "eth9;reboot\n");
}

TEST_F(AppTest, MissingHookDoesNotStopTheSwitch) {
    App& engine = buildThree(Failover);
    apptest::shell("rm -rf /etc/uplinker");
    giveLink(engine.wans[0]);
    engine.currentWan = 0;
    engine.switchInet();
    EXPECT_EQ(testutil::readText(CURRENT_WAN_FILE), "eth0\n");
    EXPECT_TRUE(log.has("App::switchInet: /etc/uplinker/hooks/after-switch-inet -i eth0 -d up"));
}

TEST_F(AppTest, CurrentWanFileIsTruncated) {
    App& engine = buildThree(Failover);
    engine.writeCurrentWan("a-long-interface-name");
    engine.writeCurrentWan("eth0");
    EXPECT_EQ(testutil::readText(CURRENT_WAN_FILE), "eth0\n");
}
