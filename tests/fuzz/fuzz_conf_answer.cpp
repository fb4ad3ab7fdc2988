// Any JSON document as the configuration service's answer: a refused answer leaves nothing
// behind, and every accepted entry carries values the engine can use.
#include <exception>
#include <json/json.h>
#include <memory>

#include "conf/conf.h"
#include "fuzz_util.h"

namespace {

const std::map<std::string, int> TABLES = {
    {"eth0", 100}, {"wlan0", 101}, {"cellular", 102}, {"ppp0", 999}, {"eth1", 103}};

void checkEntry(const WanConfig& e) {
    FUZZ_CHECK(e.checkInterval != 0);
    FUZZ_CHECK(e.shortCheckInterval != 0 && e.shortCheckInterval <= e.checkInterval);
    FUZZ_CHECK(e.icmpCount >= 1 && e.icmpCount <= 255);
    FUZZ_CHECK(e.resolvFile == "/var/run/resolv_" + e.name + ".conf");
    if (e.type == WanType::Ethernet || e.type == WanType::Wifi)
        FUZZ_CHECK(TABLES.count(e.name) != 0 && e.routeTable == TABLES.at(e.name));
    if (e.type == WanType::Cellular)
        FUZZ_CHECK(e.routeTable == TABLES.at("cellular"));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const bool quiet = quietLogger();
    (void)quiet;
    static Json::CharReaderBuilder builder;
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    const char* text = reinterpret_cast<const char*>(data);
    Json::Value answer;
    try { // jsoncpp throws beyond its nesting limit; such a text never reaches the loader
        if (!reader->parse(text, text + size, &answer, nullptr))
            return 0;
    } catch (const std::exception&) {
        return 0;
    }
    Conf conf;
    if (!conf.applyAnswer(answer, TABLES)) {
        FUZZ_CHECK(conf.mode == Mode::Constant && conf.wanConfigs.empty());
        return 0;
    }
    for (const WanConfig& entry : conf.wanConfigs)
        checkEntry(entry);
    return 0;
}
