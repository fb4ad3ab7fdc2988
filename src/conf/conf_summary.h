// The configuration printout written once a configuration has been accepted.
#pragma once

#include <list>

#include "conf/wan_config.h"

// Logs the mode, the number of interfaces and one line per interface at INFO.
void logConfSummary(Mode mode, const std::list<WanConfig>& configs);
