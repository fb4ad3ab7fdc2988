# Active checks with the real probe tools against targets in the ISP namespace, host names
# resolved through a WAN's own name server, probes or hooks that never return, and a probe's
# time limit that follows the work asked of it.

import os
import re
import signal

import netsetup
from harness import read_text, stat_fields
from scenario import Scenario, Step, active, carrier, failover, send, steps, target
from scenarios_status import status

UP1, UP0, DOWN1 = "-i eth1 -d up", "-i eth0 -d up", "-i eth1 -d down"
UPW, DOWNW = "-i wlan0 -d up", "-i wlan0 -d down"
T1, T2, T3 = netsetup.TARGET, netsetup.TARGET2, netsetup.TARGET3
TRUE0, FALSE0 = ("eth0| Active check result changed to %s" % v for v in ("true", "false"))
HOOK = "/etc/uplinker/hooks/after-switch-inet"
CANCELED, DEINIT = "eth0| Active checking canceled", ["start deinit", "done"]


def names(records, before=""):
    # eth0's name server answering records, after the lines before in its resolver file.
    return lambda w: setattr(w, "queries", w.start_name_server(records)) or w.write(
        w.run_dir + "/resolv_eth0.conf", before + "nameserver 192.0.2.53\n")


def asked(*names):
    return lambda w, d: all("%s from 10.0.0.2" % n in read_text(w.queries) for n in names)


def fake_tool(name, script):
    # A script under a tool's name, before the real tools on the daemon's PATH.
    def setup(w):
        w.write(w.root + "/fake-tools/" + name, script % {
            "root": w.root, "real": os.path.join(w.tools_dir, name)}, 0o755)
        w.tools_dir = w.root + "/fake-tools:" + w.tools_dir
    return setup


# Hangs when bound to eth0's address, else hands over to the real probe.
HUNG_PING = """#!/bin/sh
case " $* " in *" 10.0.0.2 "*) echo $$ >> "%(root)s/hung"; exec sleep 3600;; esac
exec "%(real)s" "$@"
"""

# Records its call; the first call then never returns, but works for half a second once the
# test has asked the daemon to stop.
HUNG_HOOK = """#!/bin/sh
cd "%s"
echo "$*" >> hook.log
[ -e hook.pid ] && exit 0
echo $$ > hook.pid
until [ -e stopping ]; do sleep 0.05; done; sleep 0.5; touch finished
sleep 3600
"""


def hung_hook(w):
    w.write(w.root + "/etc-uplinker/hooks/after-switch-inet", HUNG_HOOK % w.root, 0o755)


def alive(pid):
    # True while the process exists and is not a zombie.
    return stat_fields(pid)[:1] not in ([], ["Z"])


def hung_pids(w, name="hung"):
    return [int(p) for p in (read_text(os.path.join(w.root, name)) or "").split()]


def hung_pid(w, name="hung"): return (hung_pids(w, name) + [None])[0]  # noqa: E704
def probe_hangs(w, d): return hung_pid(w) and alive(hung_pid(w))  # noqa: E704
def none_alive(w, d): return not any(map(alive, hung_pids(w)))  # noqa: E704
def hook_killed(w, d): return not alive(hung_pid(w, "hook.pid"))  # noqa: E704


def torn_down_in_order(w, d):
    # Each WAN is torn down before its check thread stops, in index order.
    return [m for m in d.messages() if m in ("Wan::~Wan", CANCELED)] == [
        "Wan::~Wan", CANCELED, "Wan::~Wan", "Wan::~Wan"] and none_alive(w, d)


# Like a ping tool that sends one request a second: -c 255 answers after 65 s; -c 1 hangs.
SLOW_PING = """#!/bin/sh
case " $* " in *" -c 1 "*) echo $$ >> "%(root)s/hung"; exec sleep 3600;; esac
sleep 65
"""

