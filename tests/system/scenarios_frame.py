# The process frame: command line, log level and target, daemon start with its pid file, the
# state dumps asked for with -d, and the configuration summary of a start.

import os

from harness import log_lines, read_text
from scenario import ANY_ERROR, Scenario, Step, active, failover

START = "uplinker starting up with log level %s"


# The (label, message) pairs of a log file under the daemon's /var/run.
def logged(w, rel): return log_lines(os.path.join(w.run_dir, rel))  # noqa: E704


def level_row(args, level, debug):
    return Scenario("-p %s logs from %s" % (" -p ".join(args), level), answer=None,
                    args=["-i", "-e"] + sum((["-p", a] for a in args), []), errors=ANY_ERROR,
                    steps=[Step(exit=0, check=lambda w, d: d.lines()[0] == ("INFO", START % level)
                                and ("start init" in d.messages()) == debug)])


def log_target(in_file, on_stdout):
    # The first lines of /run/x.log (None: not looked at) and of standard output; none at all
    # where none are given.
    def starts(lines, first):
        return lines[:len(first)] == first if first else lines == []
    return lambda w, d: ((in_file is None or starts(logged(w, "x.log"), in_file)) and
                         starts(d.lines(), on_stdout))


def daemonised(w, d):
    text = read_text(os.path.join(w.run_dir, "uplinker.pid")) or ""
    messages = [m for (_, m) in logged(w, "uplinker.log")]
    if not text.strip() or "main loop" not in messages:
        return False
    pid = int(text)
    return (text == "%d\n" % pid and pid != d.pid and os.getsid(pid) == pid and
            os.readlink("/proc/%d/cwd" % pid) == "/" and
            messages.index("start demonize") < messages.index("done parent"))


DUMPED = {"init:172": "At the end of App::init()", "searchNextWan:392":
          "At the beginning of searchNextWan()", "work:272": "After searchNextWan()",
          "work:282": "Before switchInet()", "work:286": "After switchInet()", "work:211": ""}


def dumps(places):
    # The state dumps are exactly those at these places; a WAN line and the index line of the
    # dump after the first switch are checked to the letter.
    def check(w, d):
        heads = {m for m in d.messages() if m.startswith("Current wan interfaces state [")}
        return heads == {"Current wan interfaces state [%s]: %s" % (p, DUMPED[p]) for p in places}
    return check


DUMP_LINES = [
    "  * 0 eth0  : enabled Inet=true  Up=true , IpValid=true , GwValid=true , Misc=true , "
    "ActiveResult=true []",
    "      wans  : currentWan=0  previousWan=0  searchNextInet=0  nextWan=-1, lastEnabledWan= 1"]


# Every kind of entry, one repair each: values repaired with a warning (eth0, eth1), 16-bit
# values that wrap silently and a duplicate inventory entry of which the first counts (eth2),
# a type the daemon does not know (lte0), no monitor settings at all (eth3), a cellular entry
# without the "cellular" table (ppp0), and entries that are dropped (unavailable, no route
# table, not in the inventory).
def rich():
    a = failover(active("eth0", priority=30, interval=0, count=0),
                 ("eth1", dict(priority=20, interval=25, check="TCP", host="probe.test",
                               port=8080, count=300)),
                 ("ppp0", dict(priority=10, interval=25, weight=3)),
                 ("wlan0", {"available": False}), "eth7", ("usb0", {"listed": False}),
                 ("eth2", dict(priority=40, count=65537, port=70000, enabled=False)),
                 ("lte0", dict(priority=50, type="LTE", count=255)), ("eth3", {"priority": 60}))
    del a["uplinker"]["wans"][-1]["monitor"]
    # The optional probe settings, repaired: not a list, not a number, entries that are no
    # host, targets named twice, too many targets, counts and a reliability out of range (of
    # eight, two and one targets); a target only in the list.
    wans = a["uplinker"]["wans"]
    wans[0]["monitor"].update(downCount=3, upCount=2)
    wans[0]["monitor"]["active"].update(hostnames="192.0.2.3", reliability="2")
    wans[1]["monitor"].update(downCount=0, upCount=101)
    # Thresholds repaired: out of range, no number, a recovery alone or above its failure.
    wans[0]["monitor"]["active"].update(failureLoss=150, recoveryLoss="a", failureLatency=800.7)
    wans[1]["monitor"]["active"].update(recoveryLoss=5, failureLatency=2000, recoveryLatency=3000)
    wans[1]["monitor"]["active"].update(reliability=12, hostnames=[
        "192.0.2.3", "", 7, "PROBE.test", "192.0.2.3"] + ["t%d.test" % n for n in range(8)])
    wans[2]["monitor"]["active"].update(reliability=3, hostnames=["192.0.2.4"])
    wans[7]["monitor"]["active"].update(hostname="", hostnames=["192.0.2.9"] * 3, reliability=2)
    a["waninfo"]["wans"].append(dict(a["waninfo"]["wans"][-3], enabled=True))
    return a


def summary(*entries):
    # An entry is a WAN's values, or (a text) the line of its optional probe settings.
    wans = [e for e in entries if isinstance(e, tuple)]
    return ["Configuration loaded:", "  Uplinker mode [Failover]",
            "  Number of wan interfaces [%d]" % len(wans)] + [
        "  %-8s: [%-5s] - %-8s, Prio/W [%s], [%s][%s], Interval [%-2s], Tcp [:%s], Icmp [#%s], "
        "Host [%s]" % e if e in wans else e for e in entries]


