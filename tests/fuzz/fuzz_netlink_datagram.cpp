// One rtnetlink datagram through the intake into the engine, for eth0 and wlan0 (enabled) and
// eth1 (disabled). The seeds are kernel datagrams with these indices and tables. Before its
// start-up dumps the engine only learns: no switch may happen and a disabled WAN is never
// touched.
#include <sys/stat.h>
#include <unistd.h>

#include "app/app.h"
#include "fuzz_util.h"

namespace {

App& engine() {
    static App* app = [] {
        quietLogger();
        mkdir(CURRENT_WAN_DIR, 0755); // state files need no shell to create their directory
        mkdir(ISTATE_DIR, 0755);
        Conf conf;
        conf.valid = true;
        conf.mode = Mode::Failover;
        const char* names[] = {"eth0", "wlan0", "eth1"};
        for (int i = 0; i < 3; ++i) {
            conf.wanConfigs.emplace_back();
            conf.wanConfigs.back().name = names[i];
            conf.wanConfigs.back().enabled = i != 2;
            conf.wanConfigs.back().routeTable = 101 + i;
        }
        auto* built = new App(0);
        FUZZ_CHECK(built->initWans(conf) && built->wanTable().size() == 3);
        return built;
    }();
    return *app;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    App& app = engine();
    netlink::decodeDatagram(data, size, app);
    const App::Indices decided = app.indices();
    FUZZ_CHECK(access(CURRENT_WAN_FILE, F_OK) != 0 && !app.started());
    FUZZ_CHECK(decided.currentWan == -1 && decided.lockedWan == -1);
    const Wan& disabled = app.wanTable()[2];
    FUZZ_CHECK(!disabled.up && disabled.gateway == NO_ADDRESS && disabled.ifIndex == -1);
    return 0;
}
