"""The cellular WAN ppp0 follows the modem's status file."""

from harness import config_answer, uplinker_entry, waninfo_entry


def test_cell_status_makes_ppp0_usable(world):
    world.add_wans("ppp0", "eth1")
    answer = config_answer("FAILOVER", [uplinker_entry("ppp0", 10), uplinker_entry("eth1", 20)])
    d = world.start(answer)
    # ppp0 has link, address and gateway, but no status file says the modem is connected.
    world.assert_uplink("eth1", ["-i eth1 -d up"])
    assert world.istate("ppp0") is None

    world.write_run_file("cell/status", "CONNECTED\n")
    d.wait_message("ppp0| Cellular connectivity status changed to true")
    world.assert_uplink("ppp0", ["-i eth1 -d up", "-i ppp0 -d up"])
    assert world.istate("ppp0") == "Up\n"

    # Only the exact upper-case word counts.
    world.write_run_file("cell/status", "connected\n")
    d.wait_message("ppp0| Cellular connectivity status changed to false")
    world.assert_uplink("eth1", ["-i eth1 -d up", "-i ppp0 -d up", "-i eth1 -d down"])
    assert world.istate("ppp0") == "Down\n"

    world.write_run_file("cell/status", "CONNECTED")
    world.assert_uplink("ppp0", ["-i eth1 -d up", "-i ppp0 -d up", "-i eth1 -d down",
                                 "-i ppp0 -d up"])


def test_disabled_ppp0_is_reported_disabled(world):
    world.add_wans("eth0", "ppp0")
    entries = [uplinker_entry("eth0", 10), uplinker_entry("ppp0", 20)]
    inventory = [waninfo_entry("eth0"), waninfo_entry("ppp0", enabled=False)]
    d = world.start(config_answer("FAILOVER", entries, inventory))
    world.assert_uplink("eth0", ["-i eth0 -d up"])
    world.write_run_file("cell/status", "CONNECTED\n")
    d.wait_message("ppp0| Cellular connectivity status changed to true")
    world.write_run_file("cell/status", "NO SERVICE\n")
    d.wait_message("ppp0| Cellular connectivity status changed to false")
    world.wait_istate("ppp0", "Disabled\n")
    # In Constant mode (one enabled WAN) another WAN's loss changes nothing.
    assert world.hook_calls() == ["-i eth0 -d up"]
