#include "seams.h"

#include <algorithm>
#include <atomic>
#include <fstream>
#include <map>
#include <mutex>
#include <utility>

#include "support/clock.h"
#include "support/paths.h"
#include "support/shell.h"
#include "support/system.h"
#include "support/text.h"

namespace {

// Well away from zero, where a never-checked WAN's stamp lies.
std::atomic<int64_t> gNowMs{1000 * 1000};
std::vector<std::string> gCommands;
// The probe and lookup programs' scripted answers and their runs, shared with check threads.
std::mutex gProgramsMutex;
std::map<std::pair<std::string, std::string>, std::pair<bool, std::string>> gAnswers;
std::vector<std::string> gRuns;

} // namespace

int64_t monotonicMs() {
    return gNowMs.load();
}

// A fixed wall-clock day, moving with the simulated clock.
int64_t realtimeMs() {
    return int64_t{1700000000} * 1000 + gNowMs.load();
}

// A route change also notes the current-WAN file as it stands then, which must come first.
int runShell(const std::string& command, unsigned int /*timeoutSeconds*/) {
    std::string current;
    std::ifstream file(CURRENT_WAN_FILE);
    if (command.rfind("ip route del", 0) == 0 && std::getline(file, current))
        current = " [" + current + "]";
    gCommands.push_back(command + current);
    return 0;
}

namespace VRX {

int System::execute(const std::string& command, const std::vector<std::string>& arguments,
                    std::string& output) {
    return execute(command, arguments, output, DEFAULT_TIMEOUT_MS);
}

int System::execute(const std::string& command, const std::vector<std::string>& arguments,
                    std::string& output, unsigned int /*timeoutMs*/) {
    std::lock_guard<std::mutex> guard(gProgramsMutex);
    gRuns.push_back(command + " " + Text::join(arguments, ' '));
    for (const auto& [key, reply] : gAnswers) {
        if (key.first == command &&
            std::find(arguments.begin(), arguments.end(), key.second) != arguments.end()) {
            output = reply.second;
            return reply.first ? 0 : 1;
        }
    }
    output.clear();
    return 1;
}

} // namespace VRX

namespace sim {

void advance(int seconds) {
    gNowMs += int64_t{seconds} * 1000;
}

std::vector<std::string> takeCommands() {
    return std::exchange(gCommands, {});
}

std::vector<std::string> takeRuns() {
    std::lock_guard<std::mutex> guard(gProgramsMutex);
    return std::exchange(gRuns, {});
}

void answer(const std::string& command, const std::string& key, bool ok,
            const std::string& output) {
    std::lock_guard<std::mutex> guard(gProgramsMutex);
    gAnswers[{command, key}] = {ok, output};
}

void reset() {
    takeCommands();
    std::lock_guard<std::mutex> guard(gProgramsMutex);
    gAnswers.clear();
    gRuns.clear();
}

} // namespace sim
