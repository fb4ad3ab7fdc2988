// The engine's outage rules as stories on the simulated clock: kernel events, status files and
// probe verdicts in, one beat at a time; the hook calls and probe runs of each beat out. A beat
// of N seconds that expects nothing, followed by a beat of 1 second that expects the switch,
// holds a timed rule to both of its bounds.
#include <algorithm>
#include <fstream>
#include <functional>

#include "engine.h"
#include "support/clock.h"

namespace {

using Act = std::function<void(Engine&)>;
using Names = std::vector<std::string>;

struct Beat {
    Act act;
    int seconds;
    Names hooks;
    // Checked only when given: the WANs probed during the beat, and lines it must log.
    std::vector<Names> probed = {};
    Names logs = {};
};

struct Story {
    const char* name;
    std::vector<WanSpec> wans; // all with link, address and gateway from the start
    Names startHooks;
    std::vector<Beat> beats;
    Mode mode = Mode::Failover;
};

// clang-format off
Act carrier(const std::string& name, unsigned flags) { return [=](Engine& e) { e.link(name, flags); }; }
Act probe(const std::string& name, bool ok) { return [=](Engine& e) { e.probe(name, ok); }; }
Act cell(const std::string& text) { return [=](Engine&) { std::ofstream(CELL_STATUS_FILE) << text; }; }
Act both(Act first, Act second) { return [=](Engine& e) { first(e), second(e); }; }
// The probe of that target succeeds or fails from now on, whichever WAN probes it.
Act reply(const std::string& target, bool ok) { return [=](Engine&) { sim::answer("uplinker-ping", target, ok); }; }
Act addressed(bool added) { return [=](Engine& e) { e.address("ppp0", added); }; }
Act gatewayed(bool added) { return [=](Engine& e) { e.gateway("ppp0", added); }; }
Act refuse(int n) { return [=](Engine&) { sim::threadsToRefusal = n; }; } // the n-th thread from now on
Act idle(int seconds) { return [=](Engine& e) { e.step(seconds); }; } // work steps, within an act
const Act NOTHING = [](Engine&) {};

WanSpec active(const std::string& name, uint32_t interval, bool ok = false, WanType type = WanType::Ethernet) {
    return WanSpec{name, true, true, interval, type, "192.0.2.1", ok};
}
WanSpec trusted(const std::string& name, Names more, uint32_t reliability, uint32_t down, uint32_t up, WanType type = WanType::Ethernet) {
    return WanSpec{name, true, true, 20, type, "192.0.2.1", true, more, reliability, down, up};
}
const WanSpec WLAN0 = {"wlan0", false, true, 60, WanType::Wifi}, PPP0 = {"ppp0", false, true, 60, WanType::Cellular};
const std::string TIMEOUT = "wlan0| ==   UNLOCKING INTERFACE AFTER 30 SECONDS LOCK TIMEOUT  ==";
const std::string EARLY = "wlan0| ==   UNLOCKING INTERFACE SINCE IT HAS INTERNET NOW      ==";
const std::string UP0 = "-i eth0 -d up", UP1 = "-i eth1 -d up", DOWN1 = "-i eth1 -d down", UPW = "-i wlan0 -d up";
const std::string FORGIVEN = "wlan0| Setting ActiveResult=true to suppress false negative result";
const std::string COUNTED = "ppp0| Active check verdict down 1/2", DROPPED = "ppp0| Active check count down 1/2 dropped";
const std::string UPP = "-i ppp0 -d up", FAILED = "eth0| Wan::checkDone (failed)", DOWN2 = "-i eth2 -d down", UP_1 = "eth1| Active check verdict up 1/2";
const Names THREE = {"192.0.2.11", "192.0.2.12"}; // beside 192.0.2.1

const Story STORIES[] = {
    {"a carrier loss fails over, its return fails back", {{"eth0"}, {"eth1"}}, {UP0}, {{carrier("eth0", DOWN), 1, {DOWN1}}, {carrier("eth0", RUNNING), 1, {UP0}}}},
    {"Constant mode stays on the first enabled WAN", {{"eth0"}, {"eth1"}}, {UP0},
     {{carrier("eth0", DOWN), 1, {"-d down"}}, {carrier("eth0", RUNNING), 1, {UP0}}}, Mode::Constant},
    // Every WAN is probed and every probe fails: the last enabled one still carries the route.
    {"the last enabled WAN is usable without a probe", {active("eth0", 60), active("eth1", 60)}, {UP1},
     {{NOTHING, 120, {}}, {probe("eth0", true), 12, {UP0}}, {probe("eth0", false), 60, {DOWN1}}}},
    {"a roaming Wi-Fi uplink is locked for 30 s", {WLAN0, {"eth1"}}, {UPW}, {{carrier("wlan0", ROAMING), 29, {}}, {NOTHING, 1, {DOWN1}, {}, {TIMEOUT}}}},
    {"a dormant Wi-Fi is roaming too", {WLAN0, {"eth1"}}, {UPW}, {{carrier("wlan0", 0x20001), 29, {}}, {NOTHING, 1, {DOWN1}}}},
    {"a carrier loss on the Wi-Fi fails over at once", {WLAN0, {"eth1"}}, {UPW}, {{carrier("wlan0", DOWN), 1, {DOWN1}}}},
    {"a second roam does not renew the lock", {WLAN0, {"eth1"}}, {UPW}, {{carrier("wlan0", ROAMING), 10, {}},
     {[](Engine& e) { e.link("wlan0", RUNNING); e.link("wlan0", ROAMING); }, 19, {}}, {NOTHING, 1, {DOWN1}}}},
    {"internet back on the roaming Wi-Fi unlocks it early", {WLAN0, {"eth1"}}, {UPW},
     {{carrier("wlan0", ROAMING), 5, {}}, {carrier("wlan0", RUNNING), 1, {"-i wlan0"}, {}, {EARLY}}}},
    // The check that ran just before the client re-associated failed; the early unlock
    // forgives it.
    {"the early unlock accepts a verdict that failed while roaming", {active("wlan0", 20, false, WanType::Wifi), {"eth1"}}, {UP1},
     {{probe("wlan0", true), 12, {UPW}}, {probe("wlan0", false), 18, {}}, {carrier("wlan0", ROAMING), 2, {}, {}, {"wlan0| Active check result changed to false"}},
      {carrier("wlan0", RUNNING), 1, {"-i wlan0"}, {}, {FORGIVEN}}}},
    {"a roaming Wi-Fi that is not the uplink pins nothing", {{"eth0"}, WLAN0}, {UP0},
     {{[](Engine& e) { e.link("wlan0", ROAMING); e.link("eth0", DOWN); }, 1, {"-d down"}}}},
    // Made again, the link comes back with its address and gateway under a new index.
    {"a deleted uplink fails over; made again under a new index it fails back", {{"eth0"}, {"eth1"}}, {UP0},
     {{[](Engine& e) { e.linkGone("eth0"); }, 1, {DOWN1}},
      {[](Engine& e) { e.address("eth0", false); e.gateway("eth0", false); e.renumber("eth0"); e.usable("eth0"); }, 1, {UP0}}}},
    {"the cellular WAN follows the modem's status file", {PPP0, {"eth1"}}, {UP1},
     {{cell("CONNECTED\n"), 2, {UPP}}, {cell("connected\n"), 2, {DOWN1}}, {cell("CONNECTED"), 2, {UPP}}}},
    // Check timing: the seconds between two probes of the same WAN.
    {"a usable WAN is checked every full interval", {active("eth0", 20, true), {"eth1"}}, {UP1},
     {{NOTHING, 2, {UP0}}, {NOTHING, 17, {}, {{}}}, {NOTHING, 1, {}, {{"eth0"}}}, {NOTHING, 19, {}, {{}}}, {NOTHING, 1, {}, {{"eth0"}}}}},
    {"a WAN without internet is checked at the short interval", {active("eth0", 20), {"eth1"}}, {UP1},
     {{NOTHING, 9, {}, {{}}}, {NOTHING, 1, {}, {{"eth0"}}}, {NOTHING, 9, {}, {{}}}, {NOTHING, 1, {}, {{"eth0"}}}}},
    {"the cellular WAN is checked at its full interval while down", {active("ppp0", 20, false, WanType::Cellular), {"eth1"}}, {UP1},
     {{cell("CONNECTED\n"), 1, {}, {{"ppp0"}}}, {NOTHING, 19, {}, {{}}}, {NOTHING, 1, {}, {{"ppp0"}}}}},
    {"only the current WAN and those above it get new checks", {active("eth0", 10), active("eth1", 10, true), active("eth2", 10, true)},
     {"-i eth2 -d up"}, {{NOTHING, 2, {UP1}}, {NOTHING, 40, {}, {{"eth0", "eth0", "eth0", "eth0", "eth1", "eth1", "eth1", "eth1"}}}}},
    // eth1's check starts in the step that takes eth0's verdict, and ends once eth0 is the uplink.
    {"a verdict below the current WAN is still collected", {active("eth0", 20), active("eth1", 11, true), {"eth2"}}, {"-i eth2 -d up"},
     {{NOTHING, 2, {UP1}}, {both(probe("eth0", true), probe("eth1", false)), 11, {UP0, "-i eth0"}, {}, {"eth1| Wan::checkDone (down)"}}}},
    {"a single enabled WAN runs in Constant mode, unprobed", {active("eth0", 10), {"eth1", false, false}}, {UP0}, {{NOTHING, 30, {}, {{}}}}},
    // From the second check on, a probe answers only while all three of its check run at once;
    // a target named twice is probed once.
    {"a quorum of targets, probed side by side, decides the verdict", {trusted("eth0", {"192.0.2.11", "192.0.2.12", "192.0.2.11"}, 2, 1, 1), {"eth1"}}, {UP1},
     {{both([](Engine&) { sim::together(3); }, both(reply("192.0.2.1", false), reply("192.0.2.12", false))), 2, {UP0}, {}, {"eth0| 3/3 targets answered"}},
      {NOTHING, 20, {DOWN1}, {}, {"eth0| 1/3 targets answered"}}, {reply("192.0.2.12", true), 10, {UP0}, {}, {"eth0| 2/3 targets answered"}}}},
    // Counts damp changes of a known result: the first verdict after start is taken at once.
    {"verdicts against the result count toward a change; one that agrees drops the count", {trusted("eth0", {}, 1, 3, 2), {"eth1"}}, {UP1},
     {{NOTHING, 1, {}, {}, {"eth0| Active check verdict up taken at once, the first"}}, {NOTHING, 1, {UP0}},
      {probe("eth0", false), 19, {}, {}, {"eth0| Active check verdict down 1/3"}}, {probe("eth0", true), 10, {}, {}, {"eth0| Active check count down 1/3 dropped"}},
      {probe("eth0", false), 40, {}}, {NOTHING, 1, {DOWN1}}}},
    // A dormant roam that keeps RUNNING leaves the link up: only the early unlock drops the count.
    {"the early unlock drops a count", {trusted("wlan0", {}, 1, 2, 1, WanType::Wifi), {"eth1"}}, {UP1},
     {{probe("wlan0", false), 21, {UPW}, {}, {"wlan0| Active check verdict down 1/2"}}, {carrier("wlan0", 0x20041),
      1, {"-i wlan0"}, {}, {"wlan0| Active check count down 1/2 dropped"}}, {NOTHING, 19, {}, {}, {"wlan0| Active check verdict down 1/2"}}}},
    // A count ends with the situation it was counted in: each return starts a new count, and a
    // verdict collected while the checks stopped starts none.
    {"a count ends with a carrier, address, gateway or modem loss", {trusted("ppp0", {}, 1, 2, 1, WanType::Cellular), {"eth1"}}, {UP1},
     {{cell("CONNECTED\n"), 3, {UPP}}, {probe("ppp0", false), 19, {}, {}, {COUNTED}}, {carrier("ppp0", DOWN), 1, {DOWN1}, {}, {DROPPED}},
      {carrier("ppp0", RUNNING), 19, {UPP}, {}, {COUNTED}}, {addressed(false), 1, {DOWN1}, {}, {DROPPED}}, {addressed(true), 19, {UPP}, {}, {COUNTED}},
      {NOTHING, 19, {}}, {gatewayed(false), 1, {DOWN1}, {}, {DROPPED, "ppp0| Active check verdict down not counted, the checks stopped"}},
      {gatewayed(true), 20, {UPP}, {}, {COUNTED}}, {cell("NO SERVICE\n"), 2, {DOWN1}, {}, {DROPPED}}, {cell("CONNECTED\n"), 18, {UPP}, {}, {COUNTED}},
      {NOTHING, 20, {}}, {NOTHING, 1, {DOWN1}}}},
    // eth1 counts toward up while eth2 is the uplink, and stops being checked under eth0.
    {"a count ends when its checks stop", {{"eth0"}, trusted("eth1", {}, 1, 1, 2), {"eth2"}}, {UP0},
     {{both(carrier("eth0", DOWN), probe("eth1", false)), 2, {DOWN2}, {}, {"eth1| Wan::checkDone (down)"}}, {probe("eth1", true), 10, {}, {}, {UP_1}},
      {carrier("eth0", RUNNING), 1, {UP0}, {}, {"eth1| Active check count up 1/2 dropped"}}, {carrier("eth0", DOWN), 1, {DOWN2}},
      {NOTHING, 18, {}, {}, {UP_1}}, {NOTHING, 1, {UP1}}}},
    // A probe that cannot start is no answer, neither when too few probes start for the
    // reliability, nor when its answer would have decided.
    {"probes that could not start give no verdict", {trusted("eth0", THREE, 3, 1, 1), {"eth1"}}, {UP1}, {{both(refuse(2),
     reply("192.0.2.12", false)), 22, {UP0}, {}, {"eth0| unable to start the probe thread for 192.0.2.11", FAILED}}}},
    {"a probe that could not start decides no verdict", {trusted("eth0", THREE, 2, 1, 1), {"eth1"}}, {UP1}, {{both(refuse(3),
     both(reply("192.0.2.11", false), reply("192.0.2.12", false))), 22, {UP0}, {}, {FAILED}}, {NOTHING, 20, {DOWN1}}}},
    {"Constant mode never probes", {active("eth0", 10), active("eth1", 10)}, {UP0}, {{NOTHING, 120, {}, {{}}}}, Mode::Constant},
};

// The cause the status file gives for the last switch, one row per cause; the switch is made
// ago seconds before the row's end.
struct CauseRow {
    const char* cause;
    std::vector<WanSpec> wans;
    Act act;
    int seconds;
    const char* move; // from>to, "" for none
    Mode mode = Mode::Failover;
    int ago = 0;
};

const std::vector<WanSpec> TWO = {{"eth0"}, {"eth1"}};
// eth0 judged by loss or latency, its probe's requests all answered in 20 ms until told
// otherwise.
std::vector<WanSpec> judged(uint32_t failureLoss, uint32_t failureLatency) {
    return {{"eth0", true, true, 20, WanType::Ethernet, "192.0.2.1", true, {}, 1, 1, 1, failureLoss, 0, failureLatency, 0, 10, 10, 20}, {"eth1"}};
}
Act measure(unsigned sent, unsigned received, double rttMs) { return [=](Engine& e) { e.measure("eth0", sent, received, rttMs); }; }

const CauseRow CAUSES[] = {
    {"start", TWO, NOTHING, 0, ">eth0"},
    {"eth0: carrier lost", TWO, carrier("eth0", DOWN), 1, "eth0>", Mode::Constant},
    // Counted and timed at the loss: a refresh afterwards is no switch.
    {"eth0: carrier lost", {{"eth0"}, {"eth1"}, {"eth2"}}, both(both(carrier("eth0", DOWN), idle(1)), carrier("eth2", DOWN)), 1, "eth0>eth1", Mode::Failover, 1},
    {"eth0: link deleted", TWO, [](Engine& e) { e.linkGone("eth0"); }, 1, "eth0>eth1"},
    {"eth0: address removed", TWO, [](Engine& e) { e.address("eth0", false); }, 1, "eth0>eth1"},
    {"eth0: gateway removed", TWO, [](Engine& e) { e.gateway("eth0", false); }, 1, "eth0>eth1"},
    {"eth0: probe failed", {active("eth0", 20, true), {"eth1"}}, both(idle(2), probe("eth0", false)), 20, "eth0>eth1"},
    // The window mean (here 1200.9 ms) is cut to a whole number, never rounded up past it.
    {"eth0: loss 45 % \u2265 40 %", judged(40, 0), both(idle(2), measure(20, 11, 20)), 20, "eth0>eth1"},
    {"eth0: latency 1200 ms \u2265 1000 ms", judged(0, 1000), both(idle(2), measure(10, 10, 2381.8)), 20, "eth0>eth1"},
    {"eth0: probe failed", judged(40, 0), both(idle(2), measure(10, 0, 0)), 20, "eth0>eth1"},
    {"ppp0: modem disconnected", {PPP0, {"eth1"}}, both(both(cell("CONNECTED\n"), idle(2)), cell("NO SERVICE\n")), 2, "ppp0>eth1"},
    {"eth0: usable again", TWO, both(both(carrier("eth0", DOWN), idle(1)), carrier("eth0", RUNNING)), 1, "eth1>eth0"},
    {"wlan0: roaming lock ran out", {WLAN0, {"eth1"}}, carrier("wlan0", ROAMING), 30, "wlan0>eth1"},
    // eth0's return during the lock is dropped with every other request; the unlock decides.
    {"wlan0: roaming lock ended", {{"eth0"}, WLAN0}, both(both(carrier("eth0", DOWN), idle(1)), both(both(carrier("wlan0", ROAMING),
     carrier("eth0", RUNNING)), both(idle(1), carrier("wlan0", RUNNING)))), 1, "wlan0>eth0"},
};
// clang-format on

} // namespace

