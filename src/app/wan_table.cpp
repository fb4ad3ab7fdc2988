// Building the WAN table from the configuration, and the start values of the engine's flags.
#include <algorithm>
#include <deque>
#include <vector>

#include "app/app.h"
#include "support/lock.h"
#include "support/log.h"

namespace {

// Constructs every Wan in place. Returns the number of enabled WANs.
int buildWans(std::deque<Wan>& wans, const std::vector<WanConfig>& configs) {
    int enabled = 0;
    for (const WanConfig& config : configs) {
        wans.emplace_back(config);
        Wan& wan = wans.back();
        // The cellular link is unusable until the modem reports a data connection.
        if (wan.ifname == CELLULAR_WAN)
            wan.misc = false;
        if (wan.config.enabled) {
            wan.linkResolvConf(true);
            ++enabled;
        }
    }
    return enabled;
}

// Each WAN has logged its own failure to start its thread.
bool checkThreadsRunning(const std::deque<Wan>& wans) {
    return std::all_of(wans.begin(), wans.end(),
                       [](const Wan& wan) { return wan.thread.isRunning(); });
}

} // namespace

bool App::initWans(Conf& conf) {
    if (!conf.valid) {
        LOG_ERROR("Config has no valid data!");
        return false;
    }
    std::vector<WanConfig> configs;
    {
        VRX::LockGuard guard(conf.lock);
        mode = conf.mode;
        configs.assign(conf.wanConfigs.begin(), conf.wanConfigs.end());
    }
    LOG_DEBUG("uplinker mode -> %s", modeName(mode));
    LOG_DEBUG("wans count -> %d", static_cast<int>(configs.size()));
    std::stable_sort(configs.begin(), configs.end(), [](const WanConfig& a, const WanConfig& b) {
        return a.priority < b.priority;
    });
    // With a single candidate there is nothing to fail over to.
    if (buildWans(wans, configs) <= 1 && mode != Mode::Constant) {
        LOG_DEBUG("auto switch to first mode");
        mode = Mode::Constant;
    }
    searchNextInet = true;
    for (size_t index = 0; index < wans.size(); ++index) {
        wans[index].activeResult = mode == Mode::Constant;
        if (wans[index].config.enabled)
            lastEnabledWan = static_cast<int>(index);
    }
    if (lastEnabledWan != -1) {
        LOG_DEBUG("last enabled wan %d -> %s", lastEnabledWan, wans[lastEnabledWan].ifname.c_str());
        wans[lastEnabledWan].lastEnabled = true;
    }
    // A daemon that could never probe one of its WANs must not pretend to run.
    return checkThreadsRunning(wans);
}
