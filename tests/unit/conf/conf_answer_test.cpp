#include <functional>

#include "conf_test_util.h"

namespace {

using conftest::baseAnswer;
using conftest::ConfAnswer;
using conftest::entryOf;
using conftest::itemOf;
using conftest::kTables;
using conftest::linesAt;
using conftest::parse;
using conftest::Strings;
using conftest::Tables;

using Tweak = std::function<void(Json::Value& entry, Json::Value& item)>;
using Check = std::function<void(const WanConfig&)>;

struct EntryCase {
    const char* what;
    Tweak tweak;
    bool accepted;
    Strings warnings;
    Check check;
    Tables tables = kTables;
};

void setInterface(Json::Value& entry, Json::Value& item, const char* name, const char* type) {
    entry["interface"] = name;
    item["interface"] = name;
    item["type"] = type;
}

Tweak setActive(const char* key, Json::Value value) {
    return
        [key, value](Json::Value& entry, Json::Value&) { entry["monitor"]["active"][key] = value; };
}

Check expectIcmp(uint16_t count) {
    return [count](const WanConfig& c) { EXPECT_EQ(c.icmpCount, count); };
}

Check expectHost(const char* host, HostKind kind) {
    return [host, kind](const WanConfig& c) {
        EXPECT_EQ(c.hostname, host);
        EXPECT_EQ(c.hostKind, kind);
    };
}

const char* const kIntervalWarning = "Config: invalid check interval value";
const char* const kIcmpWarning = "Config: invalid icmp count value";

const std::vector<EntryCase> kEntryCases = {
    {"every setting given",
     [](Json::Value&, Json::Value&) {},
     true,
     {},
     [](const WanConfig& c) {
         EXPECT_EQ(c.name, "eth0");
         EXPECT_EQ(c.type, Ethernet);
         EXPECT_TRUE(c.enabled);
         EXPECT_EQ(c.priority, 2u);
         EXPECT_EQ(c.weight, 7u);
         EXPECT_EQ(c.monitorMode, Active);
         EXPECT_EQ(c.checkInterval, 30u);
         EXPECT_EQ(c.shortCheckInterval, 10u);
         EXPECT_EQ(c.checkType, Tcp);
         EXPECT_EQ(c.hostname, "192.0.2.1");
         EXPECT_EQ(c.hostKind, Ipv4);
         EXPECT_EQ(c.tcpPort, 443);
         EXPECT_EQ(c.icmpCount, 3);
         EXPECT_EQ(c.resolvFile, "/var/run/resolv_eth0.conf");
         EXPECT_EQ(c.routeTable, 100);
     }},
    {"no inventory entry of that name",
     [](Json::Value&, Json::Value& item) { item["interface"] = "eth1"; },
     false,
     {},
     nullptr},
    {"inventory name differs in case",
     [](Json::Value&, Json::Value& item) { item["interface"] = "ETH0"; },
     false,
     {},
     nullptr},
    {"unavailable",
     [](Json::Value&, Json::Value& item) { item["available"] = false; },
     false,
     {},
     nullptr},
    {"availability absent",
     [](Json::Value&, Json::Value& item) { item.removeMember("available"); },
     false,
     {},
     nullptr},
    {"disabled interface is kept",
     [](Json::Value&, Json::Value& item) { item["enabled"] = false; },
     true,
     {},
     [](const WanConfig& c) { EXPECT_FALSE(c.enabled); }},
    {"enabled absent",
     [](Json::Value&, Json::Value& item) { item.removeMember("enabled"); },
     true,
     {},
     [](const WanConfig& c) { EXPECT_FALSE(c.enabled); }},
    {"unknown type needs no table",
     [](Json::Value& entry, Json::Value& item) { setInterface(entry, item, "lte0", "LTE"); },
     true,
     {},
     [](const WanConfig& c) {
         EXPECT_EQ(c.type, Unknown);
         EXPECT_EQ(c.routeTable, 0);
         EXPECT_EQ(c.shortCheckInterval, 10u);
     }},
    {"type absent",
     [](Json::Value&, Json::Value& item) { item.removeMember("type"); },
     true,
     {},
     [](const WanConfig& c) { EXPECT_EQ(c.type, Unknown); }},
    {"type in lower case is unknown, no table lookup",
     [](Json::Value&, Json::Value& item) { item["type"] = "ethernet"; },
     true,
     {},
     [](const WanConfig& c) {
         EXPECT_EQ(c.type, Unknown);
         EXPECT_EQ(c.routeTable, 0);
     }},
    {"cellular ppp0 takes the table named cellular",
     [](Json::Value& entry, Json::Value& item) { setInterface(entry, item, "ppp0", "CELLULAR"); },
     true,
     {},
     [](const WanConfig& c) {
         EXPECT_EQ(c.type, Cellular);
         EXPECT_EQ(c.routeTable, 102);
         EXPECT_EQ(c.shortCheckInterval, 30u);
     }},
    {"cellular without a cellular table keeps table 0",
     [](Json::Value& entry, Json::Value& item) { setInterface(entry, item, "ppp0", "CELLULAR"); },
     true,
     {"Failed to find route table for ppp0 interface. Using default value."},
     [](const WanConfig& c) { EXPECT_EQ(c.routeTable, 0); },
     {{"ppp0", 999}}},
    {"ethernet without a table is dropped",
     [](Json::Value&, Json::Value&) {},
     false,
     {"Failed to find route table for eth0 interface. Skipping wan interface."},
     nullptr,
     {{"cellular", 102}}},
    {"wifi with a table",
     [](Json::Value& entry, Json::Value& item) { setInterface(entry, item, "wlan0", "WIFI"); },
     true,
     {},
     [](const WanConfig& c) {
         EXPECT_EQ(c.type, Wifi);
         EXPECT_EQ(c.routeTable, 101);
     }},
    {"wifi without a table is dropped",
     [](Json::Value& entry, Json::Value& item) { setInterface(entry, item, "wlan5", "WIFI"); },
     false,
     {"Failed to find route table for wlan5 interface. Skipping wan interface."},
     nullptr},
    {"entry without monitor",
     [](Json::Value& entry, Json::Value&) { entry.removeMember("monitor"); },
     true,
     {kIntervalWarning, kIcmpWarning},
     [](const WanConfig& c) {
         EXPECT_EQ(c.checkInterval, 60u);
         EXPECT_EQ(c.shortCheckInterval, 10u);
         EXPECT_EQ(c.monitorMode, Passive);
         EXPECT_EQ(c.checkType, Icmp);
         EXPECT_EQ(c.hostname, "");
         EXPECT_EQ(c.hostKind, Fqdn);
         EXPECT_EQ(c.icmpCount, 4);
         EXPECT_EQ(c.tcpPort, 0);
     }},
    {"check interval 0",
     [](Json::Value& entry, Json::Value&) { entry["monitor"]["checkInterval"] = 0; },
     true,
     {kIntervalWarning},
     [](const WanConfig& c) {
         EXPECT_EQ(c.checkInterval, 60u);
         EXPECT_EQ(c.shortCheckInterval, 10u);
     }},
    {"check interval 5",
     [](Json::Value& entry, Json::Value&) { entry["monitor"]["checkInterval"] = 5; },
     true,
     {},
     [](const WanConfig& c) {
         EXPECT_EQ(c.checkInterval, 5u);
         EXPECT_EQ(c.shortCheckInterval, 5u);
     }},
    {"check interval 300",
     [](Json::Value& entry, Json::Value&) { entry["monitor"]["checkInterval"] = 300; },
     true,
     {},
     [](const WanConfig& c) {
         EXPECT_EQ(c.checkInterval, 300u);
         EXPECT_EQ(c.shortCheckInterval, 10u);
     }},
    {"cellular check interval 300",
     [](Json::Value& entry, Json::Value& item) {
         setInterface(entry, item, "ppp0", "CELLULAR");
         entry["monitor"]["checkInterval"] = 300;
     },
     true,
     {},
     [](const WanConfig& c) {
         EXPECT_EQ(c.checkInterval, 300u);
         EXPECT_EQ(c.shortCheckInterval, 300u);
     }},
    {"icmp count 0", setActive("icmpCount", 0), true, {kIcmpWarning}, expectIcmp(4)},
    {"icmp count 256", setActive("icmpCount", 256), true, {kIcmpWarning}, expectIcmp(4)},
    {"icmp count 255", setActive("icmpCount", 255), true, {}, expectIcmp(255)},
    {"icmp count 65537 wraps to 1", setActive("icmpCount", 65537), true, {}, expectIcmp(1)},
    {"icmp count 65536 wraps to 0",
     setActive("icmpCount", 65536),
     true,
     {kIcmpWarning},
     expectIcmp(4)},
    {"tcp port 70000 wraps",
     setActive("tcpPort", 70000),
     true,
     {},
     [](const WanConfig& c) { EXPECT_EQ(c.tcpPort, 4464); }},
    {"host name", setActive("hostname", "example.net"), true, {}, expectHost("example.net", Fqdn)},
    {"empty host name", setActive("hostname", ""), true, {}, expectHost("", Fqdn)},
    {"incomplete address", setActive("hostname", "192.0.2"), true, {}, expectHost("192.0.2", Fqdn)},
    {"monitor texts compared exactly",
     [](Json::Value& entry, Json::Value&) {
         entry["monitor"]["mode"] = "active";
         entry["monitor"]["active"]["type"] = "tcp";
     },
     true,
     {},
     [](const WanConfig& c) {
         EXPECT_EQ(c.monitorMode, Passive);
         EXPECT_EQ(c.checkType, Icmp);
     }},
    {"empty interface matches an inventory entry without one",
     [](Json::Value& entry, Json::Value& item) {
         entry.removeMember("interface");
         item.removeMember("interface");
         item["type"] = "LTE";
     },
     true,
     {},
     [](const WanConfig& c) {
         EXPECT_EQ(c.name, "");
         EXPECT_EQ(c.resolvFile, "/var/run/resolv_.conf");
     }},
};

TEST_F(ConfAnswer, EntryRules) {
    for (const EntryCase& c : kEntryCases) {
        SCOPED_TRACE(c.what);
        Json::Value answer = baseAnswer();
        c.tweak(entryOf(answer), itemOf(answer));
        ASSERT_TRUE(apply(answer, c.tables));
        EXPECT_EQ(conf.mode, Failover);
        EXPECT_EQ(linesAt(log, "WARNING"), c.warnings);
        ASSERT_EQ(conf.wanConfigs.size(), c.accepted ? 1u : 0u);
        if (c.accepted)
            c.check(conf.wanConfigs.front());
    }
}

TEST_F(ConfAnswer, ShortIntervalIsReportedExceptForCellular) {
    Json::Value answer = baseAnswer();
    Json::Value cellular = entryOf(answer);
    cellular["interface"] = "ppp0";
    answer["uplinker"]["wans"].append(cellular);
    answer["waninfo"]["wans"].append(
        parse(R"({"interface": "ppp0", "available": true, "enabled": true, "type": "CELLULAR"})"));
    entryOf(answer)["monitor"]["checkInterval"] = 7;
    ASSERT_TRUE(apply(answer));
    EXPECT_EQ(linesAt(log, "DEBUG"),
              Strings{"Config: setting short check interval for eth0 interface to 7 seconds"});
}

TEST_F(ConfAnswer, ModeTexts) {
    const struct {
        Json::Value mode;
        bool accepted;
        Mode expected;
    } cases[] = {{"CONSTANT", true, Constant},  {"FAILOVER", true, Failover},
                 {"failover", false, Constant}, {"Constant", false, Constant},
                 {"", false, Constant},         {Json::Value(), false, Constant},
                 {7, false, Constant}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.mode.toStyledString());
        Json::Value answer = baseAnswer();
        answer["uplinker"]["mode"] = c.mode;
        EXPECT_EQ(apply(answer), c.accepted);
        EXPECT_EQ(conf.mode, c.expected);
        EXPECT_EQ(conf.wanConfigs.size(), c.accepted ? 1u : 0u);
        // A refused mode is refused silently.
        if (!c.accepted) {
            EXPECT_TRUE(log.labelled().empty());
            expectRefused();
        }
    }
}

