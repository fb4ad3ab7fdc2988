// The status file and the tool's table: what costs a rebuild of the file, its times in
// wall-clock seconds, its replacement in one step, and the table read against a given clock.
#include <atomic>
#include <cctype>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <functional>
#include <iterator>
#include <thread>

#include "engine.h"
#include "support/clock.h"
#include "uplinker_status/status_table.h"

namespace {

using Act = std::function<void(Engine&)>;

// What the file's rebuilds cost over an act and the work step after it, once before and a work
// step have set the scene; each change alters one thing the file shows, and nothing else.
struct RebuildRow {
    const char* what;
    std::vector<WanSpec> wans;
    Act before;
    Act act;
    uint64_t builds;
};

const std::vector<WanSpec> TWO = {{"eth0"}, {"eth1"}};
const WanSpec PPP0 = {"ppp0", false, true, 60, WanType::Cellular};
const Act NOTHING = [](Engine&) {};

// clang-format off
const RebuildRow REBUILDS[] = {
    {"a thousand routes through the uplink's device in another table", TWO, NOTHING, [](Engine& e) { for (int n = 0; n < 1000; ++n) e.route("eth0", 150); }, 0},
    {"the same carrier again", TWO, NOTHING, [](Engine& e) { e.link("eth0", RUNNING); }, 0},
    {"the same address again", TWO, NOTHING, [](Engine& e) { e.address("eth1", true); }, 0},
    {"the carrier of a WAN without gateway", TWO, [](Engine& e) { e.gateway("eth1", false); }, [](Engine& e) { e.link("eth1", DOWN); }, 1},
    {"the address of a WAN without link", TWO, [](Engine& e) { e.link("eth1", DOWN); }, [](Engine& e) { e.address("eth1", false); }, 1},
    {"the gateway of a WAN without link", TWO, [](Engine& e) { e.link("eth1", DOWN); }, [](Engine& e) { e.gateway("eth1", false); }, 1},
    {"the modem of a WAN without gateway", {{"eth0"}, PPP0}, [](Engine& e) { e.gateway("ppp0", false); },
     [](Engine&) { std::ofstream(CELL_STATUS_FILE) << "CONNECTED\n"; }, 1},
    // The first check ran at start; the next one starts 20 s later.
    {"a check started", {{"eth0", true, true, 20, WanType::Ethernet, "192.0.2.1", true}, {"eth1"}}, [](Engine& e) { e.step(18); }, NOTHING, 1},
};
// clang-format on

// A text that tells its own length, so that a reader can tell a whole one from a part.
std::string sized(size_t n) {
    const size_t size = 256 * 1024 + n * 512;
    return std::to_string(size) + "\n" + std::string(size, 'x') + "\n";
}

bool whole(const std::string& text) {
    const size_t end = text.find('\n');
    return end != std::string::npos && end > 0 &&
           text.size() == end + 2 + std::stoul(text.substr(0, end)) && text.back() == '\n';
}

// A file as the daemon writes it, for the tool; the verdict is 125 s old and its probe still
// runs, as a stuck one would.
const char* const WRITTEN = R"({"phase": "running", "pid": 4242, "start_time": 990,
 "mode": "Failover", "current": "eth0", "lock": {"wan": "eth0", "until": 1700000020},
 "last_switch": {"from": "", "to": "eth0", "time": 1699999875, "cause": "start"},
 "wans": [{"name": "eth0", "type": "ETHERNET", "enabled": true, "monitor": "Active",
           "link": true, "address": "10.0.0.2", "gateway": "10.0.0.1", "usable": true,
           "active_result": true, "check": "RunActive",
           "verdict": {"result": "up", "time": 1699999875, "answered": 2, "probed": 3},
           "pending": {"toward": "down", "count": 1, "needed": 2}},
          {"name": "eth1", "type": "ETHERNET", "enabled": false, "monitor": "Passive",
           "link": false, "address": "", "gateway": "", "usable": false}]})";

// The table as written, and while the daemon still starts.
// clang-format off
const std::pair<std::function<void(Json::Value&)>, const char*> TABLES[] = {
    {[](Json::Value&) {},
     "uplinker: Failover, uplink eth0 since 22:11:15 (start)\n"
     "roaming lock on eth0 until 22:13:40\n"
     "WAN   link  address   gateway   probe                               usable\n"
     "eth0  up    10.0.0.2  10.0.0.1  up 2/3, 125 s ago, 1/2 toward down  yes\n"
     "eth1  down                      passive                             disabled\n"},
    {[](Json::Value& v) { v["phase"] = "starting"; }, "uplinker: starting, no decisions yet\n"},
};
// clang-format on

} // namespace

