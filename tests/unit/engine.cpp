#include "engine.h"

#include <algorithm>
#include <arpa/inet.h>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <set>
#include <thread>
#include <unistd.h>

#include "support/logger.h"

namespace {

const char* const LOG_FILE = "/var/run/unit-engine.log";
const char* const TYPE_TEXT[] = {"LTE", "CELLULAR", "WIFI", "ETHERNET"};

std::string wanAddress(size_t index, int host) {
    return "10.0." + std::to_string(index) + "." + std::to_string(host);
}

Json::Value answerFor(Mode mode, const std::vector<WanSpec>& specs) {
    Json::Value answer;
    answer["uplinker"]["mode"] = mode == Mode::Failover ? "FAILOVER" : "CONSTANT";
    for (size_t i = 0; i < specs.size(); ++i) {
        const WanSpec& s = specs[i];
        Json::Value entry;
        entry["interface"] = s.name;
        entry["priority"] = static_cast<Json::UInt>(i + 1);
        entry["monitor"]["checkInterval"] = s.interval;
        entry["monitor"]["mode"] = s.active ? "ACTIVE" : "PASSIVE";
        Json::Value& active = entry["monitor"]["active"];
        active["hostname"] = s.host;
        active["icmpCount"] = 1;
        active["type"] = s.tcp ? "TCP" : "ICMP";
        for (const std::string& host : s.more)
            active["hostnames"].append(host);
        if (s.reliability != 1 || s.down != 1 || s.up != 1) {
            active["reliability"] = s.reliability;
            entry["monitor"]["downCount"] = s.down;
            entry["monitor"]["upCount"] = s.up;
        }
        // clang-format off
        const std::pair<const char*, uint32_t> thresholds[] = {{"failureLoss", s.failureLoss},
            {"recoveryLoss", s.recoveryLoss}, {"failureLatency", s.failureLatency},
            {"recoveryLatency", s.recoveryLatency}};
        // clang-format on
        for (const auto& [key, value] : thresholds)
            if (value != 0)
                active[key] = value;
        answer["uplinker"]["wans"].append(entry);
        Json::Value item;
        item["interface"] = s.name;
        item["type"] = TYPE_TEXT[static_cast<int>(s.type)];
        item["enabled"] = s.enabled;
        item["available"] = true;
        answer["waninfo"]["wans"].append(item);
    }
    return answer;
}

} // namespace

Json::Value statusFile() {
    Json::Value status;
    std::ifstream(STATUS_FILE) >> status;
    return status;
}

Engine::Engine(Mode mode, const std::vector<WanSpec>& wans, bool starts) : specs_(wans) {
    VRX::Logger::setPrintLevel(VRX::Logger::PrintLevel::TRACE_LEVEL, true);
    VRX::Logger::setup(VRX::Logger::FILE_MODE, LOG_FILE);
    (void)truncate(LOG_FILE, 0);
    // No state file of the engine before.
    EXPECT_EQ(0, std::system("rm -rf /var/run/uplinker /var/run/cell && "
                             "mkdir -p /var/run/uplinker/istate /var/run/cell"));
    std::map<std::string, int> tables;
    for (size_t i = 0; i < wans.size(); ++i) {
        sim::answer("uplinker-ping", wanAddress(i, 2), wans[i].probeOk);
        if (wans[i].sent != 0)
            sim::measured(wanAddress(i, 2), wans[i].sent, wans[i].received, wans[i].rttMs);
        ifIndex_.push_back(static_cast<int32_t>(10 + i));
        tables[wans[i].type == WanType::Cellular ? "cellular" : wans[i].name] =
            static_cast<int>(100 + i);
    }
    Conf conf;
    conf.valid = conf.applyAnswer(answerFor(mode, wans), tables);
    app_ = std::make_unique<App>(0);
    EXPECT_EQ(app_->initWans(conf), starts);
    if (!starts)
        return;
    for (const WanSpec& wan : wans)
        usable(wan.name);
    EXPECT_TRUE(app_->openNetlink());
    for (int tries = 0; tries < 100 && !app_->started(); ++tries)
        app_->work();
    EXPECT_TRUE(app_->started());
    settle();
}

Engine::~Engine() {
    // Held probes end with their threads, which the engine stops.
    app_.reset();
    sim::reset();
}

int Engine::indexOf(const std::string& name) const {
    const auto found = std::find_if(specs_.begin(), specs_.end(),
                                    [&](const WanSpec& wan) { return wan.name == name; });
    EXPECT_NE(found, specs_.end()) << "no WAN " << name;
    return found == specs_.end() ? 0 : static_cast<int>(found - specs_.begin());
}

void Engine::address(const std::string& name, bool added) {
    const int i = indexOf(name);
    app_->handleAddress({added, ifIndex_[i], 0, {inet_addr(wanAddress(i, 2).c_str())}});
}

void Engine::gateway(const std::string& name, bool added) {
    const int i = indexOf(name);
    app_->handleRoute({added, ifIndex_[i], inet_addr(wanAddress(i, 1).c_str()), 100 + i});
}

// A route without a gateway.
void Engine::route(const std::string& name, int table) {
    app_->handleRoute({true, ifIndex_[indexOf(name)], NO_ADDRESS, table});
}

void Engine::usable(const std::string& name) {
    link(name, RUNNING);
    address(name, true);
    gateway(name, true);
}

void Engine::probe(const std::string& name, bool ok) {
    sim::answer("uplinker-ping", wanAddress(indexOf(name), 2), ok);
}

void Engine::measure(const std::string& name, unsigned sent, unsigned received, double rttMs) {
    sim::measured(wanAddress(indexOf(name), 2), sent, received, rttMs);
}

void Engine::settle() {
    // Every check asked for has stored its verdict.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    const auto running = [this] {
        return std::any_of(app_->wanTable().begin(), app_->wanTable().end(), [](const Wan& wan) {
            return wan.readCheckState() == CheckState::RunActive;
        });
    };
    while (running() && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EXPECT_FALSE(running()) << "checks did not finish";
}

void Engine::step(int seconds) {
    for (int i = 0; i < seconds; ++i) {
        sim::advance(1);
        app_->decide();
        settle();
    }
}

std::vector<std::string> Engine::hooks() {
    std::vector<std::string> calls;
    const std::string hook = HOOK_PATH;
    for (const std::string& command : sim::takeCommands())
        if (command.rfind(hook, 0) == 0)
            calls.push_back(command.size() > hook.size() ? command.substr(hook.size() + 1) : "");
    return calls;
}

std::vector<std::string> Engine::log() {
    std::ifstream file(LOG_FILE);
    file.seekg(static_cast<std::streamoff>(logRead_));
    std::vector<std::string> messages;
    std::string line;
    while (std::getline(file, line)) {
        logRead_ += line.size() + 1;
        messages.push_back(line.substr(line.find("] ") + 2));
    }
    return messages;
}

std::vector<std::string> Engine::probed() {
    // Check threads run side by side, so their order says nothing.
    std::multiset<std::string> names;
    for (const std::string& run : sim::takeRuns())
        for (size_t i = 0; i < specs_.size(); ++i)
            if (run.find(" " + wanAddress(i, 2) + " ") != std::string::npos)
                names.insert(specs_[i].name);
    return std::vector<std::string>(names.begin(), names.end());
}