ICMP_RUN = "eth0| Run checking active -> uplinker-ping -I 10.0.0.2 -c 1 192.0.2.1"
TCP_RUN = "eth1| Run checking active -> inet-check -m active -h 192.0.2.2 -t tcp -p 8080 eth1"

# Recovery left out: half of each failure threshold.
LIMITS = dict(failure_loss=40, recovery_loss=20, failure_latency_ms=300, recovery_latency_ms=150)


def loss(tenths): return lambda w, d: w.topo.set_loss("eth0", tenths)  # noqa: E704
def delay(ms): return lambda w, d: w.set_echo_modes({"*": [ms / 1000.0, ""]})  # noqa: E704


def window(judgement, lost=(0, 0), latency=(0, 150), cause=".*"):
    # A check: eth0's window in the status file judged as given, its loss and mean latency in
    # [low, high], and the last switch's cause matching a pattern.
    def check(w, d):
        q = (status(w) or {"wans": [{}]})["wans"][0].get("quality") or {}
        return q.get("judgement") == judgement and q["judged"] and q["thresholds"] == LIMITS \
            and lost[0] <= q["loss"] <= lost[1] and latency[0] <= q["latency_ms"] <= latency[1] \
            and re.fullmatch(cause, status(w)["last_switch"]["cause"])
    return check