TEST(Status, RebuiltOnlyWhenWhatItShowsChanged) {
    for (const RebuildRow& row : REBUILDS) {
        SCOPED_TRACE(row.what);
        Engine engine(Mode::Failover, row.wans);
        row.before(engine);
        engine.step(1);
        const uint64_t before = engine.app().statusBuilds();
        row.act(engine);
        engine.step(1);
        EXPECT_EQ(engine.app().statusBuilds() - before, row.builds);
    }
}

// A verdict keeps the wall-clock second it was collected in; the roaming lock shows when it
// runs out on the same clock.
TEST(Status, TimesInWallClockSeconds) {
    Engine engine(Mode::Failover,
                  {{"wlan0", true, true, 20, WanType::Wifi, "192.0.2.1", true}, {"eth1"}});
    engine.step(1);
    const int64_t collected = realtimeMs() / 1000;
    engine.step(5);
    EXPECT_EQ(statusFile()["wans"][0]["verdict"]["time"].asInt64(), collected);
    engine.link("wlan0", ROAMING);
    engine.step(1);
    EXPECT_EQ(statusFile()["lock"]["until"].asInt64(), realtimeMs() / 1000 + 29);
}

// A reader opening the file all along many replacements finds a whole one every time.
TEST(Status, ReplacedInOneStep) {
    StatusReport report;
    report.publish(sized(0));
    std::atomic<bool> done{false};
    std::atomic<int> reads{0}, broken{0};
    std::thread reader([&] {
        while (!done) {
            std::ifstream file(STATUS_FILE);
            const std::string text{std::istreambuf_iterator<char>(file), {}};
            broken += file.is_open() && whole(text) ? 0 : 1;
            ++reads;
        }
    });
    for (size_t n = 1; n <= 200; ++n)
        report.publish(sized(n));
    done = true;
    reader.join();
    EXPECT_GT(reads.load(), 0);
    EXPECT_EQ(broken.load(), 0) << "of " << reads.load() << " reads";
}

// Fields of the wrong type, each alone: "path=JSON" sets one (list items by number), "path="
// removes it. Every one makes the file unreadable.
// clang-format off
const char* const REFUSED[] = {
    "wans=5", "wans={}", "wans=", "pid=\"4242\"", "start_time=-1", "phase=1", "mode=[]", "current=",
    "lock=1", "lock.until=\"soon\"", "last_switch.time=\"x\"", "last_switch.cause=",
    "wans.1=\"eth1\"", "wans.1.link=\"up\"", "wans.1.modem=1", "wans.1.name=7", "wans.1.usable=",
    "wans.1.enabled=\"yes\"", "wans.1.address=1", "wans.1.gateway=", "wans.1.monitor=",
    "wans.0.check=", "wans.0.verdict.time=\"x\"", "wans.0.verdict.result=",
    "wans.0.verdict.answered=-2", "wans.0.verdict.probed=\"3\"", "wans.0.verdict=[]",
    "wans.0.pending.count=\"1\"", "wans.0.pending.needed=", "wans.0.pending.toward=true"};
// clang-format on

void edit(Json::Value& value, const std::string& change) {
    const size_t equals = change.find('=');
    std::istringstream path(change.substr(0, equals));
    Json::Value *parent = nullptr, *field = &value;
    std::string key;
    while (std::getline(path, key, '.'))
        parent = field, field = isdigit(key[0]) ? &(*field)[std::stoi(key)] : &(*field)[key];
    if (equals + 1 == change.size() && parent->isObject())
        parent->removeMember(key);
    else
        std::istringstream(change.substr(equals + 1)) >> *field;
}

TEST(StatusTool, TableAgainstAGivenClock) {
    (void)setenv("TZ", "UTC", 1);
    tzset();
    Json::Value written;
    std::istringstream(WRITTEN) >> written;
    for (const auto& [change, table] : TABLES) {
        Json::Value status = written;
        change(status);
        EXPECT_TRUE(tools::wellFormed(status));
        EXPECT_EQ(tools::statusTable(status, 1700000000), table);
    }
    for (const char* change : REFUSED) {
        Json::Value status = written;
        edit(status, change);
        EXPECT_FALSE(tools::wellFormed(status)) << change;
    }
}
