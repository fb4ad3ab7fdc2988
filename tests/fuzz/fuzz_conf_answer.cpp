// The configuration loader's answer handling: any JSON document, as the configuration service
// might send it, applied to a fresh Conf with a fixed table-name map. Besides the sanitizers the
// target checks what the engine relies on: a refused answer leaves nothing behind, and every
// accepted entry carries usable values.
#include <cstdint>
#include <exception>
#include <json/json.h>
#include <map>
#include <memory>
#include <string>

#include "conf/conf.h"
#include "fuzz_util.h"

namespace {

const std::map<std::string, int> TABLES = {
    {"eth0", 100}, {"wlan0", 101}, {"cellular", 102}, {"ppp0", 999}, {"eth1", 103}};

bool parse(const uint8_t* data, size_t size, Json::Value& value) {
    static Json::CharReaderBuilder builder;
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    const char* begin = reinterpret_cast<const char*>(data);
    std::string errors;
    // jsoncpp throws on nesting beyond its stack limit; such a document never reaches the loader.
    try {
        return reader->parse(begin, begin + size, &value, &errors);
    } catch (const std::exception&) {
        return false;
    }
}

void checkEntry(const WanConfig& entry) {
    FUZZ_CHECK(entry.checkInterval != 0);
    FUZZ_CHECK(entry.shortCheckInterval != 0 && entry.shortCheckInterval <= entry.checkInterval);
    FUZZ_CHECK(entry.icmpCount >= 1 && entry.icmpCount <= 255);
    FUZZ_CHECK(entry.resolvFile == "/var/run/resolv_" + entry.name + ".conf");
    if (entry.type == Ethernet || entry.type == Wifi) {
        const auto table = TABLES.find(entry.name);
        FUZZ_CHECK(table != TABLES.end() && entry.routeTable == table->second);
    }
    if (entry.type == Cellular)
        FUZZ_CHECK(entry.routeTable == TABLES.at("cellular"));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const bool ready = (fuzzutil::quietLogger(), true);
    (void)ready;
    Json::Value answer;
    if (!parse(data, size, answer))
        return 0;
    Conf conf;
    if (!conf.applyAnswer(answer, TABLES)) {
        FUZZ_CHECK(conf.mode == Constant && conf.wanConfigs.empty());
        return 0;
    }
    FUZZ_CHECK(conf.mode == Constant || conf.mode == Failover);
    for (const WanConfig& entry : conf.wanConfigs)
        checkEntry(entry);
    return 0;
}
