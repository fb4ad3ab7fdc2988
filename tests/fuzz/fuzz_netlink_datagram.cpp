// One rtnetlink datagram through the engine's intake: the bounded message walk and the six
// handlers, for a table of three WANs (eth0 and wlan0 enabled, eth1 disabled) whose state is
// reset before every input. The handlers only record requests, so no route, hook or program is
// ever run here; the target checks that and a few properties the engine relies on.
#include <cstdint>
#include <cstdlib>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "app/app.h"
#include "fuzz_util.h"

namespace {

// The indices and tables the seed datagrams were captured with, so that they hit the WANs (each
// veth peer is created first, so eth1 takes 2 and eth0 3).
constexpr int32_t ETH0_INDEX = 3;
constexpr int32_t WLAN0_INDEX = 5;
constexpr int32_t ETH1_INDEX = 2;
constexpr int32_t ETH0_TABLE = 101;
constexpr int32_t WLAN0_TABLE = 102;
constexpr int32_t ETH1_TABLE = 103;
constexpr uint32_t DUMP_SEQ = 3;
// 10.0.0.2 and 10.0.0.1, in network byte order.
constexpr uint32_t SOME_ADDRESS = 0x0200000a;
constexpr uint32_t SOME_GATEWAY = 0x0100000a;

WanConfig wanConfig(const char* name, uint32_t priority, int32_t table, bool enabled) {
    WanConfig config;
    config.name = name;
    config.type = Ethernet;
    config.enabled = enabled;
    config.priority = priority;
    config.monitorMode = Passive;
    config.checkInterval = 30;
    config.shortCheckInterval = 10;
    config.routeTable = table;
    config.resolvFile = std::string("/var/run/resolv_") + name + ".conf";
    return config;
}

int peerFd = -1;

// The end of a socket pair on which the start-up stages send their dump requests; the target
// throws them away after each input.
int kernelSide() {
    int pair[2];
    if (socketpair(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0, pair) != 0)
        fuzzutil::fail("socketpair");
    peerFd = pair[1];
    return pair[0];
}

void dropRequests() {
    char buffer[64];
    while (recv(peerFd, buffer, sizeof(buffer), MSG_DONTWAIT) >= 0) {
    }
}

// The check threads live as long as the process: building the table once keeps the target fast.
App& engine() {
    static bool running = true;
    static App* app = [] {
        // The engine writes its state files under /var/run: only a private mount namespace
        // may see them.
        if (std::getenv("UPLINKER_FUZZ_SANDBOX") == nullptr)
            fuzzutil::fail("run this target through tests/fuzz/run (inside tests/sandbox)");
        fuzzutil::quietLogger();
        // The state files are written on every up/down; with the directory in place the engine
        // never needs the shell to create it.
        mkdir(CURRENT_WAN_DIR, 0755);
        mkdir(ISTATE_DIR, 0755);
        Conf conf;
        conf.valid = true;
        conf.mode = Failover;
        conf.wanConfigs = {wanConfig("eth0", 10, ETH0_TABLE, true),
                           wanConfig("wlan0", 20, WLAN0_TABLE, true),
                           wanConfig("eth1", 30, ETH1_TABLE, false)};
        auto* built = new App(&running, 0);
        if (!built->initWans(conf) || built->wans.size() != 3)
            fuzzutil::fail("the WAN table cannot be built");
        built->netlinkFd = kernelSide();
        return built;
    }();
    return *app;
}

void resetWan(Wan& wan, int32_t ifIndex, bool usable) {
    wan.ifIndex = ifIndex;
    wan.up = usable;
    wan.misc = true;
    wan.address.store(usable ? SOME_ADDRESS : NO_ADDRESS);
    wan.gateway = usable ? SOME_GATEWAY : NO_ADDRESS;
}

// The starting picture depends on the input's bytes, so that one input always replays the same
// way while the corpus still covers both modes, each WAN (or none) being current, and the
// start-up stages (complete in two cases out of five).
void resetEngine(App& app, const uint8_t* data, size_t size) {
    unsigned sum = 0;
    for (size_t i = 0; i < size; ++i)
        sum += data[i];
    const int current = static_cast<int>(sum % 3) - 1;
    app.mode = (sum / 3) % 2 == 0 ? Failover : Constant;
    const int stage = static_cast<int>((sum / 6) % 5) + 1;
    app.initStage = stage > 4 ? 4 : stage;
    *app.running = true;
    resetWan(app.wans[0], ETH0_INDEX, current == 0);
    resetWan(app.wans[1], WLAN0_INDEX, true);
    resetWan(app.wans[2], ETH1_INDEX, false);
    app.dumpSeq = DUMP_SEQ;
    app.previousWan = -1;
    app.currentWan = current;
    app.nextWan = -1;
    app.lockedWan = -1;
    app.lockedUntil = 0;
    app.searchNextInet = false;
    app.refreshInet = false;
}

bool exists(const char* path) {
    return access(path, F_OK) == 0;
}

void checkAfter(const App& app) {
    // Only the work step switches, and it writes this file when it does.
    FUZZ_CHECK(!exists(CURRENT_WAN_FILE));
    FUZZ_CHECK(app.wans.size() == 3);
    FUZZ_CHECK(app.initStage >= 1 && app.initStage <= 4);
    FUZZ_CHECK(app.currentWan >= -1 && app.currentWan < 3);
    FUZZ_CHECK(app.nextWan >= -1 && app.nextWan < 3);
    FUZZ_CHECK(app.lockedWan == -1 || app.lockedWan == 1);
    // A disabled WAN is never touched by the handlers.
    FUZZ_CHECK(!app.wans[2].up && app.wans[2].gateway == NO_ADDRESS);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    App& app = engine();
    resetEngine(app, data, size);
    app.netlinkHandleDatagram(data, size);
    checkAfter(app);
    dropRequests();
    return 0;
}
