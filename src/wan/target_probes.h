// A check of several targets: every target probed at once, each on a thread of its own, so the
// check takes as long as its slowest probe rather than the sum of them all.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "conf/wan_config.h"
#include "wan/probe_report.h"

class WanCheckingThread;

// Probes hostname and every one of config.moreHosts side by side, as a check of one target
// probes it, and returns once all have ended or self has been asked to stop (which ends them
// all). answered: targets that answered; probed: targets whose probe could start; reports:
// what each of those measured. A target whose probe could not start is logged at ERROR, once
// for the check.
void probeTargets(WanCheckingThread& self, const WanConfig& config, const std::string& localAddress,
                  uint32_t& answered, uint32_t& probed, std::vector<ProbeReport>& reports);
