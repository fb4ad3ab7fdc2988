// Fixture for the engine's tests: WAN tables built from a test configuration, recorder tools for
// the commands the engine runs, and a recorder hook. Runs inside the test sandbox, so /var/run
// and /etc are private.
#pragma once

#include <arpa/inet.h>
#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <sys/stat.h>
#include <vector>

#include "app/app.h"
#include "common/test_util.h"
#include "support/clock.h"
#include "support/lock.h"
#include "support/logger.h"

namespace apptest {

constexpr const char* HOOK_LOG = "/var/run/hook.calls";

inline WanConfig wanConfig(const std::string& name, uint32_t priority, bool enabled = true,
                           MonitorMode monitor = Passive) {
    WanConfig config;
    config.name = name;
    config.type = Ethernet;
    config.enabled = enabled;
    config.priority = priority;
    config.monitorMode = monitor;
    config.checkInterval = 100;
    config.shortCheckInterval = 5;
    config.checkType = Icmp;
    config.hostname = "192.0.2.1";
    config.hostKind = Ipv4;
    config.icmpCount = 1;
    config.resolvFile = "/var/run/resolv_" + name + ".conf";
    return config;
}

// Link, readiness, address and gateway: everything a WAN needs from the kernel.
inline void giveLink(Wan& wan, const char* gateway = "10.0.0.1") {
    wan.up = true;
    wan.misc = true;
    wan.address = inet_addr("10.0.0.2");
    wan.gateway = inet_addr(gateway);
}

inline void takeLink(Wan& wan) {
    wan.up = false;
}

inline void setCheck(Wan& wan, CheckState state, int32_t lastCheckTime) {
    VRX::LockGuard guard(wan.lock);
    wan.checkState = state;
    wan.lastCheckTime = lastCheckTime;
}

inline CheckState checkOf(Wan& wan) {
    VRX::LockGuard guard(wan.lock);
    return wan.checkState;
}

inline int32_t lastCheckOf(Wan& wan) {
    VRX::LockGuard guard(wan.lock);
    return wan.lastCheckTime;
}

inline void shell(const std::string& command) {
    ASSERT_EQ(system(command.c_str()), 0) << command;
}

class AppTest : public ::testing::Test {
protected:
    void SetUp() override {
        shell("rm -rf /var/run/uplinker /var/run/cell /var/run/hook.calls /etc/uplinker");
        tools.add("ip");
        tools.add("ln");
        tools.add("reboot");
        tools.add("uplinker-ping");
        shell("mkdir -p /etc/uplinker/hooks");
        std::ofstream(HOOK_PATH) << "#!/bin/sh\necho \"$*\" >> " << HOOK_LOG << "\n";
        chmod(HOOK_PATH, 0755);
    }

    // An engine over the given table with the start-up dumps complete.
    App& build(Mode mode, const std::vector<WanConfig>& configs, int verbosity = 0) {
        Conf conf;
        conf.valid = true;
        conf.mode = mode;
        conf.wanConfigs.assign(configs.begin(), configs.end());
        app = std::make_unique<App>(&running, verbosity);
        EXPECT_TRUE(app->initWans(conf));
        app->initStage = 4;
        return *app;
    }

    App& buildThree(Mode mode, MonitorMode monitor = Passive) {
        return build(mode,
                     {wanConfig("eth0", 1, true, monitor), wanConfig("eth1", 2, true, monitor),
                      wanConfig("eth2", 3, true, monitor)});
    }

    std::vector<std::string> hookCalls() const {
        return testutil::splitLines(testutil::readText(HOOK_LOG));
    }

    testutil::LogCapture log{0};
    testutil::RecorderTools tools;
    bool running = true;
    std::unique_ptr<App> app;
};

} // namespace apptest
