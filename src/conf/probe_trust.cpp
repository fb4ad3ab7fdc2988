#include "conf/probe_trust.h"

#include <algorithm>

#include "support/log.h"

namespace {

// The extra targets that are non-empty strings, in their order.
void readMoreHosts(const Json::Value& hosts, WanConfig& record) {
    const char* name = record.name.c_str();
    if (hosts.isNull())
        return;
    if (!hosts.isArray()) {
        LOG_WARNING("Config: hostnames of %s is not a list, ignored", name);
        return;
    }
    for (Json::ArrayIndex i = 0; i < hosts.size(); ++i) {
        if (!hosts[i].isString() || hosts[i].asString().empty()) {
            LOG_WARNING("Config: hostnames[%u] of %s is not a host, ignored", i, name);
            continue;
        }
        record.moreHosts.push_back(hosts[i].asString());
    }
}

// hostname first, then the others, at most MAX_PROBE_TARGETS. A configuration that names
// its targets only in hostnames has the first of them as hostname.
void settleTargets(WanConfig& record) {
    if (record.hostname.empty() && !record.moreHosts.empty()) {
        record.hostname = record.moreHosts.front();
        record.hostKind = hostKindOf(record.hostname);
        record.moreHosts.erase(record.moreHosts.begin());
    }
    if (record.moreHosts.size() + 1 <= MAX_PROBE_TARGETS)
        return;
    LOG_WARNING("Config: %s has more than %zu probe targets, the first %zu are used",
                record.name.c_str(), MAX_PROBE_TARGETS, MAX_PROBE_TARGETS);
    record.moreHosts.resize(MAX_PROBE_TARGETS - 1);
}

// A number in 1..limit (absent: 1); anything else becomes the nearest of those, or 1 when it
// is no number at all, with a warning.
uint32_t readBounded(const Json::Value& parent, const char* key, uint32_t limit,
                     const WanConfig& record) {
    const Json::Value& value = parent[key];
    if (value.isNull())
        return 1;
    const uint32_t given = value.isUInt() ? value.asUInt() : 0;
    const uint32_t repaired = value.isUInt() ? std::min(std::max(given, 1U), limit) : 1;
    if (!value.isUInt() || repaired != given)
        LOG_WARNING("Config: invalid %s value for %s, using %u", key, record.name.c_str(),
                    repaired);
    return repaired;
}

} // namespace

void readProbeTrust(const Json::Value& monitor, WanConfig& record) {
    const Json::Value& active = monitor["active"];
    readMoreHosts(active["hostnames"], record);
    settleTargets(record);
    const auto targets = static_cast<uint32_t>(record.moreHosts.size() + 1);
    record.reliability = readBounded(active, "reliability", targets, record);
    record.downCount = readBounded(monitor, "downCount", MAX_VERDICT_COUNT, record);
    record.upCount = readBounded(monitor, "upCount", MAX_VERDICT_COUNT, record);
}
