// The configuration singleton: the operating mode and the accepted WAN interfaces, loaded once
// from the device's configuration service.
#pragma once

#include <json/json.h>
#include <list>
#include <map>
#include <string>

#include "conf/wan_config.h"
#include "support/lock.h"

constexpr const char* CONFIG_URL = "http://127.0.0.1/api?fields=uplinker,waninfo";

class Conf {
public:
    // The singleton; the first call constructs it and loads the configuration.
    static Conf& inst();

    // An empty, not loaded configuration (inst() owns the real one; tests build their own).
    Conf();
    Conf(const Conf&) = delete;
    Conf& operator=(const Conf&) = delete;

    // Reads the table names, asks the configuration service and applies its answer.
    bool load();
    // Applies one answer of the configuration service (lock held by the caller): fills mode
    // and wanConfigs and prints the summary; false for an unusable answer, which leaves mode
    // Constant and no entries. Values of the wrong JSON type are such an answer.
    bool applyAnswer(const Json::Value& answer, const std::map<std::string, int>& routeTables);

    // Held while the configuration loads and while the engine copies it. Only the main thread
    // touches Conf today; the lock keeps that safe should the load ever move elsewhere.
    VRX::Lock lock;
    Mode mode = Mode::Constant;
    std::list<WanConfig> wanConfigs;
    bool valid = false;

private:
    // Back to no configuration: mode Constant and no entries.
    void reset();
};
