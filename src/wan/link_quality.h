// The judgement of a WAN's link by its loss and latency: bad at or above a failure threshold,
// good again only at or below both recovery thresholds, and in between as it last was, so
// that a link near one threshold does not flap. Main thread only.
#pragma once

#include <string>
#include <vector>

#include "conf/wan_config.h"
#include "wan/probe_report.h"
#include "wan/quality_window.h"

class LinkQuality {
public:
    enum class Judgement { None, Good, Bad };

    // Takes one check's reports into the window and judges it once it holds enough requests.
    void take(const std::vector<ProbeReport>& reports, const QualityThresholds& thresholds);
    // What decided a verdict, given whether enough targets answered: "loss" or "latency" when
    // a bad judgement turned it down, else "reachability".
    void noteVerdict(bool reached);
    // A change of the WAN's situation: every request and the judgement are forgotten. True when
    // there was something to forget.
    bool clear();
    // Counts a clear, so that a check begun before one can be told from those begun after.
    unsigned epoch() const { return epoch_; }

    const QualityWindow& window() const { return window_; }
    Judgement judgement() const { return judgement_; }
    bool bad() const { return judgement_ == Judgement::Bad; }
    // "loss", "latency", "reachability", or nullptr before the first verdict.
    const char* decidedBy() const { return decidedBy_; }
    // The last verdict was turned down by a threshold rather than by unanswered targets.
    bool byThreshold() const { return byThreshold_; }
    // The threshold crossed, for the cause of a switch: "loss 45 % ≥ 40 %".
    const std::string& crossing() const { return crossing_; }

private:
    // The first threshold at or above its failure value, with its text; nullptr when none.
    const char* failureCrossed(const QualityThresholds& thresholds);
    bool recovered(const QualityThresholds& thresholds) const;

    QualityWindow window_;
    Judgement judgement_ = Judgement::None;
    const char* badBy_ = nullptr;
    const char* decidedBy_ = nullptr;
    bool byThreshold_ = false;
    std::string crossing_;
    unsigned epoch_ = 0;
};

// "good", "bad", or nullptr for none.
const char* judgementName(LinkQuality::Judgement judgement);
