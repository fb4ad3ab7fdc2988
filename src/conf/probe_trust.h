// The optional probe settings of one WAN: further targets, how many of them must answer, and
// how many verdicts in a row change its active result.
#pragma once

#include <json/json.h>

#include "conf/wan_config.h"

// Reads "monitor"."active"."hostnames" and "reliability", and "monitor"."downCount" and
// "upCount" into record (monitor: an object or null, its "active" too). They are additions an
// operator opts into, so a bad value is repaired with one WARNING each and never costs the
// configuration or the WAN.
void readProbeTrust(const Json::Value& monitor, WanConfig& record);
