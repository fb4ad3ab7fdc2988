#include "seams.h"

#include <atomic>
#include <fstream>
#include <map>
#include <mutex>

#include "support/clock.h"
#include "support/shell.h"
#include "support/system.h"
#include "support/text.h"

namespace {

// Well away from zero, where a never-checked WAN's stamp lies.
std::atomic<int64_t> gNowMs{1000 * 1000};
std::vector<std::string> gCommands;
const char* const CURRENT_WAN = "/var/run/uplinker/current_wan";

struct Programs {
    std::mutex mutex;
    std::map<std::pair<std::string, std::string>, std::pair<bool, std::string>> answers;
    std::vector<std::string> runs;
};

Programs& programs() {
    static Programs instance;
    return instance;
}

bool mentions(const std::vector<std::string>& arguments, const std::string& key) {
    for (const std::string& argument : arguments) {
        if (argument == key)
            return true;
    }
    return false;
}

} // namespace

int64_t monotonicMs() {
    return gNowMs.load();
}

// A route change also notes the current-WAN file as it stands then, which must come first.
int runShell(const std::string& command, unsigned int /*timeoutSeconds*/) {
    std::string current;
    std::ifstream file(CURRENT_WAN);
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
    Programs& p = programs();
    std::lock_guard<std::mutex> guard(p.mutex);
    p.runs.push_back(command + " " + Text::join(arguments, ' '));
    for (const auto& [key, reply] : p.answers) {
        if (key.first == command && mentions(arguments, key.second)) {
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
    std::vector<std::string> taken;
    taken.swap(gCommands);
    return taken;
}

std::vector<std::string> takeRuns() {
    std::lock_guard<std::mutex> guard(programs().mutex);
    std::vector<std::string> taken;
    taken.swap(programs().runs);
    return taken;
}

void answer(const std::string& command, const std::string& key, bool ok,
            const std::string& output) {
    std::lock_guard<std::mutex> guard(programs().mutex);
    programs().answers[{command, key}] = {ok, output};
}

void reset() {
    takeCommands();
    std::lock_guard<std::mutex> guard(programs().mutex);
    programs().answers.clear();
    programs().runs.clear();
}

} // namespace sim
