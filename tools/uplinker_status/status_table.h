// The status file as a person reads it: a headline, the roaming lock when one holds, and one
// row per WAN.
#pragma once

#include <cstdint>
#include <string>

#include <json/json.h>

namespace tools {

// True when every field the table reads, and the writer's pid and start time, has its type:
// a file that parses but does not hold them cannot be shown.
bool wellFormed(const Json::Value& status);
// The table for a well-formed status at wall-clock second now; a daemon still starting has
// decided nothing, so only says so.
std::string statusTable(const Json::Value& status, int64_t now);

} // namespace tools
