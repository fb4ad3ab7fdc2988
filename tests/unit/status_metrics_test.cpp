// The status file as Prometheus series: each row a status (a change to one of a running
// daemon), the sample lines it must give and texts that must appear nowhere, or no series at
// all when a field has the wrong type.
#include <gtest/gtest.h>
#include <json/json.h>
#include <sstream>

#include "status_metrics.h"

namespace {

struct MetricsRow {
    const char* name;
    std::string change; // top-level keys replacing the base status's
    std::vector<std::string> samples;
    std::vector<std::string> absent = {};
    bool readable = true;
};

const char* const BASE = R"({"mode": "Failover", "current": "eth0", "lock": null,
 "wans": [{"name": "eth0", "link": true, "usable": true, "address": "10.0.0.2",
           "gateway": "10.0.0.1", "monitor": "Passive"},
          {"name": "eth1", "link": false, "usable": false, "address": "10.0.1.2",
           "gateway": "10.0.1.1", "monitor": "Active", "verdicts": {"up": 0, "down": 0, "failed": 0}},
          {"name": "ppp0", "enabled": false, "link": true, "usable": false, "address": "10.0.3.2",
           "gateway": "10.0.3.1", "modem": false}],
 "last_switch": {"from": "", "to": "eth0", "time": 1764100000, "cause": "start"},
 "switches": {"start": 1}})";

// Every reason the daemon counts under, each met a different number of times.
const char* const EVERY_REASON = R"({"switches": {"start": 1, "carrier lost": 2, "link deleted": 3,
 "address removed": 4, "gateway removed": 5, "probe failed": 6, "modem disconnected": 7,
 "usable again": 8, "roaming lock ran out": 9, "roaming lock ended": 10, "loss": 11,
 "latency": 12, "other": 13}})";
const std::string EVERY_REASON_SERIES[] = {
    R"(uplinker_switches_total{reason="start"} 1)",
    R"(uplinker_switches_total{reason="carrier lost"} 2)",
    R"(uplinker_switches_total{reason="link deleted"} 3)",
    R"(uplinker_switches_total{reason="address removed"} 4)",
    R"(uplinker_switches_total{reason="gateway removed"} 5)",
    R"(uplinker_switches_total{reason="probe failed"} 6)",
    R"(uplinker_switches_total{reason="modem disconnected"} 7)",
    R"(uplinker_switches_total{reason="usable again"} 8)",
    R"(uplinker_switches_total{reason="roaming lock ran out"} 9)",
    R"(uplinker_switches_total{reason="roaming lock ended"} 10)",
    R"(uplinker_switches_total{reason="loss"} 11)",
    R"(uplinker_switches_total{reason="latency"} 12)",
    R"(uplinker_switches_total{reason="other"} 13)"};

std::string quality(const char* fields) {
    return std::string(R"({"wans": [{"name": "eth0", "link": true, "usable": true, "quality": )") +
           fields + "}]}";
}
const std::string JUDGED = quality(R"({"requests": 20, "loss": 45, "latency_ms": 1200.5,
 "judged": true, "thresholds": {"failure_loss": 40, "recovery_loss": 10.5,
 "failure_latency_ms": 1000, "recovery_latency_ms": 500}})");
const std::string UNJUDGED = quality(R"({"requests": 4, "loss": 50, "latency_ms": 80,
 "judged": false, "thresholds": {"failure_loss": 40}})");
const std::string NOTHING_ANSWERED =
    quality(R"({"requests": 10, "loss": 100, "latency_ms": null, "judged": true})");

const std::string LOSS = "uplinker_wan_loss_ratio", LATENCY = "uplinker_wan_latency_seconds";

