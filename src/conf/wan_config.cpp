#include "conf/wan_config.h"

#include <arpa/inet.h>

namespace {

// Enumerations arrive from the configuration as plain integers, so every lookup is bounded.
template <size_t N, typename Enum> const char* nameOf(const char* const (&names)[N], Enum value) {
    const long number = static_cast<long>(value);
    if (number < 0 || static_cast<size_t>(number) >= N)
        return "Unknown";
    return names[number];
}

} // namespace

const char* modeName(Mode mode) {
    static const char* const names[] = {"Constant", "Failover"};
    return nameOf(names, mode);
}

const char* wanTypeName(WanType type) {
    static const char* const names[] = {"Unknown", "PPP", "WIFI", "ETHERNET"};
    return nameOf(names, type);
}

const char* monitorModeName(MonitorMode mode) {
    static const char* const names[] = {"Passive", "Active"};
    return nameOf(names, mode);
}

const char* checkTypeName(CheckType type) {
    static const char* const names[] = {"Icmp", "Tcp"};
    return nameOf(names, type);
}

HostKind hostKindOf(const std::string& host) {
    in_addr parsed{};
    return inet_pton(AF_INET, host.c_str(), &parsed) > 0 ? HostKind::Ipv4 : HostKind::Fqdn;
}

bool hasProbeTrust(const WanConfig& config) {
    return !config.moreHosts.empty() || config.reliability != 1 || config.downCount != 1 ||
           config.upCount != 1;
}
