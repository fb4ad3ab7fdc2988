// An engine on the simulated world: WANs eth0, eth1 ... (or other names) in priority order,
// fed kernel events by name, stepped a second at a time, and read through what it did: shell
// commands, hook calls, probe runs and log lines. Runs inside the test sandbox, so the state
// files it writes under /var/run are private.
#pragma once

#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

#include "app/app.h"
#include "seams.h"

struct WanSpec {
    std::string name;
    bool active = false, enabled = true;
    uint32_t interval = 60;
    WanType type = WanType::Ethernet;
    std::string host = "192.0.2.1";
    // What its probe answers until told otherwise.
    bool probeOk = false;
    // The optional probe settings: further targets, reliability, down and up counts.
    std::vector<std::string> more = {};
    uint32_t reliability = 1, down = 1, up = 1;
    // Loss (percent) and latency (ms) thresholds, failure and recovery; 0 leaves one out.
    uint32_t failureLoss = 0, recoveryLoss = 0, failureLatency = 0, recoveryLatency = 0;
    // With sent not 0, the report of its probe until told otherwise (see Engine::measure).
    unsigned sent = 0, received = 0;
    double rttMs = 0;
    bool tcp = false;
};

// The status file as the engine last wrote it.
Json::Value statusFile();

// IFF_UP | IFF_RUNNING | IFF_LOWER_UP, and the flags of a Wi-Fi client while it re-associates.
constexpr unsigned RUNNING = 0x10041;
constexpr unsigned ROAMING = 0x10001;
constexpr unsigned DOWN = 0x1;

class Engine {
public:
    // Builds the table through the configuration loader and completes the start-up dumps on a
    // real rtnetlink socket; every WAN has link, address and gateway by then. A table that is
    // not to be built (starts false) is read through log().
    Engine(Mode mode, const std::vector<WanSpec>& wans, bool starts = true);
    ~Engine();

    // Kernel events about one WAN, by name.
    void link(const std::string& name, unsigned flags) {
        app_->handleNewLink(netlink::LinkEvent{ifIndex_[indexOf(name)], flags, name});
    }
    void linkGone(const std::string& name) { app_->handleDelLink({ifIndex_[indexOf(name)]}); }
    void address(const std::string& name, bool added);
    void gateway(const std::string& name, bool added);
    // Link, address and gateway at once.
    void usable(const std::string& name);
    // A route added through the WAN's device in a table that is not its own.
    void route(const std::string& name, int table);
    // The interface of that name gets another index, as a modem link does on every dial.
    void renumber(const std::string& name) { ifIndex_[indexOf(name)] += 100; }
    // The probe of the WAN succeeds or fails from now on.
    void probe(const std::string& name, bool ok);
    // Its probe answers received of sent requests from now on, each after rttMs.
    void measure(const std::string& name, unsigned sent, unsigned received, double rttMs);

    // Moves the clock on by seconds, with the decisions of a work step every second; the
    // checks a step starts finish before the next one.
    void step(int seconds = 1);

    // The hook's arguments ("-i eth1 -d down") for every run since the last call; the other shell
    // commands are dropped with them.
    std::vector<std::string> hooks();
    // Every log message since the last call.
    std::vector<std::string> log();
    // The WANs probed since the last call, sorted.
    std::vector<std::string> probed();
    const App& app() const { return *app_; }

private:
    int indexOf(const std::string& name) const;
    void settle();

    std::vector<WanSpec> specs_;
    std::vector<int32_t> ifIndex_;
    std::unique_ptr<App> app_;
    size_t logRead_ = 0;
};
