// One rtnetlink datagram through the engine's intake, for eth0 and wlan0 (enabled) and eth1
// (disabled). The seeds are kernel datagrams with these indices and tables. The handlers only
// record requests: no switch may happen, indices stay in range, a disabled WAN is never touched.
#include <algorithm>
#include <sys/stat.h>
#include <unistd.h>

#include "app/app.h"
#include "fuzz_util.h"

namespace {

const int32_t INDEX[] = {3, 5, 2};

App& engine() {
    static bool running = true;
    static App* app = [] {
        quietLogger();
        mkdir(CURRENT_WAN_DIR, 0755); // state files need no shell to create their directory
        mkdir(ISTATE_DIR, 0755);
        Conf conf;
        conf.valid = true;
        conf.mode = Failover;
        const char* names[] = {"eth0", "wlan0", "eth1"};
        for (int i = 0; i < 3; ++i) {
            conf.wanConfigs.emplace_back();
            conf.wanConfigs.back().name = names[i];
            conf.wanConfigs.back().enabled = i != 2;
            conf.wanConfigs.back().routeTable = 101 + i;
        }
        auto* built = new App(&running, 0);
        FUZZ_CHECK(built->initWans(conf) && built->wans.size() == 3);
        return built;
    }();
    return *app;
}

// The starting picture comes from the input's bytes, so an input always replays the same way
// while the corpus covers both modes, each current WAN and each start-up stage.
void reset(App& app, const uint8_t* data, size_t size) {
    unsigned sum = 0;
    for (size_t i = 0; i < size; ++i)
        sum += data[i];
    app.currentWan = static_cast<int>(sum % 3) - 1;
    app.mode = (sum / 3) % 2 == 0 ? Failover : Constant;
    app.initStage = std::min(static_cast<int>((sum / 6) % 5) + 1, 4);
    app.dumpSeq = 3;
    *app.running = true;
    app.previousWan = app.nextWan = app.lockedWan = -1;
    app.searchNextInet = app.refreshInet = false;
    for (int i = 0; i < 3; ++i) {
        Wan& wan = app.wans[i];
        wan.ifIndex = INDEX[i];
        wan.up = wan.misc = i == 1 || (i == 0 && app.currentWan == 0);
        wan.address = wan.gateway = wan.up ? 0x0100000a : NO_ADDRESS;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    App& app = engine();
    reset(app, data, size);
    app.netlinkHandleDatagram(data, size);
    FUZZ_CHECK(access(CURRENT_WAN_FILE, F_OK) != 0);
    FUZZ_CHECK(app.currentWan >= -1 && app.currentWan < 3 && app.nextWan >= -1 && app.nextWan < 3);
    FUZZ_CHECK(app.lockedWan == -1 || app.lockedWan == 1);
    FUZZ_CHECK(!app.wans[2].up && app.wans[2].gateway == NO_ADDRESS);
    return 0;
}
