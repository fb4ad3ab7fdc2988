# Broken or hostile input: configuration answers the daemon must refuse, a service that never
# answers, a lookup tool printing garbage, shell metacharacters in interface names and forged
# netlink datagrams. Each is reported, runs nothing it should not, and leaves the
# daemon choosing routes wherever the configuration still allows it.

import json
import os
import random
import signal
import sys

import netsetup
from harness import read_text
from scenario import ANY_ERROR, NUDGED, Scenario, Step, active, carrier, failover, nudge, steps
from scenarios_checks import fake_tool

URL = "http://127.0.0.1/api?fields=uplinker,waninfo"
UP0, DOWN1, UP1 = "-i eth0 -d up", "-i eth1 -d down", "-i eth1 -d up"
NO_DATA = "Config has no valid data!"
INVALID = "Conf::load: invalid API response"


def refused(error=NO_DATA, fatal=None, timeout=4):
    # The end of a start whose configuration is refused: status 0, nothing switched.
    def check(w, d):
        return (error in d.messages("ERROR") and "init failed!" in d.messages("ERROR") and
                (fatal is None) == (d.messages("FATAL") == []) and
                all(m.startswith(fatal or "") for m in d.messages("FATAL")) and
                w.hook_calls() == [] and w.current_wan() is None and
                w.config_requests() in ([], ["/api?fields=uplinker,waninfo"]))
    return Step(exit=0, check=check, timeout=timeout)


def spoilt(spoil):
    a = failover("eth0", "eth1")
    spoil(a)
    return a


FAILS_OVER = [Step(uplink="eth0", hooks=[UP0]),
              Step(carrier("eth0", False), uplink="eth1", hooks=[DOWN1])]


NOBODY = ["setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"]
NET_ADMIN = ["--inh-caps=+net_admin", "--ambient-caps=+net_admin"]


def forge(sender, status):
    # The forged "eth0 without RUNNING" from a sender; the kernel's verdict on sending must be
    # status (3: refused).
    def act(w, d):
        proc = w.spawn_in(w.topo.gw, sender + [sys.executable, os.path.abspath(netsetup.__file__),
                                               "forge", str(d.pid)])
        assert proc.wait(timeout=10) == status
    return act


ODD_NAMES = ["c;touch${IFS}/run/canary1", "$(touch${IFS}/run/canary2)",
             "q'`touch${IFS}/run/canary3`'"]
RECORDING_LN = '#!/bin/sh\nprintf "%%s\\n" "$2" >> "%(root)s/ln.log"\nexec /bin/ln "$@"\n'


def odd_names_linked_nothing_ran(w, d):
    linked = (read_text(os.path.join(w.root, "ln.log")) or "").splitlines()
    return (all("/var/run/resolv_%s.conf" % n in linked for n in ODD_NAMES) and
            not [n for n in os.listdir(w.run_dir) if n.startswith("canary")])


GARBAGE_DIG = "#!/bin/sh\ncat %(root)s/garbage\n"


def garbage(text):
    def setup(w):
        fake_tool("vrx-dig", GARBAGE_DIG)(w)
        w.write(os.path.join(w.root, "garbage"), text)
        w.write(w.run_dir + "/resolv_eth0.conf", "nameserver %s\n" % netsetup.DNS_SERVER)
    return setup


REFUSED_ANSWERS = [
    # what the answer holds: its text, or a change to a good one; the FATAL line's start
    ("not JSON", "this is not json {", None), ("a top-level array", "[1, 2]", INVALID),
    ("uplinker not an object", '{"uplinker": 3, "waninfo": {}}', INVALID),
    ("no waninfo member", '{"uplinker": {"mode": "FAILOVER"}}', INVALID),
    ("a lower-case mode", '{"uplinker": {"mode": "failover"}, "waninfo": {}}', None),
    ("a mode that is an object", '{"uplinker": {"mode": {}}, "waninfo": {}}', INVALID),
    ("priority as text", lambda a: a["uplinker"]["wans"][0].update(priority="10"), INVALID),
    ("monitor as a number", lambda a: a["uplinker"]["wans"][1].update(monitor=3), INVALID),
    ("enabled as text", lambda a: a["waninfo"]["wans"][0].update(enabled="true"), INVALID),
    ("wans as an object", lambda a: a["uplinker"].update(wans={"eth0": {}}), INVALID),
]

OVERRUN = ("netlink receive buffer overrun, notifications lost: reading links, addresses and "
           "routes again")


