# The status file and uplinker-status: the engine's choice and its cause as the real daemon
# writes them, and the tool's table and exit statuses as an unprivileged user sees them.

import json
import os
import re
import signal
import subprocess
import sys
import time

from prometheus_client.parser import text_string_to_metric_families

import netsetup
from conftest import TOOLS_DIR
from harness import read_text, stat_fields
from scenario import NUDGED, Scenario, Step, active, carrier, failover, nudge, operstate, send, \
    steps, target, write
from scenarios_engine import LOCKING, ROAMING_ROW

ODD = 'o"dd\\\x01'  # a quote, a backslash and a control byte
STATUS = "/uplinker/status.json"
NOBODY = ["setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"]


def status(w): return json.loads(read_text(w.run_dir + STATUS) or "null")  # noqa: E704


def tool(w, *args):
    # (exit status, stdout) of uplinker-status run as nobody in the daemon's namespaces.
    res = subprocess.run(["ip", "netns", "exec", w.topo.gw, "unshare", "--mount", "sh", "-c",
                          'mount --bind "$0" /run && exec "$@"', w.run_dir] + NOBODY + [
                          os.path.join(TOOLS_DIR, "uplinker-status")] + list(args),
                         capture_output=True, text=True, timeout=10)
    return res.returncode, res.stdout


def series(w):
    # {'name{label=value,...}': value} of the tool's Prometheus output as the reference parser
    # reads it, names without "uplinker_"; {} unless it exits 0 with a type for every family.
    code, out = tool(w, "--prometheus")
    families = list(text_string_to_metric_families(out))
    ok = code == 0 and all(f.type != "unknown" for f in families)
    return {s.name[9:] + "{%s}" % ",".join("%s=%s" % kv for kv in s.labels.items()): s.value
            for f in families for s in f.samples if ok}


def at(value, key):
    # {"a.0.b": value} walks objects and lists.
    for part in key.split("."):
        value = value[int(part)] if isinstance(value, list) else (value or {}).get(part)
    return value


def shows(fields, table="", metrics=None):
    # A check: the file holds fields, the tool exits 0 with a table that the pattern table
    # matches from its start, and its series hold metrics ({series: value}).
    return lambda w, d: (lambda code, out: code == 0 and re.match(table, out))(*tool(w)) and all(
        at(status(w), k) == v for k, v in fields.items()) and all(
        series(w).get(k) == v for k, v in (metrics or {}).items())


def stamp(w): return (lambda s: (s.st_ino, s.st_mtime_ns))(os.stat(w.run_dir + STATUS))  # noqa


def quiet(w, d):
    # A datagram that changes nothing shown: over 3 s the file is not written again.
    w.quiet = time.monotonic(), stamp(w)
    nudge(w, d)


def plant(w):
    # Links where the file and its temporary copy go, to a file the daemon must not touch.
    w.write(w.root + "/victim", "precious\n")
    os.makedirs(w.run_dir + "/uplinker")
    for name in ("status.json", "status.json.tmp"):
        os.symlink(w.root + "/victim", w.run_dir + "/uplinker/" + name)


def locked(w, d):
    lock = (status(w) or {}).get("lock") or {}
    return lock.get("wan") == "wlan0" and 25 <= lock["until"] - time.time() <= 31


def started_at(pid):
    # Field 22 of the process's stat line: its start, in clock ticks since boot.
    return int((stat_fields(pid) + ["0"] * 20)[19])


def written_by(d, phase):
    return lambda w, dd: (status(w) or {}).get("phase") == phase and [status(w)[k] for k in (
        "pid", "start_time")] == [d(w).pid, started_at(d(w).pid)]


# Unprivileged sockets named like the instance lock: the exact abstract name (free once the
# daemon is dead) and a socket file that /proc/net/unix shows the same, or names that merely
# start like it, abstract and as a file. "A" marks an abstract name, "~" a zero byte in it; "P"
# a socket file.
LOCK = "vrx_uplinker"
SPOOF = """import ctypes, os, socket, struct, sys, tempfile, time
os.chdir(tempfile.mkdtemp())
held, libc = [], ctypes.CDLL(None, use_errno=True)
for name in sys.argv[1:]:
    held.append(socket.socket(socket.AF_UNIX, socket.SOCK_STREAM))
    path = ("\\0" + name[1:].replace("~", "\\0") if name[0] == "A" else name[1:]).encode()
    address = struct.pack("H", socket.AF_UNIX) + path
    assert libc.bind(held[-1].fileno(), address, len(address)) == 0, os.strerror(ctypes.get_errno())
print("bound", flush=True) or time.sleep(3600)"""
EXACT = ["A" + LOCK + "~" * 95, "P@" + LOCK + "@" * 95]
SIMILAR = ["A" + LOCK, "A" + LOCK + "xyz", "P@" + LOCK]
NOT_RUNNING = (3, "uplinker: not running\n")


