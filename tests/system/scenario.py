# Scenarios: a world of WANs, a configuration answer, the daemon, then steps. A step is an
# action on the kernel, a file or the daemon, then what must hold: the uplink, the hook calls it
# brought, interface state files, log lines, an exit status. Expectations are polled together
# until they hold or the deadline passes; lines that must not appear are checked after that.
# The daemon handles an event within one or two of its 1 s work steps, so a step's deadline is
# 4 s; a step that waits for a probe, a time-out or a second start says why it needs more.

from types import SimpleNamespace

import netsetup
from harness import wait_for

ANY_ERROR = "*"


def Step(do=None, uplink=None, route=None, hooks=None, istate=(), log=(), nolog=(), exit=None,
         check=None, timeout=4):
    # do(world, daemon) acts; then, polled together: uplink, a WAN whose default route,
    # current_wan and resolver link are in place ("" for none); route, the main table's default
    # route; hooks, the hook calls since the last step that named its own; istate, {name: text};
    # log, exact messages logged since the step began; exit, the daemon's status;
    # check(world, daemon), anything else. nolog, messages that must not be in the whole log,
    # is checked once the others hold.
    return SimpleNamespace(**locals())


def Scenario(name, steps, wans=("eth0", "eth1"), answer=None, args=None, setup=None, errors=(),
             slow=False):
    # wans: names or (name, {add_wan options}); answer: the configuration service's answer
    # (None: no service); args: the daemon's (default foreground, standard output, TRACE);
    # setup(world) before the start; errors: the ERROR/FATAL messages expected, or ANY_ERROR.
    return SimpleNamespace(**locals())


def named(wan): return (wan, {}) if isinstance(wan, str) else wan  # noqa: E704


def answer(mode, *wans):
    # WANs in priority order, each a name or (name, {options}); the options and their defaults
    # are below. listed=False leaves a WAN out of the inventory; hostnames, reliability
    # and the failure thresholds are given only when named.
    entries, inventory = [], []
    for n, (name, options) in enumerate(map(named, wans)):
        o = {**dict(priority=10 * (n + 1), weight=1, monitor="PASSIVE", interval=2, check="ICMP",
                    host=netsetup.TARGET, count=1, port=0, enabled=True, available=True,
                    listed=True, type=netsetup.WANS.get(name, (0, "ETHERNET"))[1]), **options}
        entries.append({"interface": name, "priority": o["priority"], "weight": o["weight"],
                        "monitor": {"checkInterval": o["interval"], "mode": o["monitor"],
                                    "active": {"type": o["check"], "hostname": o["host"],
                                               "icmpCount": o["count"], "tcpPort": o["port"],
                                               **{k: o[k] for k in ("hostnames", "reliability",
                                                  "failureLoss", "failureLatency") if k in o}}}})
        if o["listed"]:
            inventory.append(dict({k: o[k] for k in ("type", "enabled", "available")},
                                  interface=name))
    return {"uplinker": {"mode": mode, "wans": entries}, "waninfo": {"wans": inventory}}


def failover(*wans): return answer("FAILOVER", *wans)  # noqa: E704
def active(name, **probe): return (name, dict(monitor="ACTIVE", **probe))  # noqa: E704


# Actions: each gives a function of the world and the daemon.
def carrier(name, on): return lambda w, d: w.topo.set_carrier(name, on)  # noqa: E704
def operstate(name, state): return lambda w, d: w.topo.set_operstate(name, state)  # noqa: E704
def target(addr, up): return lambda w, d: w.topo.set_target(addr, up)  # noqa: E704
def write(rel, text): return lambda w, d: w.write(w.run_dir + "/" + rel, text)  # noqa: E704
def send(signum): return lambda w, d: d.send_signal(signum)  # noqa: E704
def steps(*actions): return lambda w, d: [a(w, d) for a in actions]  # noqa: E704
def address(name, up): return lambda w, d: w.topo.set_address(name, up)  # noqa: E704
def route(name, up): return lambda w, d: w.topo.set_route(name, up)  # noqa: E704


def nudge(w, d):
    # One more kernel datagram for the daemon to read: every earlier one has been handled
    # once it logs NUDGED.
    w.nudges = getattr(w, "nudges", 1) + 1
    w.topo.ip_gw("addr", "add", "127.0.0.%d/8" % w.nudges, "dev", "lo")


NUDGED = "RTM_NEWADDR: index(1) skipping as not wan interface"


def _route(w):
    return " ".join(x for x in w.topo.default_route().split() if x not in ("linkdown", "onlink"))


def _mismatches(w, d, step, mark):
    found = []

    def expect(what, actual, wanted):
        if actual != wanted:
            found.append("%s is %r, expected %r" % (what, actual, wanted))

    if step.exit is not None:
        expect("exit status", d.poll(), step.exit)
    elif d.poll() is not None and not d.ended:
        found.append("the daemon exited with %s" % d.poll())
    if step.uplink:
        expect("default route", _route(w), "default via %s dev %s" % (
            netsetup.isp_address(step.uplink), step.uplink))
        expect("resolver link", w.resolver_link(), "/var/run/resolv_%s.conf" % step.uplink)
    if step.uplink is not None:
        expect("current_wan", w.current_wan(), step.uplink + "\n")
    if step.route is not None:
        expect("default route", _route(w), step.route)
    if step.hooks is not None:
        expect("new hook calls", w.hook_calls()[d.hooks_seen:], list(step.hooks))
    for name, text in dict(step.istate).items():
        expect("istate/" + name, w.istate(name), text)
    found += ["no log line %r" % m for m in step.log if m not in set(d.messages()[mark:])]
    if step.check and not found and not step.check(w, d):
        found.append("the check %s failed" % step.check.__name__)
    return found


def run(world, sc):
    for name, options in map(named, sc.wans):
        world.topo.add_wan(name, **options)
    if sc.setup:
        sc.setup(world)
    if sc.answer is not None:
        world.start_config_service(sc.answer)
    d = world.start_daemon(args=sc.args)
    # The hook calls checked so far: a step's hooks are those after them.
    d.ended, d.hooks_seen = False, 0
    world.allowed_errors = None if sc.errors == ANY_ERROR else world.allowed_errors | set(sc.errors)
    for n, step in enumerate(sc.steps):
        mark = len(d.messages())
        if step.do:
            step.do(world, d)
        last = []

        def holds():
            last[:] = _mismatches(world, d, step, mark)
            return not last
        try:
            wait_for("step %d" % n, holds, step.timeout)
        except AssertionError:
            raise AssertionError("step %d of %r: %s" % (n, sc.name, "; ".join(last)))
        d.ended = d.ended or step.exit is not None
        d.hooks_seen += len(step.hooks or ())
        present = [m for m in step.nolog if m in d.messages()]
        assert not present, "step %d of %r logged %r" % (n, sc.name, present)