// clang-format off
const MetricsRow ROWS[] = {
    {"an uplink, a WAN down and a disabled one", "{}",
     {"uplinker_running 1", "uplinker_build_info{version=\"" UPLINKER_VERSION "\"} 1",
      R"(uplinker_wan_current{wan="eth0"} 1)", R"(uplinker_wan_current{wan="eth1"} 0)",
      R"(uplinker_wan_current{wan="ppp0"} 0)", R"(uplinker_wan_usable{wan="eth0"} 1)",
      R"(uplinker_wan_usable{wan="eth1"} 0)", R"(uplinker_wan_usable{wan="ppp0"} 0)",
      R"(uplinker_wan_link{wan="eth0"} 1)", R"(uplinker_wan_link{wan="eth1"} 0)",
      R"(uplinker_wan_link{wan="ppp0"} 1)", "uplinker_last_switch_timestamp_seconds 1764100000",
      R"(uplinker_switches_total{reason="carrier lost"} 0)"},
     {"verdicts_total{wan=\"eth0\"", "verdicts_total{wan=\"ppp0\"", LOSS, LATENCY, "_failure_",
      "_recovery_"}},
    {"no uplink, no switch yet", R"({"current": "", "last_switch": null, "switches": {}})",
     {R"(uplinker_wan_current{wan="eth0"} 0)", R"(uplinker_switches_total{reason="start"} 0)"},
     {"_current{wan=\"eth1\"} 1", "_current{wan=\"ppp0\"} 1", "last_switch"}},
    {"an active WAN without a verdict yet counts none of each result", "{}",
     {R"(uplinker_wan_verdicts_total{wan="eth1",result="up"} 0)",
      R"(uplinker_wan_verdicts_total{wan="eth1",result="down"} 0)",
      R"(uplinker_wan_verdicts_total{wan="eth1",result="failed"} 0)"}},
    {"verdicts by result", R"({"wans": [{"name": "eth0", "link": true, "usable": true,
      "verdicts": {"up": 7, "down": 3, "failed": 1}}]})",
     {R"(uplinker_wan_verdicts_total{wan="eth0",result="up"} 7)",
      R"(uplinker_wan_verdicts_total{wan="eth0",result="down"} 3)",
      R"(uplinker_wan_verdicts_total{wan="eth0",result="failed"} 1)"}},
    {"every reason", EVERY_REASON, {std::begin(EVERY_REASON_SERIES), std::end(EVERY_REASON_SERIES)}},
    // A cause the tool does not know, a WAN's name included, is no new series.
    {"an unknown reason is other", R"({"switches": {"eth0: carrier lost": 2, "other": 1}})",
     {R"(uplinker_switches_total{reason="other"} 3)",
      R"(uplinker_switches_total{reason="carrier lost"} 0)"}, {"eth0:"}},
    {"a judged window gives loss, latency and the thresholds in base units", JUDGED,
     {LOSS + R"({wan="eth0"} 0.45)", LATENCY + R"({wan="eth0"} 1.2005)",
      R"(uplinker_wan_loss_failure_ratio{wan="eth0"} 0.4)",
      R"(uplinker_wan_loss_recovery_ratio{wan="eth0"} 0.105)",
      R"(uplinker_wan_latency_failure_seconds{wan="eth0"} 1)",
      R"(uplinker_wan_latency_recovery_seconds{wan="eth0"} 0.5)"}},
    {"a window that has not judged gives only the thresholds set", UNJUDGED,
     {R"(uplinker_wan_loss_failure_ratio{wan="eth0"} 0.4)"},
     {LOSS, LATENCY, "loss_recovery", "latency_failure", "latency_recovery"}},
    {"no latency when nothing answered", NOTHING_ANSWERED, {LOSS + R"({wan="eth0"} 1)"},
     {LATENCY}},
    {"a name is escaped as a label value", R"({"current": "a\"b\\c\nd", "wans": [{"name":
      "a\"b\\c\nd", "link": true, "usable": true}]})",
     {R"(uplinker_wan_current{wan="a\"b\\c\nd"} 1)"}},
    {"a name given twice gives its series once", R"({"wans": [{"name": "eth0", "link": true,
      "usable": true}, {"name": "eth0", "link": false, "usable": false}]})",
     {R"(uplinker_wan_link{wan="eth0"} 1)"}, {R"(uplinker_wan_link{wan="eth0"} 0)"}},
    {"link not a flag", R"({"wans": [{"name": "eth0", "link": "up", "usable": true}]})", {}, {}, false},
    {"a WAN without a name", R"({"wans": [{"link": true, "usable": true}]})", {}, {}, false},
    {"wans not a list", R"({"wans": {"name": "eth0"}})", {}, {}, false},
    {"no current", R"({"current": null})", {}, {}, false},
    {"a negative count", R"({"switches": {"start": -1}})", {}, {}, false},
    {"switches not an object", R"({"switches": ["start"]})", {}, {}, false},
    {"a verdict count missing", R"({"wans": [{"name": "eth0", "link": true, "usable": true,
      "verdicts": {"up": 1, "down": 0}}]})", {}, {}, false},
    {"judged not a flag", quality(R"({"judged": "yes"})"), {}, {}, false},
    {"a threshold not a number", quality(R"({"judged": false, "thresholds": {"failure_loss": "40"}})"),
     {}, {}, false},
    {"a switch time not a number", R"({"last_switch": {"time": "17:19"}})", {}, {}, false},
};
// clang-format on

Json::Value parsed(const std::string& text) {
    Json::Value value;
    std::istringstream input(text);
    std::string errors;
    EXPECT_TRUE(Json::parseFromStream(Json::CharReaderBuilder(), input, &value, &errors)) << errors;
    return value;
}

std::vector<std::string> sampleLines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream input(text);
    for (std::string line; std::getline(input, line);)
        if (line.compare(0, 1, "#") != 0)
            lines.push_back(line);
    return lines;
}

} // namespace

TEST(StatusMetrics, SeriesOfTheStatus) {
    for (const MetricsRow& row : ROWS) {
        SCOPED_TRACE(row.name);
        Json::Value status = parsed(BASE);
        const Json::Value change = parsed(row.change);
        for (const std::string& key : change.getMemberNames())
            status[key] = change[key];
        std::string out = "left alone";
        EXPECT_EQ(tools::statusMetrics(status, out), row.readable);
        if (!row.readable) {
            EXPECT_EQ(out, "");
            continue;
        }
        const std::vector<std::string> lines = sampleLines(out);
        for (const std::string& sample : row.samples)
            EXPECT_NE(std::find(lines.begin(), lines.end(), sample), lines.end()) << sample;
        for (const std::string& text : row.absent)
            EXPECT_EQ(out.find(text), std::string::npos) << text;
        EXPECT_EQ(out.find("10.0."), std::string::npos) << "an address is never a label";
    }
}

TEST(StatusMetrics, StoppedDaemonIsThatAlone) {
    EXPECT_EQ(sampleLines(tools::stoppedMetrics()), std::vector<std::string>{"uplinker_running 0"});
}