def overrun(w, d):
    # While the daemon is stopped, 20,000 routes through eth0 in a table of their own fill its
    # receive buffer over and over; eth0's gateway then goes, and that notification is lost.
    batch = w.root + "/burst"
    w.write(batch, "".join("route add 172.%d.%d.%d/32 dev eth0 table 150\n" % (
        16 + n // 65536, n // 256 % 256, n % 256) for n in range(20000)))
    d.send_signal(signal.SIGSTOP)
    w.topo.ip_gw("-batch", batch)
    w.topo.set_route("eth0", False)
    d.send_signal(signal.SIGCONT)


def read_again(w, d):
    cause = json.loads(read_text(w.run_dir + "/uplinker/status.json") or "{}").get("last_switch")
    return d.messages("WARNING") == [OVERRUN] and (cause or {}).get("cause") == \
        "eth0: gateway removed"


SCENARIOS = [
    # A service that takes the connection and never answers; the request gives up after 10 s.
    Scenario("a service that never answers: init fails within the time-out",
             setup=lambda w: w.start_tcp_listener("127.0.0.1", 80, w.topo.gw), errors=ANY_ERROR,
             steps=[refused(timeout=15), Step(check=lambda w, d: any(
                 m.startswith("API request to %s failed: " % URL) for m in d.messages("ERROR")))]),
    Scenario("an HTTP error status is refused", setup=lambda w: w.start_config_service(None),
             errors=ANY_ERROR, steps=[refused("API request to %s failed: HTTP status 404" % URL)]),
    Scenario("an answer over 4 MiB is refused",
             answer=spoilt(lambda a: a.update(padding="x" * 5 * 1024 * 1024)), errors=ANY_ERROR,
             steps=[refused("API request to %s failed: answer larger than 4194304 bytes" % URL)]),
] + [Scenario("an answer with %s is refused" % name, errors=ANY_ERROR,
             answer=spoilt(body) if callable(body) else body, steps=[refused(fatal=fatal)])
    for name, body, fatal in REFUSED_ANSWERS
] + [Scenario("a lookup tool printing random bytes and shell words runs nothing",
             setup=garbage(random.Random(4).randbytes(8192) + b"\nFound ipV4 192.0.2.2;touch "
                           b"/run/canary\nFound ipV4 $(touch /run/canary)\n"),
             answer=failover(active("eth0", host="probe.test"), "eth1"),
             # No address among the words: the name is probed. A lookup may take 5 s, replies 6 s.
             steps=[Step(uplink="eth1", hooks=[UP1], timeout=15, log=[
                 "eth0| DNS resolve returned 0", "eth0| Wan::checkDone (down)"],
                 nolog=["eth0| Active check result changed to true"],
                 check=lambda w, d: not os.path.exists(os.path.join(w.run_dir, "canary")))]),
    # Cellular entries, whose route table is found by their type whatever their name.
    Scenario("shell metacharacters in interface names run nothing",
             setup=fake_tool("ln", RECORDING_LN),
             answer=failover("eth0", "eth1", *[(n, {"type": "CELLULAR"}) for n in ODD_NAMES]),
             steps=[Step(log=["  Number of wan interfaces [5]"],
                         check=odd_names_linked_nothing_ran)] + FAILS_OVER),
    Scenario("a netlink datagram from a sender that is not root is ignored",
             answer=failover("eth0", "eth1"), steps=[
                 Step(uplink="eth0", hooks=[UP0]),
                 # The kernel itself refuses an unprivileged sender; one that may administer
                 # the network gets through but is not root, and is dropped.
                 Step(steps(forge(NOBODY, 3), forge(NOBODY + NET_ADMIN, 0), nudge), log=[NUDGED],
                      nolog=["eth0| Up state changed to false"], uplink="eth0", hooks=[]),
                 # The same datagram from root is believed: the step above could have failed.
                 Step(forge([], 0), log=["eth0| Up state changed to false"], uplink="eth1",
                      hooks=[DOWN1])]),
    Scenario("a burst that overruns the netlink socket is read again; what it lost counts",
             answer=failover("eth0", "eth1"), steps=[
                 Step(uplink="eth0", hooks=[UP0]),
                 Step(overrun, uplink="eth1", hooks=[DOWN1], istate={"eth0": "Down\n"},
                      timeout=20, check=read_again),
                 Step(carrier("eth1", False), uplink="", hooks=["-d down"])])]
