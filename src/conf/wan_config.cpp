#include "conf/wan_config.h"

namespace {

// Enumerations arrive from the configuration as plain integers, so every lookup is bounded.
template <size_t N> const char* nameOf(const char* const (&names)[N], long value) {
    if (value < 0 || static_cast<size_t>(value) >= N)
        return "Unknown";
    return names[value];
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

const char* hostKindName(HostKind kind) {
    static const char* const names[] = {"ipv4", "fqdn"};
    return nameOf(names, kind);
}