TEST_F(ConfAnswer, AnswerShapeIsCheckedFirst) {
    const char* const answers[] = {
        "null",
        "[1, 2]",
        "\"text\"",
        "{}",
        R"({"waninfo": {}})",
        R"({"uplinker": [], "waninfo": {}})",
        R"({"uplinker": null, "waninfo": {}})",
        R"({"uplinker": {"mode": "CONSTANT"}})",
        R"({"uplinker": {"mode": "CONSTANT"}, "waninfo": "x"})",
    };
    for (const char* text : answers) {
        SCOPED_TRACE(text);
        EXPECT_FALSE(apply(parse(text)));
        EXPECT_EQ(log.labelled(), Strings{"FATAL Conf::load: invalid API response"});
        expectRefused();
    }
}

TEST_F(ConfAnswer, WithoutInterfaceListNothingIsConfigured) {
    for (const char* text : {R"({"uplinker": {"mode": "CONSTANT"}, "waninfo": {}})",
                             R"({"uplinker": {"mode": "CONSTANT", "wans": null}, "waninfo": {}})",
                             R"({"uplinker": {"mode": "CONSTANT", "wans": []}, "waninfo": {}})"}) {
        SCOPED_TRACE(text);
        EXPECT_TRUE(apply(parse(text)));
        EXPECT_EQ(conf.mode, Constant);
        EXPECT_TRUE(conf.wanConfigs.empty());
        EXPECT_TRUE(log.has("  Number of wan interfaces [0]"));
    }
}

