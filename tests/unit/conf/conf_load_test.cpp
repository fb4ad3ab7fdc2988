#include <atomic>
#include <memory>
#include <sstream>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

#include "common/http_stub.h"
#include "conf/route_tables.h"
#include "conf_test_util.h"

namespace {

using conftest::linesAt;
using conftest::Strings;
using testutil::HttpStub;

const char* const kExpectedRequest = "GET /api?fields=uplinker,waninfo HTTP/1.1";

const char* const kAnswer = R"({
  "uplinker": {"mode": "FAILOVER", "wans": [
    {"interface": "eth0", "priority": 2,
     "monitor": {"checkInterval": 30, "active": {"icmpCount": 4}}},
    {"interface": "ppp0", "priority": 1,
     "monitor": {"checkInterval": 30, "active": {"icmpCount": 4}}}]},
  "waninfo": {"wans": [
    {"interface": "eth0", "available": true, "enabled": true, "type": "ETHERNET"},
    {"interface": "ppp0", "available": true, "enabled": true, "type": "CELLULAR"}]}})";

// /etc and the network are private only inside the test sandbox; these tests write the real
// table file's path and listen on port 80, so they refuse to run anywhere else.
bool sandboxed() {
    for (const std::string& line :
         testutil::splitLines(testutil::readText("/proc/self/mountinfo"))) {
        std::istringstream fields(line);
        std::string id, parent, device, root, mountPoint;
        fields >> id >> parent >> device >> root >> mountPoint;
        if (mountPoint == "/etc" && line.find(" - overlay ") != std::string::npos)
            return true;
    }
    return false;
}

// Takes the lock from another thread, so that a lock left held fails the test instead of
// hanging it.
bool lockIsFree(VRX::Lock& lock) {
    auto taken = std::make_shared<std::atomic<bool>>(false);
    std::thread taker([&lock, taken] {
        lock.lock();
        *taken = true;
        lock.unlock();
    });
    bool free = testutil::waitFor([&] { return taken->load(); }, 3000);
    if (free)
        taker.join();
    else
        taker.detach();
    return free;
}

class ConfLoad : public ::testing::Test {
protected:
    void SetUp() override {
        if (!sandboxed())
            GTEST_SKIP() << "run inside tests/sandbox --net";
    }

    static void writeTables(const std::string& content) {
        mkdir("/etc/iproute2", 0755);
        FILE* out = fopen(ROUTE_TABLES_PATH, "w");
        ASSERT_NE(out, nullptr);
        fputs(content.c_str(), out);
        fclose(out);
    }

    testutil::LogCapture log{VRX::Logger::PrintLevel::TRACE_LEVEL};
};

// The singleton loads only once per process, so this is the one test of it.
TEST_F(ConfLoad, InstLoadsOnceFromTheServiceAndTheTableFile) {
    writeTables("255 local\n100 eth0\n102 cellular\n");
    HttpStub stub(kAnswer, 80);
    ASSERT_TRUE(stub.listening());

    Conf* seen[2] = {nullptr, nullptr};
    std::thread first([&] { seen[0] = &Conf::inst(); });
    std::thread second([&] { seen[1] = &Conf::inst(); });
    first.join();
    second.join();
    Conf& conf = Conf::inst();

    EXPECT_EQ(seen[0], &conf);
    EXPECT_EQ(seen[1], &conf);
    EXPECT_EQ(stub.requests(), Strings{kExpectedRequest});
    EXPECT_EQ(log.count("Conf::inst"), 3);
    EXPECT_EQ(log.count("Conf::load"), 1);
    EXPECT_TRUE(log.has("Loading route tables from /etc/iproute2/rt_tables"));
    EXPECT_FALSE(log.has("Failed to load route tables"));
    EXPECT_TRUE(log.has("Configuration loaded:"));
    EXPECT_TRUE(conf.valid);
    EXPECT_TRUE(lockIsFree(conf.lock));
    EXPECT_EQ(conf.mode, Failover);
    ASSERT_EQ(conf.wanConfigs.size(), 2u);
    EXPECT_EQ(conf.wanConfigs.front().name, "eth0");
    EXPECT_EQ(conf.wanConfigs.front().routeTable, 100);
    EXPECT_EQ(conf.wanConfigs.back().name, "ppp0");
    EXPECT_EQ(conf.wanConfigs.back().routeTable, 102);
}

TEST_F(ConfLoad, FailedLoadClearsTheConfigurationAndReleasesTheLock) {
    const struct {
        const char* tables; // nullptr: no table file
        const char* body;   // nullptr: nothing listening
        Strings warnings;
        Strings fatals;
    } cases[] = {
        {nullptr, nullptr, {"Failed to load route tables"}, {}},
        {"100 eth0\n", "uplinker: yes", {}, {}},
        {"100 eth0\n",
         R"({"uplinker": {"mode": "CONSTANT", "wans": [
            {"interface": "eth0", "priority": "high"}]},
          "waninfo": {"wans": [{"interface": "eth0", "available": true, "type": "ETHERNET"}]}})",
         {},
         {"Conf::load: invalid API response: \"uplinker\".\"wans\"[0].\"priority\" is not an "
          "unsigned number"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.body ? c.body : "no service");
        unlink(ROUTE_TABLES_PATH);
        if (c.tables)
            writeTables(c.tables);
        std::unique_ptr<HttpStub> stub(c.body ? new HttpStub(c.body, 80) : nullptr);
        log.clear();
        Conf conf;
        conf.mode = Failover;
        conf.wanConfigs.push_back(WanConfig());
        EXPECT_FALSE(conf.load());
        EXPECT_EQ(conf.mode, Constant);
        EXPECT_TRUE(conf.wanConfigs.empty());
        EXPECT_TRUE(lockIsFree(conf.lock));
        EXPECT_EQ(linesAt(log, "WARNING"), c.warnings);
        EXPECT_EQ(linesAt(log, "FATAL"), c.fatals);
        if (stub) {
            EXPECT_EQ(stub->requests(), Strings{kExpectedRequest});
        }
    }
}

} // namespace
