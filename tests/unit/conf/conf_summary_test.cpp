#include "conf_test_util.h"

namespace {

using conftest::ConfAnswer;
using conftest::linesAt;
using conftest::parse;
using conftest::Strings;

// Ethernet, Wi-Fi, a cellular ppp0 and an interface of a type the daemon does not know.
const char* const kMixedAnswer = R"({
  "uplinker": {"mode": "FAILOVER", "wans": [
    {"interface": "eth0", "priority": 1, "weight": 10,
     "monitor": {"checkInterval": 30, "mode": "ACTIVE",
                 "active": {"type": "TCP", "hostname": "192.0.2.1", "icmpCount": 3,
                            "tcpPort": 443}}},
    {"interface": "wlan0", "priority": 2, "weight": 20,
     "monitor": {"checkInterval": 5, "mode": "PASSIVE",
                 "active": {"type": "ICMP", "hostname": "example.net", "icmpCount": 4}}},
    {"interface": "ppp0", "priority": 3,
     "monitor": {"checkInterval": 300, "mode": "ACTIVE",
                 "active": {"icmpCount": 255}}},
    {"interface": "lte0", "priority": 4,
     "monitor": {"checkInterval": 60, "active": {"icmpCount": 2, "tcpPort": 70000}}}]},
  "waninfo": {"wans": [
    {"interface": "ppp0", "available": true, "enabled": true, "type": "CELLULAR"},
    {"interface": "wlan0", "available": true, "enabled": false, "type": "WIFI"},
    {"interface": "lte0", "available": true, "enabled": true, "type": "LTE"},
    {"interface": "eth0", "available": true, "enabled": true, "type": "ETHERNET"}]}})";

TEST_F(ConfAnswer, SummaryOfMixedConfiguration) {
    ASSERT_TRUE(apply(parse(kMixedAnswer)));
    EXPECT_EQ(linesAt(log, "INFO"),
              (Strings{
                  "Configuration loaded:",
                  "  Uplinker mode [Failover]",
                  "  Number of wan interfaces [4]",
                  "  ETHERNET: [eth0 ] - enabled , Prio/W [1/10], [Active][Tcp], Interval [30], "
                  "Tcp [:443], Icmp [#3], Host [ipv4: 192.0.2.1]",
                  "  WIFI    : [wlan0] - disabled, Prio/W [2/20], [Passive][Icmp], Interval [5 ], "
                  "Tcp [:0], Icmp [#4], Host [fqdn: example.net]",
                  "  PPP     : [ppp0 ] - enabled , Prio/W [3/0], [Active][Icmp], Interval [300], "
                  "Tcp [:0], Icmp [#255], Host [fqdn: ]",
                  "  Unknown : [lte0 ] - enabled , Prio/W [4/0], [Passive][Icmp], Interval [60], "
                  "Tcp [:4464], Icmp [#2], Host [fqdn: ]",
              }));
    EXPECT_TRUE(linesAt(log, "WARNING").empty());
    ASSERT_EQ(conf.wanConfigs.size(), 4u);
    EXPECT_EQ(conf.wanConfigs.front().routeTable, 100);
    EXPECT_EQ(std::next(conf.wanConfigs.begin(), 2)->routeTable, 102);
}

TEST_F(ConfAnswer, SummaryIsLeftOutBelowItsLevel) {
    VRX::Logger::setPrintLevel(VRX::Logger::PrintLevel::WARNING_LEVEL, true);
    ASSERT_TRUE(apply(parse(kMixedAnswer)));
    EXPECT_TRUE(log.labelled().empty());
    EXPECT_EQ(conf.wanConfigs.size(), 4u);
}

} // namespace
