// Helpers for the configuration tests: answers built from JSON text and log lines by label.
#pragma once

#include <gtest/gtest.h>
#include <json/json.h>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "common/test_util.h"
#include "conf/conf.h"
#include "support/logger.h"

namespace conftest {

using Strings = std::vector<std::string>;
using Tables = std::map<std::string, int>;

inline Json::Value parse(const std::string& text) {
    Json::CharReaderBuilder builder;
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    Json::Value value;
    std::string errors;
    EXPECT_TRUE(reader->parse(text.data(), text.data() + text.size(), &value, &errors))
        << errors << "\n"
        << text;
    return value;
}

// The messages of one level, in order ("WARNING", "INFO", ...).
inline std::vector<std::string> linesAt(const testutil::LogCapture& log, const std::string& label) {
    std::vector<std::string> result;
    std::string prefix = label + " ";
    for (const std::string& line : log.labelled())
        if (line.compare(0, prefix.size(), prefix) == 0)
            result.push_back(line.substr(prefix.size()));
    return result;
}

inline const Tables kTables = {{"eth0", 100}, {"wlan0", 101}, {"cellular", 102}, {"ppp0", 999}};

// One actively monitored Ethernet interface with every setting given; the cases vary it.
inline Json::Value baseAnswer() {
    return parse(R"({
      "uplinker": {"mode": "FAILOVER", "wans": [
        {"interface": "eth0", "priority": 2, "weight": 7,
         "monitor": {"checkInterval": 30, "mode": "ACTIVE",
                     "active": {"type": "TCP", "hostname": "192.0.2.1",
                                "icmpCount": 3, "tcpPort": 443}}}]},
      "waninfo": {"wans": [
        {"interface": "eth0", "available": true, "enabled": true, "type": "ETHERNET"}]}})");
}

inline Json::Value& entryOf(Json::Value& answer, Json::ArrayIndex i = 0) {
    return answer["uplinker"]["wans"][i];
}

inline Json::Value& itemOf(Json::Value& answer, Json::ArrayIndex i = 0) {
    return answer["waninfo"]["wans"][i];
}

class ConfAnswer : public ::testing::Test {
protected:
    // Applies the answer to a Conf that still holds a stale entry, so that a refused answer
    // has to clear it.
    bool apply(const Json::Value& answer, const Tables& tables = kTables) {
        WanConfig stale;
        stale.name = "stale0";
        conf.wanConfigs.push_back(stale);
        conf.mode = Failover;
        log.clear();
        return conf.applyAnswer(answer, tables);
    }

    void expectRefused() {
        EXPECT_EQ(conf.mode, Constant);
        EXPECT_TRUE(conf.wanConfigs.empty());
        EXPECT_FALSE(log.has("Configuration loaded:"));
    }

    testutil::LogCapture log{VRX::Logger::PrintLevel::TRACE_LEVEL};
    Conf conf;
};

} // namespace conftest