SCENARIOS = [
    # A probe to a silent target waits 6 s for a late reply, and checks start 2 s apart: a
    # verdict may take two probes. eth1's TCP check is refused until its listener starts.
    Scenario("ICMP and TCP checks steer failover and back", wans=("eth0", "eth1", "wlan0"),
             answer=failover(active("eth0"), active("eth1", check="TCP", host=T2, port=8080),
                             "wlan0"), steps=[
                 # Active WANs wait for their first successful check; wlan0 carries the route.
                 Step(uplink="eth0", hooks=[UPW, UP0], log=[ICMP_RUN, TRUE0], timeout=8),
                 Step(target(T1, False), uplink="wlan0", hooks=[DOWNW], istate={"eth0": "Down\n"},
                      log=[FALSE0, TCP_RUN], timeout=15),
                 Step(lambda w, d: setattr(w, "listener", w.start_tcp_listener(T2, 8080)),
                      uplink="eth1", hooks=[UP1], timeout=8),
                 Step(lambda w, d: w.listener.close(), uplink="wlan0", hooks=[DOWNW], timeout=8,
                      log=["eth1| Active check result changed to false"]),
                 Step(target(T1, True), uplink="eth0", hooks=[UP0], log=[TRUE0], timeout=15)]),
    # A megabyte of other lines before the name server, as a broken resolver might write.
    Scenario("a host name is resolved through the WAN's own name server",
             setup=names({"probe.test": T2}, "search example\n" * 70000),
             answer=failover(active("eth0", host="probe.test", count=2), "eth1"), steps=[
                 Step(uplink="eth0", hooks=[UP1, UP0], timeout=8, check=asked("probe.test"),
                      log=["eth0| The hostname probe.test successfully resolved",
                           "eth0| Run checking active -> uplinker-ping -I 10.0.0.2 -c 2 "
                           "192.0.2.2"])]),
    # A silent target holds a check for 6 s, the time of one probe: its probes run side by side.
    Scenario("two of three targets must answer", setup=names({"t2.test": T2, "t3.test": T3}),
             answer=failover(active("eth0", hostnames=["t2.test", "t3.test"], reliability=2),
                             "eth1"), steps=[
                 Step(uplink="eth0", hooks=[UP1, UP0], log=["eth0| 3/3 targets answered"],
                      check=asked("t2.test", "t3.test"), timeout=8),
                 Step(target(T1, False), uplink="eth0", hooks=[], timeout=10,
                      log=["eth0| 2/3 targets answered"]),
                 Step(target(T2, False), uplink="eth1", hooks=[DOWN1], timeout=10,
                      log=["eth0| 1/3 targets answered", FALSE0])]),
    Scenario("a hung probe stops neither failover nor a prompt shutdown",
             wans=("eth0", "eth1", "wlan0"), setup=fake_tool("uplinker-ping", HUNG_PING),
             answer=failover(active("eth0"), active("eth1"), "wlan0"), steps=[
                 Step(uplink="eth1", log=[ICMP_RUN, "eth1| Active check result changed to true"],
                      check=probe_hangs, timeout=8),
                 # eth1's probe goes on while eth0's hangs: losing the target moves the uplink.
                 # The stop must end the hung probe and wake eth1's idle check thread.
                 Step(target(T1, False), uplink="wlan0", check=probe_hangs, timeout=15,
                      log=["eth1| Active check result changed to false"]),
                 Step(send(signal.SIGTERM), exit=0, log=DEINIT, check=torn_down_in_order,
                      timeout=5)]),
    Scenario("a stop ends every probe of a check of several targets",
             setup=fake_tool("uplinker-ping", HUNG_PING),
             answer=failover(active("eth0", hostnames=[T2, T3]), "eth1"), steps=[
                 Step(check=lambda w, d: sum(map(alive, hung_pids(w))) == 3, timeout=8),
                 Step(send(signal.SIGTERM), exit=0, log=DEINIT, timeout=5, check=none_alive)]),
    Scenario("a hook that never returns is killed after 30 s and failover goes on", slow=True,
             setup=hung_hook, answer=failover("eth0", "eth1"), steps=[
                 Step(hooks=[UP0], route="default via 10.0.0.1 dev eth0",
                      check=lambda w, d: hung_pid(w, "hook.pid")),
                 # The carrier loss arrives while the main loop waits for the hook.
                 Step(carrier("eth0", False), uplink="eth1", hooks=[DOWN1], check=hook_killed,
                      timeout=35, log=["command timed out after 30 seconds and was killed: "
                                       "%s -i eth0 -d up" % HOOK])]),
    Scenario("a probe of 255 requests may take over a minute, a hung one is killed", slow=True,
             wans=("eth0", "eth1", "wlan0"), setup=fake_tool("uplinker-ping", SLOW_PING),
             answer=failover(active("eth0", count=255), active("eth1"), "wlan0"), steps=[
                 # -c 1 is bounded at 21 s, well before the 60 s that any program used to get.
                 Step(uplink="wlan0", log=["eth1| Wan::checkDone (down)"], timeout=30,
                      check=lambda w, d: hung_pid(w) and not alive(hung_pid(w))),
                 Step(uplink="eth0", log=["eth0| Active check result changed to true"],
                      timeout=60)]),
    # Ten requests a check, a window of twenty; a check that loses a request waits 6 s for it.
    # A step acts when the status shows a check's result, a second before the next check.
    Scenario("a WAN that loses requests is left, held while late, taken back when prompt",
             setup=lambda w: w.set_echo_modes({"*": [0, ""]}), answer=failover(active(
                 "eth0", interval=1, count=10, failureLoss=40, failureLatency=300), "eth1"),
             steps=[Step(uplink="eth0", hooks=[UP1, UP0], check=window("good"), timeout=8),
                 # Nine of ten dropped: 45 % over the window after one check (more, should the
                 # rule come in after a request of that check has passed).
                 Step(loss(9), check=window("bad", (40, 90)), timeout=20),
                 Step(steps(loss(0), delay(250)), uplink="eth1", hooks=[DOWN1], check=window(
                     "bad", (40, 90), cause=r"eth0: loss \d+ % ≥ 40 %")),
                 # No loss, 250 ms late: between 150 and 300 ms the judgement stays bad.
                 Step(uplink="eth1", hooks=[], check=window("bad", latency=(240, 290)), timeout=10),
                 Step(delay(0), uplink="eth0", hooks=[UP0], check=window(
                     "good", cause="eth0: usable again"), timeout=8)]),
]
