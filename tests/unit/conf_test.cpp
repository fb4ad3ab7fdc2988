// Configuration repairs: what the loader makes of odd but acceptable entries, and what it says.
#include <algorithm>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <unistd.h>

#include "conf/conf.h"
#include "support/logger.h"

namespace {

const char* const LOG_FILE = "/var/run/unit-conf.log";

// One accepted record as "name type enabled table interval/short mode check host kind count port".
std::string describe(const WanConfig& c) {
    std::ostringstream out;
    out << c.name << " " << wanTypeName(c.type) << " " << (c.enabled ? "on" : "off") << " "
        << c.routeTable << " " << c.checkInterval << "/" << c.shortCheckInterval << " "
        << monitorModeName(c.monitorMode) << " " << checkTypeName(c.checkType) << " '" << c.hostname
        << "' " << (c.hostKind == HostKind::Ipv4 ? "ipv4" : "fqdn") << " " << c.icmpCount << " "
        << c.tcpPort;
    return out.str();
}

std::string logText() {
    std::ifstream file(LOG_FILE);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

struct Case {
    const char* name;
    const char* entry;     // the configuration entry's members after "interface"
    const char* inventory; // the inventory entries of the interface, after "interface"
    std::string expected;
    std::vector<std::string> warnings;
};

const char* const ETH = R"("type": "ETHERNET", "enabled": true, "available": true)";
const char* const MONITOR =
    R"("monitor": {"checkInterval": 300, "mode": "ACTIVE", "active": {"type": "TCP",
       "hostname": "192.0.2.1", "icmpCount": 65537, "tcpPort": 70000}})";
const std::string COUNT = "Config: invalid icmp count value";
const std::string INTERVAL = "Config: invalid check interval value";
const std::string TABLE = "Failed to find route table for x interface. Using default value.";

} // namespace

TEST(ConfRepairs, OddEntries) {
    // clang-format off
    const Case cases[] = {
        {"16-bit values wrap silently", MONITOR, ETH,
         "x ETHERNET on 100 300/10 Active Tcp '192.0.2.1' ipv4 1 4464", {}},
        {"a count of 256 is repaired",
         R"("monitor": {"checkInterval": 5, "active": {"hostname": "192.0.2", "icmpCount": 256}})",
         ETH, "x ETHERNET on 100 5/5 Passive Icmp '192.0.2' fqdn 4 0", {COUNT}},
        {"no monitor at all", "\"priority\": 1", ETH,
         "x ETHERNET on 100 60/10 Passive Icmp '' fqdn 4 0", {INTERVAL, COUNT}},
        {"a cellular entry without its table", MONITOR,
         R"("type": "CELLULAR", "enabled": true, "available": true)",
         "x PPP on 0 300/300 Active Tcp '192.0.2.1' ipv4 1 4464", {TABLE}},
        {"an unknown type needs no table", R"("monitor": {"active": {"icmpCount": 255}})",
         R"("type": "LTE", "enabled": true, "available": true)",
         "x Unknown on 0 60/10 Passive Icmp '' fqdn 255 0", {INTERVAL}},
        {"the first of two inventory entries counts", MONITOR,
         R"("type": "WIFI", "enabled": false, "available": true}, {"interface": "x", )"
         R"("type": "ETHERNET", "enabled": true, "available": true)",
         "x WIFI off 100 300/10 Active Tcp '192.0.2.1' ipv4 1 4464", {}},
        {"an unavailable entry is dropped", MONITOR,
         R"("type": "ETHERNET", "enabled": true, "available": false)", "", {}},
    };
    // clang-format on
    VRX::Logger::setPrintLevel(VRX::Logger::PrintLevel::TRACE_LEVEL, true);
    VRX::Logger::setup(VRX::Logger::FILE_MODE, LOG_FILE);
    for (const Case& c : cases) {
        (void)truncate(LOG_FILE, 0);
        const std::string text =
            R"({"uplinker": {"mode": "FAILOVER", "wans": [{"interface": "x", )" +
            std::string(c.entry) + R"(}]}, "waninfo": {"wans": [{"interface": "x", )" +
            c.inventory + "}]}}";
        Json::Value answer;
        std::istringstream(text) >> answer;
        Conf conf;
        ASSERT_TRUE(conf.applyAnswer(answer, {{"x", 100}})) << c.name;
        std::string got;
        for (const WanConfig& record : conf.wanConfigs)
            got += describe(record);
        EXPECT_EQ(got, c.expected) << c.name;
        const std::string logged = logText();
        for (const std::string& warning : {COUNT, INTERVAL, TABLE}) {
            const bool expected =
                std::find(c.warnings.begin(), c.warnings.end(), warning) != c.warnings.end();
            EXPECT_EQ(logged.find("[WARNING] " + warning) != std::string::npos, expected)
                << c.name << ": " << warning;
        }
    }
}
