// The optional loss and latency thresholds of one WAN.
#pragma once

#include <json/json.h>

#include "conf/wan_config.h"

// Reads "failureLoss", "recoveryLoss", "failureLatency" and "recoveryLatency" of
// "monitor"."active" (an object or null) into record.quality. A recovery threshold left out is
// half its failure threshold. They are additions an operator opts into, so a bad value is
// repaired with one WARNING each and never costs the configuration or the WAN.
void readQualityThresholds(const Json::Value& active, WanConfig& record);