SUMMARY = summary(
    ("ETHERNET", "eth0", "enabled", "30/1", "Active", "Icmp", 60, 0, 4, "ipv4: 192.0.2.1"),
    "  ETHERNET: [eth0 ] - Targets [192.0.2.1], Reliability [1/1], Down/Up [3/2]",
    "  ETHERNET: [eth0 ] - Loss [100/50 %], Latency [800/400 ms]",
    ("ETHERNET", "eth1", "enabled", "20/1", "Passive", "Tcp", 25, 8080, 4, "fqdn: probe.test"),
    "  ETHERNET: [eth1 ] - Targets [probe.test 192.0.2.3 t0.test t1.test t2.test t3.test "
    "t4.test t5.test], Reliability [8/8], Down/Up [1/100]",
    "  ETHERNET: [eth1 ] - Loss [off], Latency [2000/2000 ms]",
    ("PPP", "ppp0", "enabled", "10/3", "Passive", "Icmp", 25, 0, 1, "ipv4: 192.0.2.1"),
    "  PPP     : [ppp0 ] - Targets [192.0.2.1 192.0.2.4], Reliability [2/2], Down/Up [1/1]",
    ("ETHERNET", "eth2", "disabled", "40/1", "Passive", "Icmp", 2, 4464, 1, "ipv4: 192.0.2.1"),
    ("Unknown", "lte0", "enabled", "50/1", "Passive", "Icmp", 2, 0, 255, "ipv4: 192.0.2.9"),
    ("ETHERNET", "eth3", "enabled", "60/1", "Passive", "Icmp", 60, 0, 4, "fqdn: "))
NO_CELLULAR = "100\teth0\n101\teth1\n102\teth2\n103\teth3\n"


# Every warning of that start: a value that wraps to a valid one (eth2) is taken without one.
WARNINGS = sorted(["Config: invalid check interval value"] * 2 + [
    "Config: invalid icmp count value"] * 3 + ["Failed to find route table for %s interface. %s" % r
    for r in (("ppp0", "Using default value."), ("eth7", "Skipping wan interface."))] + [
    "Config: hostnames of eth0 is not a list, ignored",
    "Config: eth1 has more than 8 probe targets, the first 8 are used"] + [
    "Config: hostnames[%d] of eth1 is not a host, ignored" % n for n in (1, 2)] + [
    "Config: probe target %s of %s is named more than once, probed once" % r for r in (
        ("PROBE.test", "eth1"), ("192.0.2.3", "eth1"), ("192.0.2.9", "lte0"))] + [
    "Config: invalid %s value for %s, using %s" % r for r in (
        ("reliability", "eth0", 1), ("reliability", "eth1", 8), ("downCount", "eth1", 1),
        ("upCount", "eth1", 100), ("failureLoss", "eth0", 100), ("recoveryLoss", "eth0", 50),
        ("failureLatency", "eth0", 800), ("recoveryLatency", "eth1", 2000),
        ("reliability", "ppp0", 2), ("reliability", "lte0", 1))] + [
    "Config: recoveryLoss of eth1 without failureLoss, ignored"])


def summed_up(w, d):
    # The summary to the letter, with no line between or after its lines, and every warning.
    info = d.messages("INFO")
    at = info.index(SUMMARY[0])
    return info[at:at + len(SUMMARY) + 1] == SUMMARY and sorted(d.messages("WARNING")) == WARNINGS


SCENARIOS = [
    Scenario("-h prints the usage and the start goes on", answer=None, errors=ANY_ERROR,
             args=["-h", "-i", "-e"], steps=[Step(exit=0, check=lambda w, d: START % "INFO" in
                 d.messages() and d.output().startswith("Usage: uplinker [param]\n"))]),
    Scenario("the configuration summary shows every accepted entry, repaired", answer=rich(),
             setup=lambda w: w.write(w.root + "/rt_tables", NO_CELLULAR), steps=[
                 Step(log=SUMMARY + [
                     "Config: setting short check interval for eth0 interface to 10 seconds"],
                     # A cellular link's short interval is its full one: nothing to say.
                     nolog=["Config: setting short check interval for ppp0 interface to %d "
                            "seconds" % n for n in (10, 25)],
                     check=summed_up)]),
] + [Scenario(name, answer=None, args=args, errors=ANY_ERROR, steps=[
        Step(exit=0, check=log_target(in_file, on_stdout))])
    for name, args, in_file, on_stdout in [
        ("-l logs to the file alone", ["-i", "-l", "/run/x.log"], [("INFO", START % "INFO")], []),
        ("-l with an unusable file falls back to standard output", ["-i", "-l", "/run/no/x.log"],
         None, [("WARNING", "unable to log to file"), ("INFO", START % "INFO")]),
        ("-e wins over -l", ["-i", "-e", "-l", "/run/x.log"], [], [("INFO", START % "INFO")])]
] + [level_row(*row) for row in [
        (["0"], "TRACE", True), (["20abc"], "DEBUG", True), (["101"], "INFO", False),
        (["-1"], "INFO", False), (["abc"], "INFO", False), (["4294967296"], "INFO", False),
        (["0", "40"], "INFO", False), (["0", "101"], "TRACE", True)]
] + [Scenario("%s dumps the state %s" % (" ".join(d) or "no -d", what),
             answer=failover("eth0", "eth1"), args=["-i", "-e", "-p", "0"] + d, steps=[
                 Step(uplink="eth0", log=lines, check=dumps(places))])
    for d, what, lines, places in [([], "never", [], []),
        (["-d"], "after init and around a switch", DUMP_LINES, list(DUMPED)[:-1]),
        (["-d", "-d"], "also at every step", DUMP_LINES, list(DUMPED))]]