TEST_F(ConfAnswer, WithoutInventoryEveryEntryIsDroppedSilently) {
    Json::Value answer = baseAnswer();
    answer["waninfo"].removeMember("wans");
    EXPECT_TRUE(apply(answer));
    EXPECT_TRUE(conf.wanConfigs.empty());
    EXPECT_TRUE(linesAt(log, "WARNING").empty());
}

TEST_F(ConfAnswer, FirstInventoryEntryOfANameWins) {
    Json::Value answer = baseAnswer();
    answer["waninfo"]["wans"].insert(
        0, parse(R"({"interface": "eth0", "available": true, "enabled": false, "type": "WIFI"})"));
    ASSERT_TRUE(apply(answer));
    ASSERT_EQ(conf.wanConfigs.size(), 1u);
    EXPECT_EQ(conf.wanConfigs.front().type, Wifi);
    EXPECT_FALSE(conf.wanConfigs.front().enabled);
    EXPECT_EQ(conf.wanConfigs.front().routeTable, 100);
}

TEST_F(ConfAnswer, EntriesKeepArrayOrderAndCarryNothingOver) {
    Json::Value answer = baseAnswer();
    answer["uplinker"]["wans"].append(parse(R"({"interface": "wlan9"})"));
    answer["uplinker"]["wans"].append(parse(R"({"interface": "eth0", "priority": 1})"));
    ASSERT_TRUE(apply(answer));
    ASSERT_EQ(conf.wanConfigs.size(), 2u);
    const WanConfig& second = conf.wanConfigs.back();
    EXPECT_EQ(conf.wanConfigs.front().priority, 2u);
    EXPECT_EQ(second.name, "eth0");
    EXPECT_EQ(second.priority, 1u);
    EXPECT_EQ(second.weight, 0u);
    EXPECT_EQ(second.monitorMode, Passive);
    EXPECT_EQ(second.checkType, Icmp);
    EXPECT_EQ(second.hostname, "");
    EXPECT_EQ(second.tcpPort, 0);
    EXPECT_EQ(second.icmpCount, 4);
    EXPECT_EQ(second.checkInterval, 60u);
}

