#include <atomic>
#include <memory>
#include <sstream>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

#include "conf/route_tables.h"
#include "conf_test_util.h"
#include "http_stub.h"

namespace {

using conftest::HttpStub;
using conftest::linesAt;
using conftest::Strings;

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

    // A Conf holding a stale entry, which a failed load has to clear.
    static void makeStale(Conf& conf) {
        conf.mode = Failover;
        conf.wanConfigs.push_back(WanConfig());
    }

    testutil::LogCapture log{VRX::Logger::PrintLevel::TRACE_LEVEL};
};

// The singleton loads only once per process, so this is the one test of it.
TEST_F(ConfLoad, InstLoadsOnceFromTheServiceAndTheTableFile) {
    writeTables("255 local\n100 eth0\n102 cellular\n");
    HttpStub stub(kAnswer);
    ASSERT_TRUE(stub.start(80));

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

TEST_F(ConfLoad, UnreachableServiceFailsWithoutFatalMessage) {
    unlink(ROUTE_TABLES_PATH);
    Conf conf;
    makeStale(conf);
    EXPECT_FALSE(conf.load());
    EXPECT_EQ(conf.mode, Constant);
    EXPECT_TRUE(conf.wanConfigs.empty());
    EXPECT_TRUE(lockIsFree(conf.lock));
    EXPECT_EQ(linesAt(log, "WARNING"), Strings{"Failed to load route tables"});
    EXPECT_TRUE(linesAt(log, "FATAL").empty());
}

TEST_F(ConfLoad, BodyThatIsNotJsonFailsWithoutFatalMessage) {
    HttpStub stub("uplinker: yes");
    ASSERT_TRUE(stub.start(80));
    Conf conf;
    makeStale(conf);
    EXPECT_FALSE(conf.load());
    EXPECT_EQ(stub.requests(), Strings{kExpectedRequest});
    EXPECT_TRUE(conf.wanConfigs.empty());
    EXPECT_TRUE(linesAt(log, "FATAL").empty());
}

TEST_F(ConfLoad, WrongTypeEndsTheLoadAndReleasesTheLock) {
    writeTables("100 eth0\n");
    HttpStub stub(R"({"uplinker": {"mode": "CONSTANT", "wans": [
        {"interface": "eth0", "priority": "high"}]},
      "waninfo": {"wans": [{"interface": "eth0", "available": true, "type": "ETHERNET"}]}})");
    ASSERT_TRUE(stub.start(80));
    Conf conf;
    makeStale(conf);
    EXPECT_FALSE(conf.load());
    EXPECT_EQ(conf.mode, Constant);
    EXPECT_TRUE(conf.wanConfigs.empty());
    EXPECT_TRUE(lockIsFree(conf.lock));
    EXPECT_EQ(linesAt(log, "FATAL"),
              Strings{"Conf::load: invalid API response: \"uplinker\".\"wans\"[0].\"priority\" is "
                      "not an unsigned number"});
}

} // namespace