def spoof(names):
    return lambda w, d: w.spawn_in(w.topo.gw, NOBODY + [sys.executable, "-c", SPOOF] + names,
                                   "bound")


def forge(w, d):
    # The dead daemon's file names a live process instead: the one with the similar names.
    w.helpers[-2].kill()
    w.helpers[-2].wait()
    w.write(w.run_dir + STATUS, json.dumps(dict(status(w), pid=w.helpers[-1].pid,
                                                start_time=started_at(w.helpers[-1].pid))))


# The configuration service answers only once the file "hold" is gone.
HELD_SERVICE = """import http.server, os, sys, time
class Held(http.server.SimpleHTTPRequestHandler):
    def do_GET(self):
        while os.path.exists(sys.argv[2]): time.sleep(0.05)
        super().do_GET()
os.chdir(sys.argv[1])
server = http.server.HTTPServer(("127.0.0.1", 80), Held)
print("Serving HTTP", flush=True) or server.serve_forever()"""


def held_service(w):
    # Held from the start too: the first file goes into a /run without the daemon's directory.
    w.write(w.root + "/hold", "")
    w.write(w.stub_dir + "/api", json.dumps(failover("eth0", "eth1")))
    w.spawn_in(w.topo.gw, [sys.executable, "-c", HELD_SERVICE, w.stub_dir, w.root + "/hold"],
               "Serving HTTP")


def second_start(w, d): return w.write(w.root + "/hold", "") or w.start_daemon()  # noqa: E704


def starting(d):
    return lambda w, dd: written_by(d, "starting")(w, dd) and tool(w) == (
        0, "uplinker: starting, no decisions yet\n")


def release(w, d): os.unlink(w.root + "/hold")  # noqa: E704
def first(w): return w.daemons[0]  # noqa: E704
def second(w): return w.daemons[1]  # noqa: E704


# Directories where the state files go: the empty ones are removed, the others logged once.
def plant_directories(w):
    for path in ("current_wan", "status.json.tmp", "status.json/x", "istate/eth1/x"):
        os.makedirs(w.run_dir + "/uplinker/" + path)


IRREGULAR = "/var/run/uplinker/%s was not a regular file of root's with one link; "
DIRECTORY_WARNINGS = [IRREGULAR % "istate/eth1" + "it could not be made anew", IRREGULAR %
                      "current_wan" + "made anew", "/var/run/uplinker/status.json not written: "
                      "something that cannot be removed is in its place: Directory not empty"]


def warned_once(w, d):
    return sorted(d.messages("WARNING")) == sorted(DIRECTORY_WARNINGS) and not os.path.exists(
        w.run_dir + STATUS + ".tmp")


