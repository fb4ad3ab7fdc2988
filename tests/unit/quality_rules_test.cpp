// Loss and latency thresholds as a rule table on the simulated clock: one check after another
// on eth0 (checked every second, eth1 its backup), each with the requests its probe reports,
// and what the status file then shows of eth0's window, judgement and active result.
#include <cstdio>

#include "engine.h"

namespace {

struct Check {
    unsigned sent, received;
    double rttMs;
    // "requests loss latency judgement decided_by result", "-" for null.
    const char* shown;
};

struct QualityRow {
    const char* name;
    uint32_t failureLoss, recoveryLoss, failureLatency, recoveryLatency;
    std::vector<Check> checks;
    // While the second check runs, eth0's carrier goes down and comes back.
    bool outage = false;
};

// clang-format off
const QualityRow ROWS[] = {
    {"loss at its failure threshold is bad", 40, 10, 0, 0, {{10, 6, 20, "10 40 20 bad loss down"}}},
    {"loss just below it is good", 40, 10, 0, 0, {{20, 13, 20, "20 35 20 good reachability up"}}},
    {"loss just above it is bad", 40, 10, 0, 0, {{20, 11, 20, "20 45 20 bad loss down"}}},
    // Each check's requests push the previous check's out of the window of 20.
    {"between the thresholds the last judgement holds; recovery at its threshold", 40, 10, 0, 0,
     {{10, 5, 20, "10 50 20 bad loss down"}, {10, 8, 20, "20 35 20 bad loss down"},
      {10, 9, 20, "20 15 20 bad loss down"}, {10, 9, 20, "20 10 20 good reachability up"},
      {10, 7, 20, "20 20 20 good reachability up"}, {10, 6, 20, "20 35 20 good reachability up"}}},
    {"fewer than 10 requests are not judged", 40, 10, 0, 0,
     {{9, 4, 20, "9 55.6 20 - reachability up"}, {1, 1, 20, "10 50 20 bad loss down"}}},
    {"latency at its failure threshold is bad", 0, 0, 1000, 500, {{10, 10, 1000, "10 0 1000 bad latency down"}}},
    {"latency just below it is good", 0, 0, 1000, 500, {{10, 10, 999, "10 0 999 good reachability up"}}},
    {"latency just above it is bad; recovery only at its threshold", 0, 0, 1000, 500,
     {{10, 10, 1001, "10 0 1001 bad latency down"}, {10, 10, 603, "20 0 802 bad latency down"},
      {10, 10, 399, "20 0 501 bad latency down"}, {10, 10, 601, "20 0 500 good reachability up"}}},
    {"no answer at all is down whatever the window says", 40, 10, 0, 0,
     {{10, 10, 20, "10 0 20 good reachability up"}, {4, 0, 20, "14 28.6 20 good reachability down"}}},
    // What the check running through the outage measured is dropped with the rest.
    {"a lost link empties the window", 40, 10, 0, 0,
     {{10, 5, 20, "10 50 20 bad loss down"}, {2, 2, 20, "0 - - - reachability up"},
      {2, 2, 20, "2 0 20 - reachability up"}}, true},
};
// clang-format on

// The quality values, null as "-" and a number to six digits, then the active result.
std::string shown(const Json::Value& wan) {
    std::string text;
    for (const char* key : {"requests", "loss", "latency_ms", "judgement", "decided_by"}) {
        const Json::Value& value = wan["quality"][key];
        char number[32] = "-";
        if (value.isNumeric())
            (void)snprintf(number, sizeof number, "%g", value.asDouble());
        text += (value.isString() ? value.asString() : number) + std::string(" ");
    }
    return text + (wan["active_result"].asBool() ? "up" : "down");
}

} // namespace

TEST(QualityRules, Window) {
    for (const QualityRow& row : ROWS) {
        SCOPED_TRACE(row.name);
        const Check& first = row.checks.front();
        // The first check runs as the engine starts and is collected a second later; each
        // further one takes a second to start and one to be collected.
        // clang-format off
        Engine engine(Mode::Failover, {{"eth0", true, true, 1, WanType::Ethernet, "192.0.2.1", false, {}, 1, 1, 1,
            row.failureLoss, row.recoveryLoss, row.failureLatency, row.recoveryLatency, first.sent, first.received,
            first.rttMs}, {"eth1"}});
        // clang-format on
        for (size_t i = 0; i < row.checks.size(); ++i) {
            const Check& check = row.checks[i];
            engine.measure("eth0", check.sent, check.received, check.rttMs);
            engine.step(1);
            if (row.outage && i == 1) {
                engine.link("eth0", DOWN);
                engine.link("eth0", RUNNING);
            }
            engine.step(i == 0 ? 0 : 1);
            EXPECT_EQ(shown(statusFile()["wans"][0]), check.shown) << "check " << i + 1;
        }
    }
}

// A WAN whose checks stop (a better one is back) is judged afresh when they resume; the file
// shows only the thresholds given, and nothing of quality for a WAN without them.
TEST(QualityRules, StoppedChecks) {
    // clang-format off
    Engine engine(Mode::Failover, {{"eth0", true, true, 1, WanType::Ethernet, "192.0.2.1", true},
        {"eth1", true, true, 1, WanType::Ethernet, "192.0.2.1", false, {}, 1, 1, 1, 0, 0, 900, 0, 10, 10, 20}});
    // clang-format on
    engine.link("eth0", DOWN);
    engine.step(3);
    Json::Value wans = statusFile()["wans"];
    EXPECT_EQ(shown(wans[1]), "20 0 20 good reachability up");
    EXPECT_EQ(Json::FastWriter().write(wans[1]["quality"]["thresholds"]),
              "{\"failure_latency_ms\":900,\"recovery_latency_ms\":450}\n");
    EXPECT_FALSE(wans[0].isMember("quality"));
    engine.link("eth0", RUNNING);
    engine.step(1);
    EXPECT_EQ(shown(statusFile()["wans"][1]), "0 - - - reachability up");
}
