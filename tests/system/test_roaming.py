"""Wi-Fi roaming on wlan0: the lock that keeps the uplink through a re-association.

wlan0 is a veth in dormant link mode; setting its operational state to dormant leaves it UP and
LOWER_UP without RUNNING, as a Wi-Fi client looks while it re-associates.
"""

import pytest

from harness import config_answer, uplinker_entry

FRAME = "wlan0| =========================================================="
ROAMING = "wlan0| ==                 WIFI ROAMING DETECTED                =="
LOCKING = "wlan0| ==               LOCKING CURRENT INTERFACE              =="
EARLY = "wlan0| ==   UNLOCKING INTERFACE SINCE IT HAS INTERNET NOW      =="
TIMEOUT = "wlan0| ==   UNLOCKING INTERFACE AFTER 30 SECONDS LOCK TIMEOUT  =="


def start_on_wlan0(world):
    world.topo.add_wan("wlan0", dormant=True)
    world.topo.set_operstate("wlan0", "up")
    world.add_wans("eth1")
    answer = config_answer("FAILOVER", [uplinker_entry("wlan0", 10), uplinker_entry("eth1", 20)])
    d = world.start(answer)
    world.assert_uplink("wlan0", ["-i wlan0 -d up"])
    return d


def roam(world, d):
    """Puts wlan0 into re-association; returns the log mark taken before."""
    mark = d.mark()
    world.topo.set_operstate("wlan0", "dormant")
    d.wait_message("wlan0| Up state changed to false", after=mark)
    return mark


def later_work_step(world, d):
    """Makes the daemon handle one more datagram, so the step that saw the roaming has ended."""
    mark = d.mark()
    world.topo.ip_gw("addr", "add", "127.0.0.2/8", "dev", "lo")
    d.wait_message("RTM_NEWADDR: index(1) skipping as not wan interface", after=mark)


def test_roaming_locks_and_unlocks_early(world):
    d = start_on_wlan0(world)
    mark = roam(world, d)
    assert d.find(ROAMING, after=mark) and d.find(LOCKING, after=mark)
    assert world.istate("wlan0") == "Down\n"
    later_work_step(world, d)
    # Locked: no switch to eth1 although wlan0 has no link.
    assert world.hook_calls() == ["-i wlan0 -d up"]
    assert world.current_wan() == "wlan0\n"
    world.wait_route("default via 10.0.2.1 dev wlan0")

    mark = d.mark()
    world.topo.set_operstate("wlan0", "up")
    d.wait_message(EARLY, after=mark)
    d.wait_message("Search for best available wan among all enabled wans", after=mark)
    assert not d.find(TIMEOUT, after=mark)
    # The search from the top finds wlan0 again: a refresh without a direction.
    world.assert_uplink("wlan0", ["-i wlan0 -d up", "-i wlan0"])
    assert world.istate("wlan0") == "Up\n"


def test_roaming_of_wlan0_that_is_not_current_takes_no_lock(world):
    world.topo.add_wan("wlan0", dormant=True)
    world.topo.set_operstate("wlan0", "up")
    world.add_wans("eth0")
    answer = config_answer("FAILOVER", [uplinker_entry("eth0", 10), uplinker_entry("wlan0", 20)])
    d = world.start(answer)
    world.assert_uplink("eth0", ["-i eth0 -d up"])
    mark = roam(world, d)
    assert d.find(ROAMING, after=mark)
    assert not d.find(LOCKING, after=mark)
    # wlan0's loss only refreshes the current uplink.
    world.wait_hooks(["-i eth0 -d up", "-i eth0"])


@pytest.mark.slow
def test_roaming_lock_times_out_after_30_seconds(world):
    d = start_on_wlan0(world)
    mark = roam(world, d)
    assert d.find(LOCKING, after=mark)
    d.wait_message(TIMEOUT, after=mark, timeout=45)
    assert not d.find(EARLY, after=mark)
    # wlan0 is still re-associating, so the search from the top ends on eth1.
    world.assert_uplink("eth1", ["-i wlan0 -d up", "-i eth1 -d down"])
