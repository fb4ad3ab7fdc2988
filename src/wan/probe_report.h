// What a probe tool says it measured, read from its output: the one parser of that text.
#pragma once

#include <cstdint>
#include <string>

// The requests a probe sent, the replies it received and the sum of their round-trip times.
// measured: the times are known (the tool printed them); a report made up from an exit
// status alone has none.
struct ProbeReport {
    uint32_t sent = 0;
    uint32_t received = 0;
    double rttSumMs = 0;
    bool measured = false;
};

// The most requests one probe can report: uplinker-ping sends at most 255.
constexpr uint32_t MAX_PROBE_REQUESTS = 255;

// Reads the last report line of output: "uplinker-ping: sent N received M rtt_ms R1 .. RM" or
// "inet-check: connect_ms R" (one request, answered). False, with report left as it was, when
// no line is a complete and consistent report.
bool parseProbeReport(const std::string& output, ProbeReport& report);
