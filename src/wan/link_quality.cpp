#include "wan/link_quality.h"

#include <cmath>

namespace {

// Truncated, so a shown value never exceeds what was measured and "≥" stays true of it.
std::string crossingText(const char* kind, double value, uint32_t threshold, const char* unit) {
    return std::string(kind) + " " + std::to_string(static_cast<uint64_t>(std::floor(value))) +
           " " + unit + " \u2265 " + std::to_string(threshold) + " " + unit;
}

} // namespace

void LinkQuality::take(const std::vector<ProbeReport>& reports,
                       const QualityThresholds& thresholds) {
    for (const ProbeReport& report : reports)
        window_.add(report);
    if (!window_.judged())
        return;
    if (const char* kind = failureCrossed(thresholds)) {
        judgement_ = Judgement::Bad;
        badBy_ = kind;
    } else if (judgement_ == Judgement::None || recovered(thresholds)) {
        // Judged for the first time inside the band, a link that answers is taken as good.
        judgement_ = Judgement::Good;
        badBy_ = nullptr;
    }
}

const char* LinkQuality::failureCrossed(const QualityThresholds& thresholds) {
    const double loss = window_.lossPercent();
    if (thresholds.loss && loss >= thresholds.failureLoss) {
        crossing_ = crossingText("loss", loss, thresholds.failureLoss, "%");
        return "loss";
    }
    double latency = 0;
    if (thresholds.latency && window_.meanLatencyMs(latency) &&
        latency >= thresholds.failureLatency) {
        crossing_ = crossingText("latency", latency, thresholds.failureLatency, "ms");
        return "latency";
    }
    return nullptr;
}

// A latency that cannot be told (no answered request) is no recovery.
bool LinkQuality::recovered(const QualityThresholds& thresholds) const {
    double latency = 0;
    return (!thresholds.loss || window_.lossPercent() <= thresholds.recoveryLoss) &&
           (!thresholds.latency ||
            (window_.meanLatencyMs(latency) && latency <= thresholds.recoveryLatency));
}

void LinkQuality::noteVerdict(bool reached) {
    byThreshold_ = reached && bad();
    decidedBy_ = byThreshold_ ? badBy_ : "reachability";
}

bool LinkQuality::clear() {
    ++epoch_;
    const bool had = window_.requests() > 0 || judgement_ != Judgement::None;
    window_.clear();
    judgement_ = Judgement::None;
    badBy_ = nullptr;
    return had;
}

const char* judgementName(LinkQuality::Judgement judgement) {
    switch (judgement) {
    case LinkQuality::Judgement::Good:
        return "good";
    case LinkQuality::Judgement::Bad:
        return "bad";
    case LinkQuality::Judgement::None:
        break;
    }
    return nullptr;
}
