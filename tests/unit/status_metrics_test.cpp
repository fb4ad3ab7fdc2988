// The status file as Prometheus series. A row: a change to a running daemon's status (its
// top-level keys replace BASE's), then the sample lines it must give and, after a "!", texts
// found nowhere in its output; or a refusal when a field has the wrong type.
#include <gtest/gtest.h>
#include <sstream>

#include "status_metrics.h"

namespace {

struct Row {
    const char* name;
    std::string change;
    std::vector<std::string> samples; // none: refused
};

// eth0 carries the uplink, eth1 is probed and down, ppp0 is disabled.
const char* const BASE = R"({"mode": "Failover", "current": "eth0", "switches": {"start": 1},
 "last_switch": {"from": "", "to": "eth0", "time": 1764100000, "cause": "start"}, "wans": [
 {"name": "eth0", "link": true, "usable": true, "address": "10.0.0.2", "gateway": "10.0.0.1"},
 {"name": "eth1", "link": false, "usable": false, "verdicts": {"up": 0, "down": 0, "failed": 0}},
 {"name": "ppp0", "enabled": false, "link": true, "usable": false, "address": "10.0.3.2"}]})";

const std::string ETH0 = R"({"wans": [{"name": "eth0", "link": true, "usable": true, )";
const std::string JUDGED = ETH0 + R"("quality": {"loss": 45, "latency_ms": 1200.5, "judged": true,
 "thresholds": {"failure_loss": 40, "recovery_loss": 10.5, "failure_latency_ms": 1000, "recovery_latency_ms": 500}}}]})";

// A sample line of a WAN's series, and one of the switches by reason.
// clang-format off
std::string wan(const std::string& series, const char* name, const char* value) { return "uplinker_wan_" + series + "{wan=\"" + name + "\"} " + value; }
std::string moves(const std::string& reason, int n) { return "uplinker_switches_total{reason=\"" + reason + "\"} " + std::to_string(n); }
// clang-format on

