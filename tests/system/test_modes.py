"""Constant mode and the automatic fall-back to it with a single enabled WAN."""

from harness import config_answer, uplinker_entry, waninfo_entry


def test_constant_mode_stays_on_first_enabled_wan(world):
    world.add_wans("eth0", "eth1")
    answer = config_answer("CONSTANT", [uplinker_entry("eth0", 10), uplinker_entry("eth1", 20)])
    d = world.start(answer)
    world.assert_uplink("eth0", ["-i eth0 -d up"])
    assert d.find("  Uplinker mode [Constant]", label="INFO")

    world.topo.set_carrier("eth0", False)
    world.wait_hooks(["-i eth0 -d up", "-d down"])
    assert world.current_wan() == "\n"
    assert world.istate("eth0") == "Down\n"
    # No failover to eth1, though it is usable; the last route stays.
    world.wait_route("default via 10.0.0.1 dev eth0")
    assert world.istate("eth1") == "Up\n"

    world.topo.set_carrier("eth0", True)
    world.assert_uplink("eth0", ["-i eth0 -d up", "-d down", "-i eth0 -d up"])


def test_single_enabled_wan_switches_to_constant_mode(world):
    world.add_wans("eth0", "eth1")
    entries = [uplinker_entry("eth0", 10), uplinker_entry("eth1", 20)]
    inventory = [waninfo_entry("eth0"), waninfo_entry("eth1", enabled=False)]
    d = world.start(config_answer("FAILOVER", entries, inventory))
    assert d.find("auto switch to first mode", label="DEBUG")
    world.assert_uplink("eth0", ["-i eth0 -d up"])

    world.topo.set_carrier("eth0", False)
    world.wait_hooks(["-i eth0 -d up", "-d down"])
    assert world.current_wan() == "\n"
    # The disabled WAN is never used and never reported.
    assert world.istate("eth1") is None
    world.wait_route("default via 10.0.0.1 dev eth0")

    world.topo.set_carrier("eth0", True)
    world.wait_hooks(["-i eth0 -d up", "-d down", "-i eth0 -d up"])
