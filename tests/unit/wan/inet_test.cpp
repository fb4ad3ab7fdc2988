#include <gtest/gtest.h>

#include "common/test_util.h"
#include "wan/wan.h"
#include "wan_test_support.h"

using namespace wantest;

namespace {

struct InetCase {
    const char* what;
    bool enabled;
    bool up;
    bool misc;
    bool address;
    bool gateway;
    bool lastEnabled;
    MonitorMode monitorMode;
    bool activeResult;
    bool expected;
};

const InetCase INET_CASES[] = {
    {"passive, everything present", true, true, true, true, true, false, Passive, false, true},
    {"active with a positive verdict", true, true, true, true, true, false, Active, true, true},
    {"active with a negative verdict", true, true, true, true, true, false, Active, false, false},
    {"active, negative, last enabled", true, true, true, true, true, true, Active, false, true},
    {"disabled", false, true, true, true, true, true, Passive, true, false},
    {"link down", true, false, true, true, true, true, Passive, true, false},
    {"not ready", true, true, false, true, true, true, Passive, true, false},
    {"no address", true, true, true, false, true, true, Passive, true, false},
    {"no gateway", true, true, true, true, false, true, Passive, true, false},
    {"unknown monitor mode counts as passive", true, true, true, true, true, false,
     static_cast<MonitorMode>(7), false, true},
};

TEST(WanInet, FollowsEveryTerm) {
    for (const InetCase& c : INET_CASES) {
        WanConfig config = makeConfig();
        config.enabled = c.enabled;
        config.monitorMode = c.monitorMode;
        Wan wan(config);
        wan.up = c.up;
        wan.misc = c.misc;
        wan.address = c.address ? ipv4("10.0.0.2") : NO_ADDRESS;
        wan.gateway = c.gateway ? ipv4("10.0.0.1") : NO_ADDRESS;
        wan.lastEnabled = c.lastEnabled;
        wan.activeResult = c.activeResult;
        EXPECT_EQ(wan.inet(), c.expected) << c.what;
        EXPECT_EQ(wan.ipValid(), c.address) << c.what;
        EXPECT_EQ(wan.gwValid(), c.gateway) << c.what;
    }
}

} // namespace
