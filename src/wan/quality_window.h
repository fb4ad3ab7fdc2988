// The sliding window of a WAN's most recent probe requests, over all its targets: how many of
// them went unanswered and how long the answered ones took.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "wan/probe_report.h"

class QualityWindow {
public:
    // The most recent requests kept, and how many it takes before loss and latency mean
    // anything: a single lost reply must not decide.
    static constexpr size_t CAPACITY = 20;
    static constexpr size_t MINIMUM = 10;

    // Appends the requests of one probe, the oldest leaving once the window is full. The lost
    // ones are spread evenly among the answered ones, each of which took the mean time.
    void add(const ProbeReport& report);
    // Forgets every request; true when there was one.
    bool clear();

    size_t requests() const { return count_; }
    bool judged() const { return count_ >= MINIMUM; }
    // Percent of the requests without an answer; 0 while the window is empty.
    double lossPercent() const;
    // The mean round-trip time of the answered requests whose time is known; false when none.
    bool meanLatencyMs(double& out) const;

private:
    struct Request {
        bool answered;
        bool timed;
        double rttMs;
    };
    void push(const Request& request);

    std::array<Request, CAPACITY> ring_{};
    size_t next_ = 0;
    size_t count_ = 0;
};
