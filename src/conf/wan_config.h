// The settings of one WAN interface and the enumerations they use.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

enum class Mode : int32_t { Constant = 0, Failover = 1 };
enum class WanType : int32_t { Unknown = 0, Cellular = 1, Wifi = 2, Ethernet = 3 };
enum class MonitorMode : int32_t { Passive = 0, Active = 1 };
enum class CheckType : int32_t { Icmp = 0, Tcp = 1 };
enum class HostKind : uint8_t { Ipv4 = 0, Fqdn = 1 };

// Printed names; any value outside an enumeration prints as "Unknown".
const char* modeName(Mode mode);
const char* wanTypeName(WanType type);
const char* monitorModeName(MonitorMode mode);
const char* checkTypeName(CheckType type);

// Ipv4 when the probe target is a dotted IPv4 address, else Fqdn: a name to resolve.
HostKind hostKindOf(const std::string& host);

// Bounds of the optional probe settings: targets in all, and the damping counts.
constexpr size_t MAX_PROBE_TARGETS = 8;
constexpr uint32_t MAX_VERDICT_COUNT = 100;

// Loss and latency thresholds of a WAN's probe requests; a kind that is off is never judged.
// A recovery threshold is at most its failure threshold, so that between the two lies a band
// in which the last judgement holds.
struct QualityThresholds {
    bool loss = false;
    uint32_t failureLoss = 0; // percent of requests without an answer, 1..100
    uint32_t recoveryLoss = 0;
    bool latency = false;
    uint32_t failureLatency = 0; // mean round-trip time of the answered requests in ms
    uint32_t recoveryLatency = 0;
    bool any() const { return loss || latency; }
};

struct WanConfig {
    std::string name;
    WanType type = WanType::Unknown;
    bool enabled = false;
    uint32_t priority = 0;
    uint32_t weight = 0;
    MonitorMode monitorMode = MonitorMode::Passive;
    uint32_t checkInterval = 0;
    uint32_t shortCheckInterval = 0;
    CheckType checkType = CheckType::Icmp;
    std::string hostname;
    HostKind hostKind = HostKind::Fqdn;
    uint16_t tcpPort = 0;
    uint16_t icmpCount = 0;
    std::string resolvFile;
    int32_t routeTable = 0;
    // Optional: probe targets checked side by side with hostname (empty: hostname alone, as
    // without the option), at most MAX_PROBE_TARGETS in all; hostname is the first target.
    std::vector<std::string> moreHosts;
    // How many targets must answer for an "up" verdict, 1 .. number of targets.
    uint32_t reliability = 1;
    // Damping: how many verdicts in a row against the active result change it, going down and
    // going up; 1 .. MAX_VERDICT_COUNT, and 1 is the behaviour without the option.
    uint32_t downCount = 1;
    uint32_t upCount = 1;
    // Optional: judging the link by its probe requests' loss and latency (off: reachability
    // alone decides, as without the option).
    QualityThresholds quality;
};

// True when a WAN has any of the optional probe settings beyond their defaults.
bool hasProbeTrust(const WanConfig& config);