SCENARIOS = [
    Scenario("the status file tells the uplink since when and why; a quiet daemon rewrites "
             "nothing; it goes at stop", answer=failover("eth0", "eth1"), steps=[
                 Step(uplink="eth0", check=shows({"current": "eth0", "last_switch.from": "",
                      "last_switch.cause": "start", "wans.1.usable": True}, "", {
                     "running{}": 1, "wan_current{wan=eth0}": 1, "wan_current{wan=eth1}": 0,
                     "switches_total{reason=start}": 1, "switches_total{reason=carrier lost}": 0})),
                 Step(carrier("eth0", False), uplink="eth1", check=shows(
                     {"last_switch.from": "eth0", "wans.0.link": False},
                     r"uplinker: Failover, uplink eth1 since \d\d:\d\d:\d\d \(eth0: carrier lost\)"
                     "\nWAN   link  address   gateway   probe    usable\n"
                     "eth0  down  10.0.0.2  10.0.0.1  passive  no\n"
                     "eth1  up    10.0.1.2  10.0.1.1  passive  yes\n$", {"wan_current{wan=eth1}": 1,
                         "wan_link{wan=eth0}": 0, "switches_total{reason=carrier lost}": 1})),
                 Step(quiet, log=[NUDGED], timeout=6, check=lambda w, d:
                      time.monotonic() - w.quiet[0] >= 3 and stamp(w) == w.quiet[1]),
                 Step(check=lambda w, d: tool(w, "--json") == (0, read_text(w.run_dir + STATUS))),
                 Step(send(signal.SIGTERM), exit=0, check=lambda w, d: not status(w)
                      and tool(w) == NOT_RUNNING and series(w) == {"running{}": 0})]),
    Scenario("a failed probe is the cause, with the verdict and its time",
             answer=failover(active("eth0"), "eth1"), steps=[
                 Step(uplink="eth0", timeout=8, check=shows({"wans.0.verdict.result": "up"})),
                 Step(target(netsetup.TARGET, False), uplink="eth1", timeout=15, check=shows(
                     {"wans.0.active_result": False}, r".*\(eth0: probe failed\)\nWAN .*\n"
                     r"eth0  up    10.0.0.2  10.0.0.1  down, \d+ s ago  no\n", {
                         "wan_verdicts_total{wan=eth0,result=down}": 1}))]),
    Scenario("a WAN judged by its loss and latency shows them; the others show none",
             answer=failover(active("eth0", failureLoss=40, failureLatency=1000), "eth1"),
             steps=[Step(uplink="eth0", timeout=8, check=shows({"wans.0.quality.loss": 0,
                     "wans.0.quality.thresholds.recovery_latency_ms": 500},
                     r".*\nWAN .* probe +loss +latency +usable\n"
                     r"eth0 .* up, \d+ s ago +0 % +\d+(\.\d)? ms +yes\n"
                     r"eth1 .* passive +- +- +yes\n$"))]),
    Scenario("while the Wi-Fi lock holds, the status shows it and when it runs out",
             **ROAMING_ROW, steps=[Step(uplink="wlan0"),
                 Step(operstate("wlan0", "dormant"), log=[LOCKING], check=locked),
                 Step(check=shows({}, r".*\nroaming lock on wlan0 until \d\d:\d\d:\d\d\n"))]),
    Scenario("planted links are replaced, not followed; an odd name stays one string; a "
             "garbled file, or one with a field of the wrong type, cannot be read", setup=plant,
             answer=failover("eth0", (ODD, {"type": "LTE"})), steps=[
                 Step(uplink="eth0", check=lambda w, d: read_text(w.root + "/victim") ==
                      "precious\n" and oct(os.lstat(w.run_dir + STATUS).st_mode) == "0o100644"),
                 Step(check=shows({"wans.1.name": ODD},
                                  r'(.*\n){3}o"dd\\x5c\\x01  down +passive +no\n')),
                 Step(write("uplinker/status.json", "{"), check=lambda w, d: tool(w)[0] == 4
                      and tool(w, "--prometheus") == (4, "")),
                 Step(write("uplinker/status.json", '{"current": 1}'), check=lambda w, d:
                      tool(w, "--prometheus") == (4, ""))]),
    # A SIGKILL leaves the file behind; its daemon is dead whatever names others bind.
    Scenario("a dead daemon's file is not taken for a live one's, however the lock's name is "
             "spoofed; a new instance shows it is starting until its configuration comes",
             answer=None, setup=held_service, steps=[Step(check=starting(first)),
                 Step(release, uplink="eth0", check=written_by(first, "running")),
                 Step(steps(send(signal.SIGKILL), spoof(EXACT), spoof(SIMILAR)), exit=-9,
                      check=lambda w, d: tool(w) == NOT_RUNNING and status(w)["wans"]),
                 Step(forge, check=lambda w, d: tool(w) == NOT_RUNNING),
                 Step(second_start, check=lambda w, d: starting(second)(w, d) and
                      status(w)["wans"] == [] and status(w)["current"] == ""),
                 Step(release, uplink="eth0", check=lambda w, d:
                      written_by(second, "running")(w, d) and tool(w)[0] == 0)]),
    Scenario("a directory at a state file's path is removed when empty, else warned about once",
             answer=failover("eth0", "eth1"), setup=plant_directories, steps=[
                 Step(uplink="eth0", check=warned_once),
                 Step(carrier("eth1", False), log=["eth1| Up state changed to false"]),
                 Step(carrier("eth1", True), log=["eth1| Up state changed to true"],
                      check=warned_once),
                 Step(lambda w, d: os.rmdir(w.run_dir + STATUS + "/x") or w.topo.set_carrier(
                     "eth1", False), check=shows({"wans.1.link": False}))]),
]
