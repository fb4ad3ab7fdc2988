// The world the unit binary links in place of the real one: a clock that moves only when a
// test says so, a shell that records the commands it is given, probe and lookup programs
// whose answers a test scripts, and thread creation that may fail. The engine and the real
// check threads run on top of it.
#pragma once

#include <string>
#include <vector>

namespace sim {

// Moves the monotonic clock on.
void advance(int seconds);
// Every shell command run since the last call, in order.
std::vector<std::string> takeCommands();
// Every probe or lookup program run since the last call: the command and its arguments.
std::vector<std::string> takeRuns();

// A run of command whose arguments contain key (preferably as the last) exits with 0 when ok,
// else 1; output is what it prints. Unscripted runs fail.
void answer(const std::string& command, const std::string& key, bool ok,
            const std::string& output = "");
// An uplinker-ping run with key among its arguments reports received of sent requests
// answered, each after rttMs, and exits as it would then.
void measured(const std::string& key, unsigned sent, unsigned received, double rttMs);
// From now on a probe answers only once that many probes ran at the same time.
void together(int probes);
// Set to n, the n-th thread started from then on cannot be created.
extern int threadsToRefusal;
// Forgets every answer and record.
void reset();

} // namespace sim
