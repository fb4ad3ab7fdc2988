// The status file as Prometheus's text exposition (format 0.0.4), for node_exporter's textfile
// collector: one series per WAN and per fixed reason, never one per address, so that a fleet's
// monitoring keeps a bounded number of series.
#pragma once

#include <string>

#include <json/json.h>

namespace tools {

// What a daemon that does not run is: nothing but that.
std::string stoppedMetrics();

// The series of a running daemon's status. False when a field has the wrong type or one the
// series need is missing: out is then no status to show.
bool statusMetrics(const Json::Value& status, std::string& out);

} // namespace tools
