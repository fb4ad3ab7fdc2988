// The status file's content: the engine's choice, the roaming lock, every WAN in table order
// and the last switch, as one JSON object whose strings the library escapes.
#include <iterator>
#include <json/json.h>

#include "app/app.h"
#include "support/ipv4_text.h"

namespace {

std::string addressText(uint32_t address) {
    return address == NO_ADDRESS ? "" : dottedQuad(address);
}

Json::Value verdictStatus(const StatusReport::Verdict& verdict) {
    if (*verdict.result == '\0')
        return Json::nullValue;
    Json::Value out;
    out["result"] = verdict.result;
    out["time"] = Json::Int64{verdict.time};
    if (verdict.counted) {
        out["answered"] = verdict.answered;
        out["probed"] = verdict.probed;
    }
    return out;
}

// Verdicts counted toward a change of the active result, for a WAN whose changes are damped.
Json::Value pendingStatus(const Wan& wan) {
    if (wan.pendingCount == 0)
        return Json::nullValue;
    Json::Value out;
    out["toward"] = wan.pendingUp ? "up" : "down";
    out["count"] = wan.pendingCount;
    out["needed"] = wan.pendingUp ? wan.config.upCount : wan.config.downCount;
    return out;
}

Json::Value orNull(const char* text) {
    return text != nullptr ? Json::Value(text) : Json::Value(Json::nullValue);
}

Json::Value thresholdsStatus(const QualityThresholds& thresholds) {
    Json::Value out(Json::objectValue);
    if (thresholds.loss) {
        out["failure_loss"] = thresholds.failureLoss;
        out["recovery_loss"] = thresholds.recoveryLoss;
    }
    if (thresholds.latency) {
        out["failure_latency_ms"] = thresholds.failureLatency;
        out["recovery_latency_ms"] = thresholds.recoveryLatency;
    }
    return out;
}

// The window of a WAN judged by its loss and latency, and what decided its last verdict.
Json::Value qualityStatus(const Wan& wan) {
    const QualityWindow& window = wan.quality.window();
    Json::Value out;
    out["requests"] = static_cast<Json::UInt>(window.requests());
    out["loss"] =
        window.requests() > 0 ? Json::Value(window.lossPercent()) : Json::Value(Json::nullValue);
    double latency = 0;
    out["latency_ms"] =
        window.meanLatencyMs(latency) ? Json::Value(latency) : Json::Value(Json::nullValue);
    out["judged"] = window.judged();
    out["judgement"] = orNull(judgementName(wan.quality.judgement()));
    out["decided_by"] = orNull(wan.quality.decidedBy());
    out["thresholds"] = thresholdsStatus(wan.config.quality);
    return out;
}

Json::Value verdictCounts(const StatusReport::VerdictCounts& counts) {
    Json::Value out;
    out["up"] = Json::UInt64{counts.up};
    out["down"] = Json::UInt64{counts.down};
    out["failed"] = Json::UInt64{counts.failed};
    return out;
}

Json::Value wanStatus(const Wan& wan, const StatusReport& status, size_t index) {
    const StatusReport::Verdict verdict = status.verdict(index);
    Json::Value out;
    out["name"] = wan.ifname;
    out["type"] = wanTypeName(wan.config.type);
    out["enabled"] = wan.config.enabled;
    out["monitor"] = monitorModeName(wan.config.monitorMode);
    out["link"] = wan.up;
    out["address"] = addressText(wan.address.load(std::memory_order_relaxed));
    out["gateway"] = addressText(wan.gateway);
    if (wan.ifname == CELLULAR_WAN)
        out["modem"] = wan.misc;
    if (wan.config.monitorMode == MonitorMode::Active) {
        out["active_result"] = wan.activeResult;
        out["check"] = checkStateName(wan.readCheckState());
        out["verdict"] = verdictStatus(verdict);
        out["verdicts"] = verdictCounts(status.verdictCounts(index));
        if (wan.config.upCount > 1 || wan.config.downCount > 1)
            out["pending"] = pendingStatus(wan);
        if (wan.config.quality.any())
            out["quality"] = qualityStatus(wan);
    }
    out["usable"] = wan.inet();
    return out;
}

Json::Value switchStatus(const StatusReport::Switch& last) {
    if (!last.made)
        return Json::nullValue;
    Json::Value out;
    out["from"] = last.from;
    out["to"] = last.to;
    out["time"] = Json::Int64{last.time};
    out["cause"] = last.cause;
    return out;
}

// What the file shows of a WAN beside its configuration, as numbers: a burst of events about
// the WAN that change none of them costs no rebuild.
void appendShown(const Wan& wan, std::vector<int64_t>& shown) {
    const int64_t values[] = {wan.up,
                              wan.misc,
                              int64_t{wan.address.load(std::memory_order_relaxed)},
                              int64_t{wan.gateway},
                              wan.activeResult,
                              static_cast<int64_t>(wan.readCheckState()),
                              int64_t{wan.pendingCount},
                              wan.pendingUp,
                              wan.inet(),
                              static_cast<int64_t>(wan.quality.window().requests()),
                              static_cast<int64_t>(wan.quality.judgement())};
    shown.insert(shown.end(), std::begin(values), std::end(values));
}

} // namespace

void App::publishStatus() {
    shown.clear();
    const int64_t choice[] = {currentWan, lockedWan, lockedUntil};
    shown.insert(shown.end(), std::begin(choice), std::end(choice));
    for (const Wan& wan : wans)
        appendShown(wan, shown);
    if (status.due(shown))
        writeStatus("running");
}

void App::writeStatus(const char* phase) {
    const bool decided = std::string(phase) == "running";
    ++builds;
    Json::Value root;
    root["phase"] = phase;
    root["pid"] = Json::Int64{status.writerPid()};
    root["start_time"] = Json::UInt64{status.writerStartTime()};
    // Before its configuration the daemon has no mode, and has decided nothing.
    root["mode"] = decided ? modeName(mode) : "";
    const Wan* current = wanAt(currentWan);
    root["current"] = current != nullptr ? current->ifname : "";
    const Wan* locked = wanAt(lockedWan);
    root["lock"] = Json::nullValue;
    if (locked != nullptr) {
        root["lock"]["wan"] = locked->ifname;
        root["lock"]["until"] = Json::Int64{StatusReport::wallSeconds(lockedUntil)};
    }
    root["wans"] = Json::arrayValue;
    for (size_t index = 0; index < wans.size(); ++index)
        root["wans"].append(wanStatus(wans[index], status, index));
    root["last_switch"] = switchStatus(status.lastSwitch());
    root["switches"] = Json::objectValue;
    for (const auto& [reason, count] : status.switchCounts())
        root["switches"][reason] = Json::UInt64{count};
    Json::StreamWriterBuilder builder;
    builder["indentation"] = " ";
    // Loss and latency, the only fractions in the file, to a tenth.
    builder["precision"] = 1;
    builder["precisionType"] = "decimal";
    status.publish(Json::writeString(builder, root) + "\n");
}