TEST(EngineRules, Stories) {
    for (const Story& story : STORIES) {
        SCOPED_TRACE(story.name);
        Engine engine(story.mode, story.wans);
        EXPECT_EQ(engine.hooks(), story.startHooks);
        engine.probed();
        int at = 0;
        for (const Beat& beat : story.beats) {
            beat.act(engine);
            engine.step(beat.seconds);
            at += beat.seconds;
            EXPECT_EQ(engine.hooks(), beat.hooks) << "after " << at << " s";
            const Names probed = engine.probed();
            if (!beat.probed.empty()) {
                EXPECT_EQ(probed, beat.probed.front()) << "after " << at << " s";
            }
            const Names logged = engine.log();
            for (const std::string& line : beat.logs)
                EXPECT_NE(std::find(logged.begin(), logged.end(), line), logged.end())
                    << line << " after " << at << " s";
        }
    }
}

TEST(EngineRules, SwitchCauses) {
    for (const CauseRow& row : CAUSES) {
        SCOPED_TRACE(row.cause);
        Engine engine(row.mode, row.wans);
        row.act(engine);
        engine.step(row.seconds);
        const Json::Value last = statusFile()["last_switch"];
        EXPECT_EQ(last["cause"].asString(), row.cause);
        EXPECT_EQ(last["from"].asString() + ">" + last["to"].asString(), row.move);
        EXPECT_EQ(last["time"].asInt64(), realtimeMs() / 1000 - row.ago);
        // Counted once, under the cause without the name (and a threshold's without its numbers).
        const std::string what =
            std::string(row.cause).substr(std::string(row.cause).find(' ') + 1);
        EXPECT_EQ(
            statusFile()["switches"][what.substr(0, what.find_first_of("0123456789") - 1)].asInt(),
            1);
    }
}

