// Turns one entry of the daemon's interface list, together with the device's inventory, into
// a WanConfig record.
#pragma once

#include <json/json.h>
#include <map>
#include <string>

#include "conf/json_reader.h"
#include "conf/wan_config.h"

enum class EntryOutcome { Accepted, Dropped, Invalid };

// What every entry is read against.
struct EntryContext {
    const Json::Value& inventory; // "waninfo"."wans": an array or null
    const std::map<std::string, int>& routeTables;
    JsonReader& reader;
};

// Fills record from the entry found at path: Accepted when it is to be kept, Dropped when the
// interface is unknown, unavailable or has no routing table (warnings logged), Invalid on a
// value of the wrong JSON type (kept in context.reader).
EntryOutcome readWanEntry(const Json::Value& entry, const std::string& path,
                          const EntryContext& context, WanConfig& record);
