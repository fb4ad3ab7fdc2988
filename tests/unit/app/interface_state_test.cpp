#include <unistd.h>

#include "app_test_util.h"

using apptest::AppTest;
using apptest::wanConfig;

struct StateCase {
    bool enabled;
    bool up;
    const char* content;
};

TEST_F(AppTest, InterfaceStateContent) {
    const StateCase cases[] = {
        {true, true, "Up\n"},
        {true, false, "Down\n"},
        {false, true, "Disabled\n"},
        {false, false, "Disabled\n"},
    };
    for (const StateCase& c : cases) {
        SCOPED_TRACE(::testing::Message() << c.enabled << " " << c.up);
        apptest::shell("rm -rf /var/run/uplinker");
        App& engine = build(Failover, {wanConfig("eth0", 1), wanConfig("wlan0", 2, c.enabled)});
        engine.writeInterfaceState("wlan0", c.up);
        EXPECT_EQ(testutil::readText("/var/run/uplinker/istate/wlan0"), c.content);
    }
}

TEST_F(AppTest, InterfaceStateIsRewritten) {
    App& engine = buildThree(Failover);
    engine.writeInterfaceState("eth1", false);
    engine.writeInterfaceState("eth1", false);
    EXPECT_EQ(testutil::readText("/var/run/uplinker/istate/eth1"), "Down\n");
    engine.writeInterfaceState("eth1", true);
    EXPECT_EQ(testutil::readText("/var/run/uplinker/istate/eth1"), "Up\n");
}

TEST_F(AppTest, InterfaceStateOnlyForKnownNames) {
    App& engine = buildThree(Failover);
    engine.writeInterfaceState("wlan7", true);
    engine.writeInterfaceState("", true);
    EXPECT_NE(access("/var/run/uplinker", F_OK), 0);
    engine.processInetDown("wlan7");
    EXPECT_NE(access("/var/run/uplinker/istate/wlan7", F_OK), 0);
}
