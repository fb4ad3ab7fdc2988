// One probe of one target: its name resolved through the WAN's own name servers, then the
// probe tool run from the WAN's address. Shared by checks of one target and of several.
#pragma once

#include <string>

#include "conf/wan_config.h"
#include "wan/probe_report.h"

class WanCheckingThread;

// Resolves host (of kind) if it is a name, runs the probe and returns the tool's result: 0
// when the target answered. Blocks until the tool has ended; a stop of the calling thread
// ends it early. report: what the tool measured or, when it printed no report, one request
// answered or not as its result says.
int probeTarget(WanCheckingThread& self, const WanConfig& config, const std::string& localAddress,
                const std::string& host, HostKind kind, ProbeReport& report);