TEST_F(ConfAnswer, WithoutRouteTablesOnlyCellularAndUnknownRemain) {
    Json::Value answer = parse(R"({
      "uplinker": {"mode": "CONSTANT", "wans": [
        {"interface": "eth0", "monitor": {"checkInterval": 30,
                                          "active": {"icmpCount": 4}}},
        {"interface": "wlan0", "monitor": {"checkInterval": 30,
                                           "active": {"icmpCount": 4}}},
        {"interface": "ppp0", "monitor": {"checkInterval": 30,
                                          "active": {"icmpCount": 4}}}]},
      "waninfo": {"wans": [
        {"interface": "eth0", "available": true, "type": "ETHERNET"},
        {"interface": "wlan0", "available": true, "type": "WIFI"},
        {"interface": "ppp0", "available": true, "type": "CELLULAR"}]}})");
    ASSERT_TRUE(apply(answer, {}));
    EXPECT_EQ(linesAt(log, "WARNING"),
              (Strings{"Failed to find route table for eth0 interface. Skipping wan interface.",
                       "Failed to find route table for wlan0 interface. Skipping wan interface.",
                       "Failed to find route table for ppp0 interface. Using default value."}));
    ASSERT_EQ(conf.wanConfigs.size(), 1u);
    EXPECT_EQ(conf.wanConfigs.front().name, "ppp0");
    EXPECT_EQ(conf.wanConfigs.front().routeTable, 0);
}

} // namespace
