#include "status_metrics.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <initializer_list>
#include <map>
#include <set>
#include <utility>

#include "app/switch_reason.h"

namespace tools {

namespace {

enum Metric {
    Running,
    BuildInfo,
    WanCurrent,
    WanUsable,
    WanLink,
    WanVerdicts,
    Switches,
    LastSwitch,
    WanLoss,
    WanLatency,
    LossFailure,
    LossRecovery,
    LatencyFailure,
    LatencyRecovery,
    MetricCount
};

struct Family {
    const char* name;
    const char* type;
    const char* help;
};

// In the order they are printed, which is the order of the enum.
const Family FAMILIES[MetricCount] = {
    {"uplinker_running", "gauge", "Whether the uplinker daemon runs (1) or not (0)."},
    {"uplinker_build_info", "gauge", "The version of uplinker, as a label; always 1."},
    {"uplinker_wan_current", "gauge", "1 for the WAN that carries the uplink, 0 for the others."},
    {"uplinker_wan_usable", "gauge", "Whether the WAN could carry the uplink now (1) or not (0)."},
    {"uplinker_wan_link", "gauge", "Whether the WAN's link is up (1) or not (0)."},
    {"uplinker_wan_verdicts_total", "counter",
     "Verdicts of the WAN's active check since the daemon started, by result."},
    {"uplinker_switches_total", "counter",
     "Moves of the uplink since the daemon started, its first choice included, by reason."},
    {"uplinker_last_switch_timestamp_seconds", "gauge",
     "When the uplink was last chosen, in seconds since the epoch."},
    {"uplinker_wan_loss_ratio", "gauge",
     "Share of the WAN's probe requests in its window that went unanswered."},
    {"uplinker_wan_latency_seconds", "gauge",
     "Mean round-trip time of the answered probe requests in the WAN's window."},
    {"uplinker_wan_loss_failure_ratio", "gauge", "The WAN's loss threshold for a failure."},
    {"uplinker_wan_loss_recovery_ratio", "gauge", "The WAN's loss threshold for a recovery."},
    {"uplinker_wan_latency_failure_seconds", "gauge", "The WAN's latency threshold for a failure."},
    {"uplinker_wan_latency_recovery_seconds", "gauge",
     "The WAN's latency threshold for a recovery."},
};

// The status gives loss in percent and times in milliseconds; the series take base units.
struct Threshold {
    const char* key;
    Metric metric;
    double scale;
};
const Threshold THRESHOLDS[] = {{"failure_loss", LossFailure, 100},
                                {"recovery_loss", LossRecovery, 100},
                                {"failure_latency_ms", LatencyFailure, 1000},
                                {"recovery_latency_ms", LatencyRecovery, 1000}};

const char* const RESULTS[] = {"up", "down", "failed"};

// The sample lines of each family, printed together after its HELP and TYPE lines.
using Samples = std::array<std::string, MetricCount>;

using Is = bool (Json::Value::*)() const;
constexpr Is FLAG = &Json::Value::isBool;
constexpr Is TEXT = &Json::Value::isString;
constexpr Is COUNT = &Json::Value::isUInt64;
constexpr Is NUMBER = &Json::Value::isNumeric;
constexpr Is OBJECT = &Json::Value::isObject;

// The status's fields, each taken only with the type it should have: a wrong one is noted,
// and null given in its place, so that nothing further on throws.
class Fields {
public:
    bool ok() const { return good; }
    // A member that must be there with that type.
    const Json::Value& need(const Json::Value& object, const char* key, Is is) {
        const Json::Value& value = member(object, key);
        return checked(value, (value.*is)());
    }
    // A member that may be absent or null, otherwise of that type; null when it is not there.
    const Json::Value& may(const Json::Value& object, const char* key, Is is) {
        const Json::Value& value = member(object, key);
        return checked(value, value.isNull() || (value.*is)());
    }

private:
    static const Json::Value& member(const Json::Value& object, const char* key) {
        static const Json::Value none;
        return object.isObject() && object.isMember(key) ? object[key] : none;
    }
    const Json::Value& checked(const Json::Value& value, bool right) {
        static const Json::Value none;
        good = good && right;
        return right ? value : none;
    }
    bool good = true;
};

// Backslash, double quote and line feed are what a label value must escape.
std::string labelValue(const std::string& text) {
    std::string out;
    for (const char c : text) {
        if (c == '\\' || c == '"')
            out += {'\\', c};
        else if (c == '\n')
            out += "\\n";
        else
            out += c;
    }
    return out;
}

std::string labels(std::initializer_list<std::pair<const char*, std::string>> pairs) {
    std::string out;
    for (const auto& [name, value] : pairs)
        out += (out.empty() ? "{" : ",") + std::string(name) + "=\"" + labelValue(value) + "\"";
    return out + "}";
}

std::string number(double value) {
    char text[32];
    (void)snprintf(text, sizeof text, "%.9g", value);
    return text;
}

void add(Samples& samples, Metric metric, const std::string& labelText, const std::string& value) {
    samples[metric] += FAMILIES[metric].name + labelText + " " + value + "\n";
}

std::string exposition(const Samples& samples) {
    std::string out;
    for (size_t metric = 0; metric < MetricCount; ++metric) {
        if (samples[metric].empty())
            continue;
        const Family& family = FAMILIES[metric];
        out += std::string("# HELP ") + family.name + " " + family.help + "\n# TYPE " +
               family.name + " " + family.type + "\n" + samples[metric];
    }
    return out;
}

void verdictSeries(Fields& fields, const Json::Value& wan, const std::string& name,
                   Samples& samples) {
    const Json::Value& counts = fields.may(wan, "verdicts", OBJECT);
    if (counts.isNull())
        return;
    for (const char* result : RESULTS)
        add(samples, WanVerdicts, labels({{"wan", name}, {"result", result}}),
            std::to_string(fields.need(counts, result, COUNT).asUInt64()));
}

// A measurement counts only once its window has judged; a threshold whenever it is set.
void qualitySeries(Fields& fields, const Json::Value& wan, const std::string& wanLabel,
                   Samples& samples) {
    const Json::Value& quality = fields.may(wan, "quality", OBJECT);
    if (quality.isNull())
        return;
    if (fields.need(quality, "judged", FLAG).asBool()) {
        const Json::Value& loss = fields.may(quality, "loss", NUMBER);
        if (!loss.isNull())
            add(samples, WanLoss, wanLabel, number(loss.asDouble() / 100));
        const Json::Value& latency = fields.may(quality, "latency_ms", NUMBER);
        if (!latency.isNull())
            add(samples, WanLatency, wanLabel, number(latency.asDouble() / 1000));
    }
    const Json::Value& thresholds = fields.may(quality, "thresholds", OBJECT);
    for (const Threshold& threshold : THRESHOLDS) {
        const Json::Value& value = fields.may(thresholds, threshold.key, NUMBER);
        if (!value.isNull())
            add(samples, threshold.metric, wanLabel, number(value.asDouble() / threshold.scale));
    }
}

// A name met twice would give duplicate series, which spoil the whole scrape; the first wins.
void wanSeries(Fields& fields, const Json::Value& status, Samples& samples) {
    const std::string uplink = fields.need(status, "current", TEXT).asString();
    std::set<std::string> seen;
    for (const Json::Value& wan : fields.need(status, "wans", &Json::Value::isArray)) {
        const std::string name = fields.need(wan, "name", TEXT).asString();
        if (!seen.insert(name).second)
            continue;
        const std::string wanLabel = labels({{"wan", name}});
        add(samples, WanCurrent, wanLabel, name == uplink ? "1" : "0");
        add(samples, WanUsable, wanLabel, fields.need(wan, "usable", FLAG).asBool() ? "1" : "0");
        add(samples, WanLink, wanLabel, fields.need(wan, "link", FLAG).asBool() ? "1" : "0");
        verdictSeries(fields, wan, name, samples);
        qualitySeries(fields, wan, wanLabel, samples);
    }
}

// Every reason gets a series from the start, so that the first move under it shows as an
// increase; a reason the tool does not know is counted as "other".
void switchSeries(Fields& fields, const Json::Value& status, Samples& samples) {
    std::map<std::string, uint64_t> counts;
    for (const char* reason : SWITCH_REASONS)
        counts[reason] = 0;
    const Json::Value& switches = fields.may(status, "switches", OBJECT);
    for (const std::string& reason : switches.getMemberNames()) {
        const uint64_t count = fields.need(switches, reason.c_str(), COUNT).asUInt64();
        counts[counts.count(reason) != 0 ? reason : "other"] += count;
    }
    for (const char* reason : SWITCH_REASONS)
        add(samples, Switches, labels({{"reason", reason}}), std::to_string(counts[reason]));
    const Json::Value& last = fields.may(status, "last_switch", OBJECT);
    if (!last.isNull())
        add(samples, LastSwitch, "",
            std::to_string(fields.need(last, "time", &Json::Value::isInt64).asInt64()));
}

} // namespace

std::string stoppedMetrics() {
    Samples samples;
    add(samples, Running, "", "0");
    return exposition(samples);
}

bool statusMetrics(const Json::Value& status, std::string& out) {
    Samples samples;
    Fields fields;
    add(samples, Running, "", "1");
    add(samples, BuildInfo, labels({{"version", UPLINKER_VERSION}}), "1");
    wanSeries(fields, status, samples);
    switchSeries(fields, status, samples);
    out = exposition(samples);
    return fields.ok();
}

} // namespace tools
