#include <algorithm>
#include <cstdio>
#include <fstream>
#include <gtest/gtest.h>
#include <memory>

#include "common/test_util.h"
#include "wan/wan.h"
#include "wan_test_support.h"

using namespace wantest;

namespace {

const char* const RESOLV_FILE = "/var/run/resolv_eth1.conf";
const char* const HOST = "probe.example.net";

// "vrx-dig" whose first server times out and whose second answers with two addresses.
const char* const DIG_SCRIPT = "case \"$4\" in\n"
                               "192.0.2.54) echo 'Found ipV4 192.0.2.7'\n"
                               "  echo 'Found ipV4 192.0.2.8'; exit 0;;\n"
                               "esac\n"
                               "exit 1\n";

void writeResolvFile(const std::string& content) {
    std::ofstream out(RESOLV_FILE, std::ios::trunc);
    out << content;
}

class CheckingThread : public ::testing::Test {
protected:
    void SetUp() override {
        std::remove(RESOLV_FILE);
        tools.add("uplinker-ping");
        tools.add("inet-check");
        tools.add("vrx-dig");
    }
    void TearDown() override { std::remove(RESOLV_FILE); }

    // A WAN with an address and its check asked for; the Wan is built last so that its thread
    // sees the recorders and the log capture from the start.
    std::unique_ptr<Wan> activeWan(const WanConfig& config, const char* address = "10.0.0.2") {
        auto wan = std::make_unique<Wan>(config);
        wan->address = address ? ipv4(address) : NO_ADDRESS;
        wan->checkActivate();
        return wan;
    }
    bool waitForVerdict(Wan& wan) {
        return testutil::waitFor([&] { return stateOf(wan) != RunActive; });
    }
    size_t probeCalls() const {
        return tools.calls("uplinker-ping").size() + tools.calls("inet-check").size();
    }