// A WAN's last verdict with its target counts, and the verdicts counted toward a change. The
// first check ran with every target answering; the second comes 20 s later.
TEST(EngineRules, StatusOfTrustedProbes) {
    Engine engine(Mode::Failover,
                  {trusted("eth0", {"192.0.2.11", "192.0.2.12"}, 2, 2, 2), {"eth1"}});
    // clang-format off
    const std::tuple<Act, int, const char*> BEATS[] = {{reply("192.0.2.12", false), 21, "up 2/3  /"},
        {reply("192.0.2.1", false), 20, "down 1/3 down 1/2"}, {NOTHING, 10, "down 1/3  /"}, {reply("192.0.2.1", true), 10, "up 2/3 up 1/2"}};
    // clang-format on
    for (const auto& [act, seconds, shown] : BEATS) {
        act(engine), engine.step(seconds);
        const Json::Value wan = statusFile()["wans"][0], &verdict = wan["verdict"],
                          &pending = wan["pending"];
        EXPECT_EQ(verdict["result"].asString() + " " + verdict["answered"].asString() + "/" +
                      verdict["probed"].asString() + " " + pending["toward"].asString() + " " +
                      pending["count"].asString() + "/" + pending["needed"].asString(),
                  shown);
    }
}

// The counters on their own: verdicts by result, and the reason a move is counted under for a
// measured threshold's cause (by its word) and for one unknown.
TEST(EngineRules, StatusCounters) {
    StatusReport report;
    Wan wan{WanConfig{}};
    for (const char* result : {"failed", "down", "failed", "up", "failed"})
        report.noteVerdict(1, result, wan);
    const auto [up, down, failed] = report.verdictCounts(1);
    EXPECT_EQ(std::vector<uint64_t>({up, down, failed}), std::vector<uint64_t>({1, 1, 3}));
    for (const char* what : {"loss 45 % ≥ 40 %", "latency 1200 ms ≥ 1000 ms", "lossy", "new"}) {
        report.requestedBy("eth0", what);
        report.noteSwitch(&wan, nullptr);
    }
    EXPECT_EQ(report.switchCounts(),
              (std::map<std::string, uint64_t>{{"latency", 1}, {"loss", 1}, {"other", 2}}));
}
