#include "seams.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <fstream>
#include <map>
#include <mutex>
#include <utility>

#include "support/clock.h"
#include "support/paths.h"
#include "support/shell.h"
#include "support/system.h"
#include "support/text.h"
#include "support/thread_create.h"

namespace {

// Well away from zero, where a never-checked WAN's stamp lies.
std::atomic<int64_t> gNowMs{1000 * 1000};
std::vector<std::string> gCommands;
// The probe and lookup programs' scripted answers and their runs, shared with check threads.
std::mutex gProgramsMutex;
std::map<std::pair<std::string, std::string>, std::pair<bool, std::string>> gAnswers;
std::vector<std::string> gRuns;
std::condition_variable gChanged;
int gTogether = 0, gInFlight = 0, gPeak = 0;

} // namespace

int64_t monotonicMs() {
    return gNowMs.load();
}

// A fixed wall-clock day, moving with the simulated clock.
int64_t realtimeMs() {
    return int64_t{1700000000} * 1000 + gNowMs.load();
}

// A route change also notes the current-WAN file as it stands then, which must come first.
int runShell(const std::string& command, unsigned int /*timeoutSeconds*/, StopGrace /*grace*/) {
    std::string current;
    std::ifstream file(CURRENT_WAN_FILE);
    if (command.rfind("ip route del", 0) == 0 && std::getline(file, current))
        current = " [" + current + "]";
    gCommands.push_back(command + current);
    return 0;
}

// Only the main thread starts threads.
int createThread(pthread_t& thread, const pthread_attr_t& attr, void* (*body)(void*), void* arg) {
    return --sim::threadsToRefusal == 0 ? EAGAIN : pthread_create(&thread, &attr, body, arg);
}

namespace VRX {

int System::execute(const std::string& command, const std::vector<std::string>& arguments,
                    std::string& output) {
    return execute(command, arguments, output, DEFAULT_TIMEOUT_MS);
}

int System::execute(const std::string& command, const std::vector<std::string>& arguments,
                    std::string& output, unsigned int /*timeoutMs*/) {
    std::unique_lock<std::mutex> guard(gProgramsMutex);
    gRuns.push_back(command + " " + Text::join(arguments, ' '));
    // Held probes wait (in real time) until gTogether of them run at once; any that waits in
    // vain fails.
    const bool held = command == "uplinker-ping" && gTogether > 0;
    gPeak = std::max(gPeak, ++gInFlight);
    gChanged.notify_all();
    const bool met = !held || gChanged.wait_for(guard, std::chrono::seconds(2),
                                                [] { return gPeak >= gTogether; });
    gPeak = --gInFlight == 0 ? 0 : gPeak;
    // An answer for the target (the last argument) wins over one for any other argument.
    auto reply = gAnswers.end();
    for (auto it = gAnswers.begin(); it != gAnswers.end(); ++it) {
        const auto& [key, text] = it->first;
        if (key == command &&
            std::find(arguments.begin(), arguments.end(), text) != arguments.end() &&
            (reply == gAnswers.end() || text == arguments.back()))
            reply = it;
    }
    output = reply != gAnswers.end() ? reply->second.second : "";
    return met && reply != gAnswers.end() && reply->second.first ? 0 : 1;
}

} // namespace VRX

namespace sim {

int threadsToRefusal = 0;

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

void measured(const std::string& key, unsigned sent, unsigned received, double rttMs) {
    std::string report = "uplinker-ping: sent " + std::to_string(sent) + " received " +
                         std::to_string(received) + " rtt_ms";
    char rtt[32];
    (void)snprintf(rtt, sizeof rtt, " %.3f", rttMs);
    for (unsigned i = 0; i < received; ++i)
        report += rtt;
    answer("uplinker-ping", key, received > 0, "uplinker-ping: 192.0.2.1 is alive\n" + report);
}

void together(int probes) {
    std::lock_guard<std::mutex> guard(gProgramsMutex);
    gTogether = probes;
}

void reset() {
    takeCommands();
    std::lock_guard<std::mutex> guard(gProgramsMutex);
    gTogether = 0;
    gAnswers.clear();
    gRuns.clear();
}

} // namespace sim
