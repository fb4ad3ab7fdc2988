"""Faults of the programs the daemon runs: a probe that never exits, a hook that never returns,
and the time the daemon takes to stop while its checks are idle or hung."""

import os
import signal
import time

import pytest

import netsetup
from harness import config_answer, uplinker_entry, wait_for

# Generous: the point is that nothing waits out a probe's or a hook's own bound.
PROMPT_EXIT_S = 3.0
HOOK = "/etc/uplinker/hooks/after-switch-inet"

# Hangs when bound to the hung WAN's address, else hands over to the real probe.
PING_WRAPPER = """#!/bin/sh
for word in "$@"; do
    if [ "$word" = "%(address)s" ]; then
        echo $$ >> "%(pids)s"
        exec sleep 3600
    fi
done
exec "%(real)s" "$@"
"""

# Records its call; the first call then never returns, later ones return at once.
HANGING_HOOK = """#!/bin/sh
echo "$*" >> "%(log)s"
if [ ! -e "%(marker)s" ]; then
    : > "%(marker)s"
    echo $$ > "%(pid)s"
    sleep 3600
fi
"""


def tools_with_hung_ping(world, tools, hung_wan):
    """A tool directory for the daemon whose uplinker-ping hangs for one WAN's probes only."""
    fake = os.path.join(world.root, "fake-tools")
    os.makedirs(fake, exist_ok=True)
    pids = os.path.join(world.root, "hung-probes")
    with open(os.path.join(fake, "uplinker-ping"), "w") as f:
        f.write(PING_WRAPPER % {"address": netsetup.gw_address(hung_wan), "pids": pids,
                                "real": os.path.join(tools, "uplinker-ping")})
    os.chmod(os.path.join(fake, "uplinker-ping"), 0o755)
    for tool in ("inet-check", "vrx-dig"):
        os.symlink(os.path.join(tools, tool), os.path.join(fake, tool))
    world.tools_dir = fake
    return pids


def alive(pid):
    """True while the process exists and is not a zombie."""
    try:
        with open("/proc/%d/stat" % pid) as f:
            return f.read().rsplit(")", 1)[1].split()[0] != "Z"
    except (OSError, IndexError):
        return False


def pids_in(path):
    with open(path) as f:
        return [int(p) for p in f.read().split()]


def stop_promptly(d):
    """SIGTERM; returns the seconds to the exit, which must be status 0 after "done"."""
    mark = d.mark()
    started = time.monotonic()
    d.signal(signal.SIGTERM)
    assert d.wait_exit(timeout=30) == 0
    took = time.monotonic() - started
    after = [m for (_, m) in d.lines()[mark:]]
    assert "start deinit" in after and after[-1] == "done"
    return took


def test_hung_probe_does_not_stop_failover_or_shutdown(world, tools):
    world.add_wans("eth0", "eth1", "wlan0")
    hung = tools_with_hung_ping(world, tools, "eth0")
    entries = [uplinker_entry("eth0", 10, monitor="ACTIVE"),
               uplinker_entry("eth1", 20, monitor="ACTIVE"),
               uplinker_entry("wlan0", 30)]
    d = world.start(config_answer("FAILOVER", entries))
    d.wait_message("eth0| Run checking active -> uplinker-ping -I 10.0.0.2 -c 1 192.0.2.1")
    d.wait_message("eth1| Active check result changed to true")
    world.wait_route("default via 10.0.1.1 dev eth1")
    wait_for("the hung probe", lambda: os.path.exists(hung))
    probe = pids_in(hung)[0]

    # eth1's probe keeps working while eth0's hangs: losing the target moves the uplink on.
    mark = d.mark()
    world.topo.set_target(netsetup.TARGET, False)
    d.wait_message("eth1| Active check result changed to false", after=mark)
    world.wait_route("default via 10.0.2.1 dev wlan0")
    assert world.current_wan() == "wlan0\n"
    assert alive(probe), "eth0's probe should still hang"

    assert stop_promptly(d) < PROMPT_EXIT_S
    assert d.find("eth0| Active checking canceled", after=mark)
    assert not d.find("eth0| Active check result changed to true")
    wait_for("the hung probe to be killed", lambda: not alive(probe), timeout=5)


def test_sigterm_ends_daemon_promptly_with_idle_active_wans(world, tools):
    world.add_wans("eth0", "eth1", "wlan0")
    entries = [uplinker_entry(name, 10 * (n + 1), monitor="ACTIVE", check_interval=3600)
               for n, name in enumerate(("eth0", "eth1", "wlan0"))]
    d = world.start(config_answer("FAILOVER", entries))
    # wlan0, the last enabled WAN, is usable without a check of its own.
    for name in ("eth0", "eth1"):
        d.wait_message("%s| Active check result changed to true" % name)
    world.wait_route("default via 10.0.0.1 dev eth0")
    # Nothing arrives on the netlink socket from here on: only the signal can wake the loop.
    took = stop_promptly(d)
    assert took < PROMPT_EXIT_S, "stopping took %.1f s" % took


@pytest.mark.slow
def test_hung_hook_is_killed_and_failover_goes_on(world):
    world.add_wans("eth0", "eth1")
    hook_pid = os.path.join(world.root, "hook.pid")
    with open(os.path.join(world.root, "etc-uplinker", "hooks", "after-switch-inet"), "w") as f:
        f.write(HANGING_HOOK % {"log": world.hook_log, "pid": hook_pid,
                                "marker": os.path.join(world.root, "hook.hung")})
    answer = config_answer("FAILOVER", [uplinker_entry("eth0", 10), uplinker_entry("eth1", 20)])
    d = world.start(answer)
    world.wait_hooks(["-i eth0 -d up"])
    wait_for("the hung hook", lambda: os.path.exists(hook_pid) and open(hook_pid).read())
    hook = int(open(hook_pid).read())
    # The carrier loss arrives while the main loop waits for the hook; it is handled after.
    world.topo.set_carrier("eth0", False)
    warning = "command timed out after 30 seconds and was killed: %s -i eth0 -d up" % HOOK
    d.wait_message(warning, label="WARNING", timeout=45)
    assert not alive(hook)
    world.assert_uplink("eth1", ["-i eth0 -d up", "-i eth1 -d down"])
    # The route and resolver link of the first switch were in place before the hook ran.
    assert d.find("App::switchInet: ip route add default via 10.0.0.1 dev eth0 table main")
    assert d.count(warning) == 1
