// The status file as a person reads it: a headline, the roaming lock when one holds, and one
// row per WAN.
#pragma once

#include <cstdint>
#include <string>

#include <json/json.h>

namespace tools {

// The table for status at wall-clock second now. Throws Json::Exception when a field has the
// wrong type.
std::string statusTable(const Json::Value& status, int64_t now);

} // namespace tools
