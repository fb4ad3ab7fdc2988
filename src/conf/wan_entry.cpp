#include "conf/wan_entry.h"

#include <algorithm>

#include "conf/probe_trust.h"
#include "conf/quality_thresholds.h"
#include "support/log.h"
#include "support/paths.h"

namespace {

const char* const INVENTORY_PATH = "\"waninfo\".\"wans\"";
const char* const CELLULAR_TABLE = "cellular";
constexpr uint32_t DEFAULT_CHECK_INTERVAL = 60;
constexpr uint32_t SHORT_CHECK_INTERVAL = 10;
constexpr uint16_t DEFAULT_ICMP_COUNT = 4;
constexpr uint16_t MAX_ICMP_COUNT = 255;

// The first inventory entry whose "interface" equals name (found stays null when there is
// none). Entries are checked only as far as the walk goes, so a malformed entry after the
// match does not matter. False on a value of the wrong type.
bool findInventory(const EntryContext& context, const std::string& name, const Json::Value*& found,
                   std::string& foundPath) {
    found = nullptr;
    for (Json::ArrayIndex i = 0; i < context.inventory.size(); ++i) {
        const Json::Value& item = context.inventory[i];
        std::string path = indexPath(INVENTORY_PATH, i);
        std::string itemName;
        if (!context.reader.object(item, path) ||
            !context.reader.text(item, path, "interface", itemName))
            return false;
        if (itemName == name) {
            found = &item;
            foundPath = path;
            return true;
        }
    }
    return true;
}

// Cellular links share one table named after their kind, whatever the modem's interface is
// called; Wi-Fi and Ethernet interfaces have a table of their own name and are useless without
// it, since their gateway lives there.
bool assignRouteTable(const std::string& type, const EntryContext& context, WanConfig& record) {
    const auto& tables = context.routeTables;
    if (type == "CELLULAR") {
        record.type = WanType::Cellular;
        auto it = tables.find(CELLULAR_TABLE);
        if (it == tables.end())
            LOG_WARNING("Failed to find route table for %s interface. Using default value.",
                        record.name.c_str());
        else
            record.routeTable = it->second;
        return true;
    }
    if (type != "ETHERNET" && type != "WIFI")
        return true;
    record.type = type == "WIFI" ? WanType::Wifi : WanType::Ethernet;
    auto it = tables.find(record.name);
    if (it == tables.end()) {
        LOG_WARNING("Failed to find route table for %s interface. Skipping wan interface.",
                    record.name.c_str());
        return false;
    }
    record.routeTable = it->second;
    return true;
}

EntryOutcome applyInventory(const Json::Value& item, const std::string& path,
                            const EntryContext& context, WanConfig& record) {
    bool available = false;
    std::string type;
    if (!context.reader.flag(item, path, "available", available))
        return EntryOutcome::Invalid;
    if (!available)
        return EntryOutcome::Dropped;
    if (!context.reader.flag(item, path, "enabled", record.enabled) ||
        !context.reader.text(item, path, "type", type))
        return EntryOutcome::Invalid;
    record.type = WanType::Unknown;
    record.routeTable = 0;
    return assignRouteTable(type, context, record) ? EntryOutcome::Accepted : EntryOutcome::Dropped;
}

bool readIntervals(const Json::Value& monitor, const std::string& path, JsonReader& reader,
                   WanConfig& record) {
    if (!reader.number(monitor, path, "checkInterval", record.checkInterval))
        return false;
    if (record.checkInterval == 0) {
        LOG_WARNING("Config: invalid check interval value");
        record.checkInterval = DEFAULT_CHECK_INTERVAL;
    }
    // A modem link is slow to come back, so probing it faster while it is down only adds load.
    if (record.type == WanType::Cellular) {
        record.shortCheckInterval = record.checkInterval;
        return true;
    }
    record.shortCheckInterval = std::min(record.checkInterval, SHORT_CHECK_INTERVAL);
    LOG_DEBUG("Config: setting short check interval for %s interface to %u seconds",
              record.name.c_str(), record.shortCheckInterval);
    return true;
}

bool readProbeTarget(const Json::Value& active, const std::string& path, JsonReader& reader,
                     WanConfig& record) {
    uint32_t count = 0;
    uint32_t port = 0;
    if (!reader.text(active, path, "hostname", record.hostname) ||
        !reader.number(active, path, "icmpCount", count) ||
        !reader.number(active, path, "tcpPort", port))
        return false;
    record.hostKind = hostKindOf(record.hostname);
    // Both values are 16-bit fields: larger numbers wrap rather than being rejected.
    record.icmpCount = static_cast<uint16_t>(count);
    if (record.icmpCount == 0 || record.icmpCount > MAX_ICMP_COUNT) {
        LOG_WARNING("Config: invalid icmp count value");
        record.icmpCount = DEFAULT_ICMP_COUNT;
    }
    record.tcpPort = static_cast<uint16_t>(port);
    return true;
}

// The probe settings are read whatever the monitor mode, so a later switch to active
// monitoring needs no other change.
bool readProbe(const Json::Value& monitor, const std::string& path, JsonReader& reader,
               WanConfig& record) {
    std::string mode;
    std::string type;
    const Json::Value& active = monitor["active"];
    std::string activePath = memberPath(path, "active");
    if (!reader.text(monitor, path, "mode", mode) || !reader.object(active, activePath) ||
        !reader.text(active, activePath, "type", type))
        return false;
    record.monitorMode = mode == "ACTIVE" ? MonitorMode::Active : MonitorMode::Passive;
    record.checkType = type == "TCP" ? CheckType::Tcp : CheckType::Icmp;
    return readProbeTarget(active, activePath, reader, record);
}

bool readSettings(const Json::Value& entry, const std::string& path, JsonReader& reader,
                  WanConfig& record) {
    const Json::Value& monitor = entry["monitor"];
    std::string monitorPath = memberPath(path, "monitor");
    return reader.number(entry, path, "priority", record.priority) &&
           reader.number(entry, path, "weight", record.weight) &&
           reader.object(monitor, monitorPath) &&
           readIntervals(monitor, monitorPath, reader, record) &&
           readProbe(monitor, monitorPath, reader, record);
}

} // namespace

EntryOutcome readWanEntry(const Json::Value& entry, const std::string& path,
                          const EntryContext& context, WanConfig& record) {
    record = WanConfig();
    const Json::Value* item = nullptr;
    std::string itemPath;
    if (!context.reader.object(entry, path) ||
        !context.reader.text(entry, path, "interface", record.name) ||
        !findInventory(context, record.name, item, itemPath))
        return EntryOutcome::Invalid;
    if (item == nullptr)
        return EntryOutcome::Dropped;
    EntryOutcome outcome = applyInventory(*item, itemPath, context, record);
    if (outcome != EntryOutcome::Accepted)
        return outcome;
    record.resolvFile = RESOLV_FILE_PREFIX + record.name + RESOLV_FILE_SUFFIX;
    if (!readSettings(entry, path, context.reader, record))
        return EntryOutcome::Invalid;
    // Reached only with "monitor" and "active" known to be objects or absent.
    readProbeTrust(entry["monitor"], record);
    readQualityThresholds(entry["monitor"]["active"], record);
    return EntryOutcome::Accepted;
}