// clang-format off
const Row ROWS[] = {
    {"an uplink, a WAN down without a verdict yet and a disabled one", "{}",
     {"uplinker_running 1", "uplinker_build_info{version=\"" UPLINKER_VERSION "\"} 1", wan("current", "eth0", "1"), wan("current", "eth1", "0"),
      wan("usable", "eth0", "1"), wan("usable", "ppp0", "0"), wan("link", "eth0", "1"), wan("link", "eth1", "0"), wan("link", "ppp0", "1"),
      "uplinker_last_switch_timestamp_seconds 1764100000", moves("start", 1), R"(uplinker_wan_verdicts_total{wan="eth1",result="up"} 0)",
      R"(uplinker_wan_verdicts_total{wan="eth1",result="down"} 0)", R"(uplinker_wan_verdicts_total{wan="eth1",result="failed"} 0)",
      "!verdicts_total{wan=\"eth0\"", "!verdicts_total{wan=\"ppp0\"", "!loss_ratio", "!latency_seconds", "!_failure_", "!_recovery_"}},
    {"no uplink, no switch yet", R"({"current": "", "last_switch": null, "switches": {}})",
     {wan("current", "eth0", "0"), moves("start", 0), "!_current{wan=\"eth1\"} 1", "!last_switch"}},
    {"verdicts by result; no latency when nothing answered",
     ETH0 + R"("verdicts": {"up": 7, "down": 3, "failed": 1}, "quality": {"loss": 100, "latency_ms": null, "judged": true}}]})",
     {R"(uplinker_wan_verdicts_total{wan="eth0",result="up"} 7)", R"(uplinker_wan_verdicts_total{wan="eth0",result="down"} 3)",
      R"(uplinker_wan_verdicts_total{wan="eth0",result="failed"} 1)", wan("loss_ratio", "eth0", "1"), "!latency_seconds"}},
    {"every reason", R"({"switches": {"start": 1, "carrier lost": 2, "link deleted": 3, "address removed": 4, "gateway removed": 5,
      "probe failed": 6, "modem disconnected": 7, "usable again": 8, "roaming lock ran out": 9, "roaming lock ended": 10, "loss": 11,
      "latency": 12, "other": 13}})",
     {moves("start", 1), moves("carrier lost", 2), moves("link deleted", 3), moves("address removed", 4), moves("gateway removed", 5),
      moves("probe failed", 6), moves("modem disconnected", 7), moves("usable again", 8), moves("roaming lock ran out", 9),
      moves("roaming lock ended", 10), moves("loss", 11), moves("latency", 12), moves("other", 13)}},
    // A cause the tool does not know, a WAN's name in it or not, is no new series.
    {"an unknown reason is other", R"({"switches": {"eth0: carrier lost": 2, "other": 1}})",
     {moves("other", 3), moves("carrier lost", 0), "!eth0:"}},
    {"a judged window gives loss, latency and the thresholds in base units", JUDGED,
     {wan("loss_ratio", "eth0", "0.45"), wan("latency_seconds", "eth0", "1.2005"), wan("loss_failure_ratio", "eth0", "0.4"),
      wan("loss_recovery_ratio", "eth0", "0.105"), wan("latency_failure_seconds", "eth0", "1"),
      wan("latency_recovery_seconds", "eth0", "0.5")}},
    {"a window that has not judged gives only the thresholds set",
     ETH0 + R"("quality": {"loss": 50, "latency_ms": 80, "judged": false, "thresholds": {"failure_loss": 40}}}]})",
     {wan("loss_failure_ratio", "eth0", "0.4"), "!loss_ratio", "!latency_seconds", "!_recovery_", "!latency_failure"}},
    {"a name is escaped as a label value", R"({"current": "a\"b\\c\nd", "wans": [{"name": "a\"b\\c\nd", "link": true, "usable": true}]})",
     {R"(uplinker_wan_current{wan="a\"b\\c\nd"} 1)"}},
    {"a name given twice gives its series once", R"({"wans": [{"name": "eth0", "link": true, "usable": true},
      {"name": "eth0", "link": false, "usable": false}]})", {wan("link", "eth0", "1"), R"(!{wan="eth0"} 0)"}},
    {"link a text", R"({"wans": [{"name": "eth0", "link": "up", "usable": true}]})", {}}, {"no name", R"({"wans": [{"link": true}]})", {}},
    {"wans not a list", R"({"wans": {"name": "eth0"}})", {}}, {"no current", R"({"current": null})", {}}, {"a negative count", R"({"switches": {"start": -1}})", {}},
    {"switches a list", R"({"switches": ["start"]})", {}}, {"a switch time a text", R"({"last_switch": {"time": "17:19"}})", {}},
    {"judged a text", ETH0 + R"("quality": {"judged": "yes"}}]})", {}}, {"a verdict count missing", ETH0 + R"("verdicts": {"up": 1}}]})", {}},
    {"a threshold a text", ETH0 + R"("quality": {"judged": false, "thresholds": {"failure_loss": "40"}}}]})", {}},
};
// clang-format on

} // namespace

TEST(StatusMetrics, SeriesOfTheStatus) {
    for (const Row& row : ROWS) {
        SCOPED_TRACE(row.name);
        Json::Value status, change;
        std::istringstream(BASE) >> status;
        std::istringstream(row.change) >> change;
        for (const std::string& key : change.getMemberNames())
            status[key] = change[key];
        std::string out;
        EXPECT_EQ(tools::statusMetrics(status, out), !row.samples.empty());
        const std::string lines = "\n" + out;
        EXPECT_EQ(lines.find("10.0."), std::string::npos) << "an address is never a label";
        for (const std::string& sample : row.samples) {
            const bool absent = sample[0] == '!';
            const std::string text = absent ? sample.substr(1) : "\n" + sample + "\n";
            EXPECT_EQ(lines.find(text) == std::string::npos, absent) << sample;
        }
    }
}
