#include "conf/conf.h"

#include <exception>

#include "conf/route_tables.h"
#include "support/api_request.h"
#include "support/log.h"

namespace {

// Ties the one load to the singleton's construction, which C++ makes safe against concurrent
// first calls.
struct LoadedConf {
    LoadedConf() { conf.valid = conf.load(); }
    Conf conf;
};

std::map<std::string, int> readRouteTables() {
    LOG_TRACE("Loading route tables from %s", ROUTE_TABLES_PATH);
    std::map<std::string, int> tables = loadRouteTables(ROUTE_TABLES_PATH);
    if (tables.empty())
        LOG_WARNING("Failed to load route tables");
    return tables;
}

} // namespace

Conf& Conf::inst() {
    LOG_TRACE("Conf::inst");
    static LoadedConf loaded;
    return loaded.conf;
}

Conf::Conf() = default;

bool Conf::load() {
    LOG_TRACE("Conf::load");
    // Held across the HTTP request too: readers must never see a half-loaded list.
    VRX::LockGuard guard(lock);
    reset();
    try {
        std::map<std::string, int> tables = readRouteTables();
        Json::Value answer;
        if (VRX::ApiRequest::getRequest(CONFIG_URL, answer) != 0)
            return false;
        return applyAnswer(answer, tables);
    } catch (const std::exception& e) {
        LOG_FATAL("Conf::load: failed: %s", e.what());
    }
    reset();
    return false;
}

void Conf::reset() {
    mode = Mode::Constant;
    wanConfigs.clear();
}
