#include <gtest/gtest.h>
#include <unistd.h>

#include "common/test_util.h"
#include "wan/checking_thread.h"
#include "wan_test_support.h"

using namespace wantest;

namespace {

// "vrx-dig" that fails for 192.0.2.53, answers without an address for 192.0.2.55 and with two
// addresses for 192.0.2.54; every call is recorded.
std::string scriptedDig(const std::string& callLog) {
    return "echo \"$*\" >> '" + callLog +
           "'\n"
           "case \"$4\" in\n"
           "192.0.2.53) echo 'connection timed out'; exit 9;;\n"
           "192.0.2.55) echo ';; ANSWER: 0'; exit 0;;\n"
           "192.0.2.54) echo ';; ANSWER: 2'\n"
           "  echo 'probe.example.net Found ipV4  192.0.2.7 '\n"
           "  echo 'Found ipV4 192.0.2.8'; exit 0;;\n"
           "esac\n"
           "exit 1\n";
}

class ResolveHost : public ::testing::Test {
protected:
    std::vector<std::string> resolve(const std::vector<std::string>& servers, bool& ok) {
        std::vector<std::string> addresses;
        ok = checker.resolveHost(addresses, servers, "10.0.0.2", config, "probe.example.net");
        return addresses;
    }
    std::vector<std::string> calls() const {
        return testutil::splitLines(testutil::readText(callLog));
    }

    testutil::LogCapture log;
    testutil::TempDir dir;
    testutil::RecorderTools tools;
    std::string callLog = dir.path() + "/dig.calls";
    WanCheckingThread checker{nullptr};
    WanConfig config = makeConfig("eth1");
};

TEST_F(ResolveHost, SkipsAFailingServerAndReturnsTheNextOnesAddresses) {
    addScript(tools, "vrx-dig", scriptedDig(callLog));
    bool ok = false;
    std::vector<std::string> addresses = resolve({"192.0.2.53", "192.0.2.54"}, ok);
    EXPECT_TRUE(ok);
    EXPECT_EQ(addresses, (std::vector<std::string>{"192.0.2.7", "192.0.2.8"}));
    EXPECT_EQ(calls(), (std::vector<std::string>{
                           "--bind-address 10.0.0.2 --dns-address 192.0.2.53 probe.example.net",
                           "--bind-address 10.0.0.2 --dns-address 192.0.2.54 probe.example.net"}));
    std::vector<std::string> lines = log.labelled();
    ASSERT_EQ(lines.size(), 5u);
    EXPECT_EQ(lines[0], "DEBUG eth1| DNS resolve cmd: vrx-dig --bind-address 10.0.0.2 "
                        "--dns-address 192.0.2.53 probe.example.net");
    EXPECT_EQ(lines[1].rfind("DEBUG eth1| DNS resolve returned ", 0), 0u);
    EXPECT_NE(lines[1], "DEBUG eth1| DNS resolve returned 0");
    EXPECT_EQ(lines[2], "DEBUG eth1| DNS resolve cmd: vrx-dig --bind-address 10.0.0.2 "
                        "--dns-address 192.0.2.54 probe.example.net");
    EXPECT_EQ(lines[3], "DEBUG eth1| DNS resolve returned 0");
    EXPECT_EQ(lines[4], "DEBUG eth1| Resolved IPs: 192.0.2.7,192.0.2.8");
}

TEST_F(ResolveHost, WalksTheServersUntilOneGivesAddresses) {
    addScript(tools, "vrx-dig", scriptedDig(callLog));
    const struct {
        std::vector<std::string> servers;
        std::vector<std::string> addresses;
        size_t calls;
        int answeredWithZero;
    } cases[] = {
        {{"192.0.2.55", "192.0.2.54"}, {"192.0.2.7", "192.0.2.8"}, 2, 2},
        {{"192.0.2.53", "192.0.2.55", "192.0.2.60"}, {}, 3, 1},
        {{}, {}, 0, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.servers));
        unlink(callLog.c_str());
        log.clear();
        bool ok = c.addresses.empty();
        EXPECT_EQ(resolve(c.servers, ok), c.addresses);
        EXPECT_EQ(ok, !c.addresses.empty());
        EXPECT_EQ(calls().size(), c.calls);
        EXPECT_EQ(log.count("eth1| DNS resolve returned 0"), c.answeredWithZero);
    }
}

TEST_F(ResolveHost, MissingToolSkipsEveryServer) {
    bool ok = true;
    EXPECT_TRUE(resolve({"192.0.2.53"}, ok).empty());
    EXPECT_FALSE(ok);
    EXPECT_EQ(log.count("eth1| DNS resolve returned 0"), 0);
}

} // namespace
