#include <functional>

#include "conf_test_util.h"

namespace {

using namespace conftest;

using Tweak = std::function<void(Json::Value& entry, Json::Value& item)>;
using Check = std::function<void(const WanConfig&)>;

struct EntryCase {
    const char* what;
    Tweak tweak;
    Strings warnings;
    Check check; // nullptr: the entry is dropped
    Tables tables = kTables;
};

Tweak none() {
    return [](Json::Value&, Json::Value&) {};
}
Tweak onItem(const char* key, Json::Value value) {
    return [key, value](Json::Value&, Json::Value& item) { item[key] = value; };
}
Tweak withoutItem(const char* key) {
    return [key](Json::Value&, Json::Value& item) { item.removeMember(key); };
}
Tweak onMonitor(const char* key, Json::Value value) {
    return [key, value](Json::Value& entry, Json::Value&) { entry["monitor"][key] = value; };
}
Tweak onActive(const char* key, Json::Value value) {
    return
        [key, value](Json::Value& entry, Json::Value&) { entry["monitor"]["active"][key] = value; };
}
Tweak rename(const char* name, const char* type, Json::Value interval = Json::Value()) {
    return [=](Json::Value& entry, Json::Value& item) {
        entry["interface"] = name;
        item["interface"] = name;
        item["type"] = type;
        if (!interval.isNull())
            entry["monitor"]["checkInterval"] = interval;
    };
}
Check intervals(unsigned check, unsigned shortCheck) {
    return [=](const WanConfig& c) {
        EXPECT_EQ(c.checkInterval, check);
        EXPECT_EQ(c.shortCheckInterval, shortCheck);
    };
}
Check icmp(uint16_t count) {
    return [count](const WanConfig& c) { EXPECT_EQ(c.icmpCount, count); };
}
Check host(const char* name) {
    return [name](const WanConfig& c) {
        EXPECT_EQ(c.hostname, name);
        EXPECT_EQ(c.hostKind, Fqdn);
    };
}
Check typeAndTable(WanType type, int table) {
    return [=](const WanConfig& c) {
        EXPECT_EQ(c.type, type);
        EXPECT_EQ(c.routeTable, table);
    };
}
Check enabled(bool on) {
    return [on](const WanConfig& c) { EXPECT_EQ(c.enabled, on); };
}

const char* const kInterval = "Config: invalid check interval value";
const char* const kIcmp = "Config: invalid icmp count value";
const char* const kSkipped = " interface. Skipping wan interface.";

const std::vector<EntryCase> kEntryCases = {
    {"every setting given",
     none(),
     {},
     [](const WanConfig& c) {
         EXPECT_EQ(c.name, "eth0");
         EXPECT_TRUE(c.enabled);
         EXPECT_EQ(c.priority, 2u);
         EXPECT_EQ(c.weight, 7u);
         EXPECT_EQ(c.monitorMode, Active);
         intervals(30, 10)(c);
         EXPECT_EQ(c.checkType, Tcp);
         EXPECT_EQ(c.hostname, "192.0.2.1");
         EXPECT_EQ(c.hostKind, Ipv4);
         EXPECT_EQ(c.tcpPort, 443);
         EXPECT_EQ(c.icmpCount, 3);
         EXPECT_EQ(c.resolvFile, "/var/run/resolv_eth0.conf");
         typeAndTable(Ethernet, 100)(c);
     }},
    {"no inventory entry of that name", onItem("interface", "eth1"), {}, nullptr},
    {"inventory name differs in case", onItem("interface", "ETH0"), {}, nullptr},
    {"unavailable", onItem("available", false), {}, nullptr},
    {"availability absent", withoutItem("available"), {}, nullptr},
    {"disabled interface is kept", onItem("enabled", false), {}, enabled(false)},
    {"enabled absent", withoutItem("enabled"), {}, enabled(false)},
    {"unknown type needs no table", rename("lte0", "LTE"), {}, typeAndTable(Unknown, 0)},
    {"type absent", withoutItem("type"), {}, typeAndTable(Unknown, 0)},
    {"type in lower case is unknown", onItem("type", "ethernet"), {}, typeAndTable(Unknown, 0)},
    {"cellular ppp0 takes the table named cellular",
     rename("ppp0", "CELLULAR"),
     {},
     [](const WanConfig& c) {
         typeAndTable(Cellular, 102)(c);
         intervals(30, 30)(c);
     }},
    {"cellular without a cellular table keeps table 0",
     rename("ppp0", "CELLULAR"),
     {"Failed to find route table for ppp0 interface. Using default value."},
     typeAndTable(Cellular, 0),
     {{"ppp0", 999}}},
    {"ethernet without a table is dropped",
     none(),
     {std::string("Failed to find route table for eth0") + kSkipped},
     nullptr,
     {{"cellular", 102}}},
    {"wifi with a table", rename("wlan0", "WIFI"), {}, typeAndTable(Wifi, 101)},
    {"wifi without a table is dropped",
     rename("wlan5", "WIFI"),
     {std::string("Failed to find route table for wlan5") + kSkipped},
     nullptr},
    {"entry without monitor",
     [](Json::Value& entry, Json::Value&) { entry.removeMember("monitor"); },
     {kInterval, kIcmp},
     [](const WanConfig& c) {
         intervals(60, 10)(c);
         EXPECT_EQ(c.monitorMode, Passive);
         EXPECT_EQ(c.checkType, Icmp);
         host("")(c);
         EXPECT_EQ(c.icmpCount, 4);
         EXPECT_EQ(c.tcpPort, 0);
     }},
    {"check interval 0", onMonitor("checkInterval", 0), {kInterval}, intervals(60, 10)},
    {"check interval 5", onMonitor("checkInterval", 5), {}, intervals(5, 5)},
    {"check interval 300", onMonitor("checkInterval", 300), {}, intervals(300, 10)},
    {"cellular check interval 300", rename("ppp0", "CELLULAR", 300), {}, intervals(300, 300)},
    {"icmp count 0", onActive("icmpCount", 0), {kIcmp}, icmp(4)},
    {"icmp count 256", onActive("icmpCount", 256), {kIcmp}, icmp(4)},
    {"icmp count 255", onActive("icmpCount", 255), {}, icmp(255)},
    {"icmp count 65537 wraps to 1", onActive("icmpCount", 65537), {}, icmp(1)},
    {"icmp count 65536 wraps to 0", onActive("icmpCount", 65536), {kIcmp}, icmp(4)},
    {"tcp port 70000 wraps",
     onActive("tcpPort", 70000),
     {},
     [](const WanConfig& c) { EXPECT_EQ(c.tcpPort, 4464); }},
    {"host name", onActive("hostname", "example.net"), {}, host("example.net")},
    {"empty host name", onActive("hostname", ""), {}, host("")},
    {"incomplete address", onActive("hostname", "192.0.2"), {}, host("192.0.2")},
    {"monitor texts compared exactly",
     [](Json::Value& entry, Json::Value&) {
         entry["monitor"]["mode"] = "active";
         entry["monitor"]["active"]["type"] = "tcp";
     },
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
        ASSERT_EQ(conf.wanConfigs.size(), c.check ? 1u : 0u);
        if (c.check)
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

TEST_F(ConfAnswer, ModeTextsAreComparedExactlyAndRefusedSilently) {
    const std::pair<Json::Value, Mode> accepted[] = {{"CONSTANT", Constant},
                                                     {"FAILOVER", Failover}};
    for (const auto& c : accepted) {
        Json::Value answer = baseAnswer();
        answer["uplinker"]["mode"] = c.first;
        EXPECT_TRUE(apply(answer));
        EXPECT_EQ(conf.mode, c.second);
        EXPECT_EQ(conf.wanConfigs.size(), 1u);
    }
    for (const Json::Value& mode : {Json::Value("failover"), Json::Value("Constant"),
                                    Json::Value(""), Json::Value(), Json::Value(7)}) {
        SCOPED_TRACE(mode.toStyledString());
        Json::Value answer = baseAnswer();
        answer["uplinker"]["mode"] = mode;
        EXPECT_FALSE(apply(answer));
        EXPECT_TRUE(log.labelled().empty());
        expectRefused();
    }
}

TEST_F(ConfAnswer, AnswerShapeIsCheckedFirst) {
    for (const char* text :
         {"null", "[1, 2]", "\"text\"", "{}", R"({"waninfo": {}})",
          R"({"uplinker": [], "waninfo": {}})", R"({"uplinker": null, "waninfo": {}})",
          R"({"uplinker": {"mode": "CONSTANT"}})",
          R"({"uplinker": {"mode": "CONSTANT"}, "waninfo": "x"})"}) {
        SCOPED_TRACE(text);
        EXPECT_FALSE(apply(parse(text)));
        EXPECT_EQ(log.labelled(), Strings{"FATAL Conf::load: invalid API response"});
        expectRefused();
    }
}

TEST_F(ConfAnswer, WithoutInterfaceListNothingIsConfigured) {
    for (const char* wans : {"", R"(, "wans": null)", R"(, "wans": [])"}) {
        SCOPED_TRACE(wans);
        EXPECT_TRUE(apply(parse(std::string(R"({"uplinker": {"mode": "CONSTANT")") + wans +
                                R"(}, "waninfo": {}})")));
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
    typeAndTable(Wifi, 100)(conf.wanConfigs.front());
    EXPECT_FALSE(conf.wanConfigs.front().enabled);
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
    host("")(second);
    EXPECT_EQ(second.tcpPort, 0);
    EXPECT_EQ(second.icmpCount, 4);
    EXPECT_EQ(second.checkInterval, 60u);
}

TEST_F(ConfAnswer, WithoutRouteTablesOnlyCellularAndUnknownRemain) {
    Json::Value answer = parse(R"({"uplinker": {"mode": "CONSTANT", "wans": []},
      "waninfo": {"wans": [
        {"interface": "eth0", "available": true, "type": "ETHERNET"},
        {"interface": "wlan0", "available": true, "type": "WIFI"},
        {"interface": "ppp0", "available": true, "type": "CELLULAR"}]}})");
    for (const char* name : {"eth0", "wlan0", "ppp0"})
        answer["uplinker"]["wans"].append(
            parse(std::string(R"({"interface": ")") + name +
                  R"(", "monitor": {"checkInterval": 30, "active": {"icmpCount": 4}}})"));
    ASSERT_TRUE(apply(answer, {}));
    EXPECT_EQ(linesAt(log, "WARNING"),
              (Strings{std::string("Failed to find route table for eth0") + kSkipped,
                       std::string("Failed to find route table for wlan0") + kSkipped,
                       "Failed to find route table for ppp0 interface. Using default value."}));
    ASSERT_EQ(conf.wanConfigs.size(), 1u);
    EXPECT_EQ(conf.wanConfigs.front().name, "ppp0");
    EXPECT_EQ(conf.wanConfigs.front().routeTable, 0);
}

} // namespace
