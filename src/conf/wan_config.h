// The settings of one WAN interface and the enumerations they use.
#pragma once

#include <cstdint>
#include <string>

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
};