    testutil::LogCapture log;
    testutil::RecorderTools tools;
};

struct ProbeCase {
    const char* what;
    CheckType checkType;
    HostKind hostKind;
    const char* hostname;
    uint16_t tcpPort;
    uint16_t icmpCount;
    const char* resolvContent; // nullptr: no resolver file
    const char* command;
    const char* arguments;
    const char* traceLine; // a TRACE line the target choice must have left, or nullptr
};

const ProbeCase PROBE_CASES[] = {
    {"icmp to an address", Icmp, Ipv4, "192.0.2.1", 0, 4, nullptr, "uplinker-ping",
     "-I 10.0.0.2 -c 4 192.0.2.1", nullptr},
    {"tcp to an address", Tcp, Ipv4, "192.0.2.1", 80, 4, nullptr, "inet-check",
     "-m active -h 192.0.2.1 -t tcp -p 80 eth1", nullptr},
    {"tcp without a port", Tcp, Ipv4, "192.0.2.1", 0, 4, nullptr, "inet-check",
     "-m active -h 192.0.2.1 -t tcp -p 0 eth1", nullptr},
    {"icmp to a resolved name", Icmp, Fqdn, HOST, 0, 3,
     "nameserver 192.0.2.53\nnameserver 192.0.2.54\n", "uplinker-ping",
     "-I 10.0.0.2 -c 3 192.0.2.7", "eth1| The hostname probe.example.net successfully resolved"},
    {"tcp to a resolved name", Tcp, Fqdn, HOST, 443, 4,
     "nameserver 192.0.2.53\nnameserver 192.0.2.54\n", "inet-check",
     "-m active -h 192.0.2.7 -t tcp -p 443 eth1",
     "eth1| The hostname probe.example.net successfully resolved"},
    {"name without resolver file", Icmp, Fqdn, HOST, 0, 4, nullptr, "uplinker-ping",
     "-I 10.0.0.2 -c 4 probe.example.net", "eth1| Unable to get list of nameservers"},
    {"name no server resolves", Tcp, Fqdn, HOST, 80, 4, "nameserver 192.0.2.53\n", "inet-check",
     "-m active -h probe.example.net -t tcp -p 80 eth1",
     "eth1| Unable to resolve probe.example.net"},
};

TEST_F(CheckingThread, RunsTheProbeWithItsExactArguments) {
    addScript(tools, "vrx-dig", DIG_SCRIPT);
    for (const ProbeCase& c : PROBE_CASES) {
        tools.clear();
        log.clear();
        std::remove(RESOLV_FILE);
        if (c.resolvContent)
            writeResolvFile(c.resolvContent);
        WanConfig config = makeConfig("eth1");
        config.checkType = c.checkType;
        config.hostKind = c.hostKind;
        config.hostname = c.hostname;
        config.tcpPort = c.tcpPort;
        config.icmpCount = c.icmpCount;
        auto wan = activeWan(config);
        ASSERT_TRUE(waitForVerdict(*wan)) << c.what;
        EXPECT_EQ(tools.calls(c.command), std::vector<std::string>{c.arguments}) << c.what;
        EXPECT_EQ(probeCalls(), 1u) << c.what;
        EXPECT_EQ(
            log.count(std::string("eth1| Run checking active -> ") + c.command + " " + c.arguments),
            1)
            << c.what;
        if (c.traceLine) {
            EXPECT_TRUE(log.has(c.traceLine)) << c.what;
        }
        if (c.hostKind == Ipv4) {
            EXPECT_TRUE(tools.calls("vrx-dig").empty()) << c.what;
        }
    }
}

TEST_F(CheckingThread, ProbeExitStatusIsTheVerdict) {
    struct Case {
        int status;
        CheckState verdict;
    };
    for (const Case& c : {Case{0, SuccessUp}, Case{1, SuccessDown}, Case{77, SuccessDown}}) {
        tools.add("uplinker-ping", c.status);
        tools.clear();
        auto wan = activeWan(makeConfig("eth1"));
        ASSERT_TRUE(waitForVerdict(*wan)) << c.status;
        EXPECT_EQ(stateOf(*wan), c.verdict) << c.status;
        EXPECT_EQ(tools.calls("uplinker-ping").size(), 1u) << c.status;
    }
}

// No recorders here: the probe tools are not installed on the build machine.
TEST(CheckingThreadWithoutTools, MissingProbeToolIsADownVerdict) {
    testutil::LogCapture log;
    WanConfig config = makeConfig("eth1");
    config.checkType = Tcp;
    Wan wan(config);
    wan.address = ipv4("10.0.0.2");
    wan.checkActivate();
    ASSERT_TRUE(testutil::waitFor([&] { return stateOf(wan) != RunActive; }));
    EXPECT_EQ(stateOf(wan), SuccessDown);
}

TEST_F(CheckingThread, OneProbePerRequest) {
    // Neither an idle WAN nor an uncollected verdict starts a probe within a few polling periods.
    auto wan = std::make_unique<Wan>(makeConfig("eth1"));
    wan->address = ipv4("10.0.0.2");
    testutil::sleepMs(350);
    EXPECT_EQ(probeCalls(), 0u);
    wan->checkActivate();
    ASSERT_TRUE(waitForVerdict(*wan));
    testutil::sleepMs(350);
    EXPECT_EQ(tools.calls("uplinker-ping").size(), 1u);
    wan->checkDone();
    testutil::sleepMs(350);
    EXPECT_EQ(tools.calls("uplinker-ping").size(), 1u);
    wan->checkActivate();
    ASSERT_TRUE(waitForVerdict(*wan));
    EXPECT_EQ(tools.calls("uplinker-ping").size(), 2u);
    EXPECT_EQ(log.count("WanCheckingThread::checkingThread"), 1);
}

TEST_F(CheckingThread, WithoutAddressFailsAtOnceAndRunsNothing) {
    writeResolvFile("nameserver 192.0.2.54\n");
    WanConfig config = makeConfig("eth1");
    config.hostKind = Fqdn;
    config.hostname = HOST;
    auto wan = activeWan(config, nullptr);
    ASSERT_TRUE(waitForVerdict(*wan));
    EXPECT_EQ(stateOf(*wan), SuccessDown);
    EXPECT_TRUE(log.has("eth1| Active check failed since wan up addess is not available"));
    EXPECT_EQ(probeCalls(), 0u);
    EXPECT_TRUE(tools.calls("vrx-dig").empty());
}

TEST_F(CheckingThread, StopDuringAProbeDropsTheVerdict) {
    tools.add("uplinker-ping", 0, "", 1.0);
    auto wan = activeWan(makeConfig("eth1"));
    ASSERT_TRUE(testutil::waitFor([&] { return !tools.calls("uplinker-ping").empty(); }));
    wan->thread.stop();
    EXPECT_TRUE(log.has("eth1| Active checking canceled"));
    EXPECT_EQ(stateOf(*wan), RunActive);
}

} // namespace
