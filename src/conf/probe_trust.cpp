#include "conf/probe_trust.h"

#include <algorithm>
#include <strings.h>
#include <utility>
#include <vector>

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

bool sameHost(const std::string& a, const std::string& b) {
    return strcasecmp(a.c_str(), b.c_str()) == 0;
}

// A target named twice would answer twice toward reliability: each is kept once, where it is
// first named, with one warning however often it is repeated.
void dropRepeatedTargets(WanConfig& record) {
    std::vector<std::string> kept;
    std::vector<std::string> warned;
    for (const std::string& host : record.moreHosts) {
        const auto same = [&host](const std::string& other) { return sameHost(host, other); };
        if (!sameHost(host, record.hostname) && std::none_of(kept.begin(), kept.end(), same)) {
            kept.push_back(host);
        } else if (std::none_of(warned.begin(), warned.end(), same)) {
            LOG_WARNING("Config: probe target %s of %s is named more than once, probed once",
                        host.c_str(), record.name.c_str());
            warned.push_back(host);
        }
    }
    record.moreHosts = std::move(kept);
}

// hostname first, then the others, each once, at most MAX_PROBE_TARGETS. A configuration that
// names its targets only in hostnames has the first of them as hostname.
void settleTargets(WanConfig& record) {
    if (record.hostname.empty() && !record.moreHosts.empty()) {
        record.hostname = record.moreHosts.front();
        record.hostKind = hostKindOf(record.hostname);
        record.moreHosts.erase(record.moreHosts.begin());
    }
    dropRepeatedTargets(record);
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
