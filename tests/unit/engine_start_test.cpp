// Start-up and name servers on the simulated world: the commands of the first switch, and
// the probe target resolved through a WAN's own servers.
#include <algorithm>
#include <fstream>

#include "engine.h"

// Each enabled WAN in turn gets the resolver link at start; the first switch then writes the
// current-WAN file, replaces the route, links its resolver file and runs the hook, in order.
TEST(EngineStart, FirstSwitchInItsOrder) {
    Engine engine(Mode::Failover, {{"eth0"}, {"eth1", false, false}, {"eth2"}});
    // clang-format off
    const auto link = [](const char* wan) { return "ln -sf \"/var/run/resolv_" + std::string(wan) +
        ".conf\" \"/var/run/wan_resolv.conf\""; };
    const std::vector<std::string> expected = {link("eth0"), link("eth2"),
        "ip route del default table main [eth0]",
        "ip route add default via 10.0.0.1 dev eth0 table main", link("eth0"),
        std::string(HOOK_PATH) + " -i eth0 -d up"};
    // clang-format on
    EXPECT_EQ(sim::takeCommands(), expected);
}

// A name server that does not answer is passed over for the next; a name nobody resolves to an
// address is still probed, the tool may know it.
TEST(EngineStart, ProbeTargetThroughTheWansOwnNameServers) {
    const std::string dig = "vrx-dig --bind-address 10.0.0.2 --dns-address ";
    const struct {
        const char* servers;
        std::vector<std::string> runs;
        std::vector<std::string> more = {};
    } cases[] = {
        {"search x\nnameserver 192.0.2.53\nnameserver 192.0.2.54\n",
         {"uplinker-ping -I 10.0.0.2 -c 1 192.0.2.7", dig + "192.0.2.53 probe.test",
          dig + "192.0.2.54 probe.test"}},
        // Only an address counts, not a command line that starts with one.
        {"nameserver 192.0.2.55\n",
         {"uplinker-ping -I 10.0.0.2 -c 1 probe.test", dig + "192.0.2.55 probe.test"}},
        {"", {"uplinker-ping -I 10.0.0.2 -c 1 probe.test"}},
        // A TCP check of several targets probes each, every name through the WAN's servers.
        {"nameserver 192.0.2.54\n",
         {"inet-check -m active -h 192.0.2.7 -t tcp -p 0 eth0",
          "inet-check -m active -h 192.0.2.8 -t tcp -p 0 eth0", dig + "192.0.2.54 probe.test"},
         {"192.0.2.8"}},
    };
    for (const auto& c : cases) {
        std::ofstream("/var/run/resolv_eth0.conf") << c.servers;
        sim::answer("vrx-dig", "192.0.2.53", false, "Found ipV4 192.0.2.6\n");
        sim::answer("vrx-dig", "192.0.2.54", true, "; noise\nFound ipV4 192.0.2.7\n");
        sim::answer("vrx-dig", "192.0.2.55", true, "Found ipV4 192.0.2.2;touch /tmp/x\n");
        WanSpec eth0{"eth0", true};
        eth0.host = "probe.test";
        eth0.more = c.more, eth0.tcp = !c.more.empty();
        Engine engine(Mode::Failover, {eth0, {"eth1"}});
        // Several targets are probed side by side, in no order.
        std::vector<std::string> runs = sim::takeRuns();
        std::sort(runs.begin(), runs.end());
        EXPECT_EQ(runs, c.runs) << c.servers;
    }
}

// A WAN whose check thread cannot be started is named at ERROR, and the start-up ends there.
TEST(EngineStart, CheckThreadThatCannotStartEndsStartUp) {
    sim::threadsToRefusal = 2;
    Engine engine(Mode::Failover, {{"eth0"}, {"eth1"}, {"eth2"}}, false);
    const std::vector<std::string> log = engine.log();
    EXPECT_EQ(std::count(log.begin(), log.end(), "eth1| unable to start the check thread"), 1);
}
