#include "conf/conf_summary.h"

#include "support/log.h"
#include "support/text.h"

namespace {

void logWanLine(const WanConfig& c) {
    LOG_INFO("  %-8s: [%-5s] - %-8s, Prio/W [%u/%u], [%s][%s], Interval [%-2u], Tcp [:%hu], "
             "Icmp [#%u], Host [%s: %s]",
             wanTypeName(c.type), c.name.c_str(), c.enabled ? "enabled" : "disabled", c.priority,
             c.weight, monitorModeName(c.monitorMode), checkTypeName(c.checkType), c.checkInterval,
             c.tcpPort, static_cast<unsigned>(c.icmpCount),
             c.hostKind == HostKind::Fqdn ? "fqdn" : "ipv4", c.hostname.c_str());
}

// Only for a WAN with the optional probe settings, so a configuration without them prints
// exactly what it always did.
void logTrustLine(const WanConfig& c) {
    if (!hasProbeTrust(c))
        return;
    std::vector<std::string> targets{c.hostname};
    targets.insert(targets.end(), c.moreHosts.begin(), c.moreHosts.end());
    LOG_INFO("  %-8s: [%-5s] - Targets [%s], Reliability [%u/%zu], Down/Up [%u/%u]",
             wanTypeName(c.type), c.name.c_str(), VRX::Text::join(targets, ' ').c_str(),
             c.reliability, targets.size(), c.downCount, c.upCount);
}

std::string thresholdText(bool on, uint32_t failure, uint32_t recovery, const char* unit) {
    if (!on)
        return "off";
    return std::to_string(failure) + "/" + std::to_string(recovery) + " " + unit;
}

// Only for a WAN with loss or latency thresholds, for the same reason.
void logQualityLine(const WanConfig& c) {
    const QualityThresholds& q = c.quality;
    if (!q.any())
        return;
    LOG_INFO("  %-8s: [%-5s] - Loss [%s], Latency [%s]", wanTypeName(c.type), c.name.c_str(),
             thresholdText(q.loss, q.failureLoss, q.recoveryLoss, "%").c_str(),
             thresholdText(q.latency, q.failureLatency, q.recoveryLatency, "ms").c_str());
}

} // namespace

void logConfSummary(Mode mode, const std::list<WanConfig>& configs) {
    LOG_INFO("Configuration loaded:");
    LOG_INFO("  Uplinker mode [%s]", modeName(mode));
    LOG_INFO("  Number of wan interfaces [%d]", static_cast<int>(configs.size()));
    for (const WanConfig& c : configs) {
        logWanLine(c);
        logTrustLine(c);
        logQualityLine(c);
    }
}
