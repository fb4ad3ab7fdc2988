# The probe and lookup tools, run for real from the gateway namespace against the ISP one.

import os
import re
import shlex
import subprocess
import time

import pytest

import netsetup
from conftest import TOOLS_DIR

SOURCE = netsetup.gw_address("eth0")
PING_CASES = [
    # ISP address, its reply's delay in s (None: no reply) and flaw, count, exit status, and
    # the requests the last line reports sent (None: any) and answered
    ("198.51.100.1", 0, "", ["-c", "4"], 0, None, 1), ("198.51.100.2", 3, "", ["-c4"], 0, 4, 1),
    ("198.51.100.3", 5, "", ["-c", "1"], 0, 1, 1), ("198.51.100.4", None, "", ["-c4"], 1, 4, 0),
    ("198.51.100.5", 0, "checksum", ["-c1"], 1, 1, 0), ("198.51.100.6", 0, "id", ["-c1"], 1, 1, 0),
    ("198.51.100.7", 0, "seq", ["-c2"], 1, 2, 0),
    # -a waits for the reply to every request.
    ("198.51.100.8", 1, "", ["-a", "-c", "3"], 0, 3, 3),
]
REPORT = re.compile(r"uplinker-ping: sent (\d+) received (\d+) rtt_ms((?: \d+\.\d{3})*)\n$")


def measured(out, delay, sent, received):
    # The last line: the requests, the replies, and a time per reply no shorter than its delay.
    found = REPORT.search(out)
    times = [float(t) for t in found.group(3).split()] if found else []
    return found is not None and sent in (None, int(found.group(1))) and len(times) == int(
        found.group(2)) == received and all(t >= 1000 * (delay or 0) for t in times)

def start_tool(world, name, *args):
    return subprocess.Popen(["ip", "netns", "exec", world.topo.gw, os.path.join(TOOLS_DIR, name),
                             *args], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)


def finish(proc, started):
    # (exit status, stdout, stderr); fails when the tool still runs 10 s after started.
    out, err = proc.communicate(timeout=max(0.0, started + 10.0 - time.monotonic()))
    return proc.returncode, out, err


def run_tool(w, name, *args): return finish(start_tool(w, name, *args), time.monotonic())  # noqa


@pytest.fixture
def isp(world):
    world.topo.add_wan("eth0")
    for case in PING_CASES:
        world.topo.set_target(case[0], True)
    return world


def test_ping_counts_late_replies_and_gives_up_on_silence(isp):
    isp.set_echo_modes({case[0]: case[1:3] for case in PING_CASES})
    started = time.monotonic()
    # All at once: each run's own identifier and target keep the replies apart.
    runs = [(case, start_tool(isp, "uplinker-ping", "-I", SOURCE, *case[3], "--", case[0]))
            for case in PING_CASES]
    # No request leaves an address without a route: no waiting, the 5 s late reply still to come.
    assert run_tool(isp, "uplinker-ping", "-I", "127.0.0.1", "-c1", "192.0.2.1")[::2] == (
        1, "uplinker-ping: cannot send: Network is unreachable\n") and runs[2][1].poll() is None
    for (target, delay, _, _, status, sent, received), proc in runs:
        code, out, err = finish(proc, started)
        assert (code, out.splitlines()[0], err) == (status, "uplinker-ping: %s %s" % (
            target, "did not answer" if status else "is alive"), ""), target
        assert len(out.splitlines()) == 2 and measured(out, delay, sent, received), out


def test_inet_check_connects_through_the_interface(isp):
    isp.start_tcp_listener(netsetup.TARGET, 8080)
    probe = ["-m", "active", "-h", netsetup.TARGET, "-t", "tcp", "-p"]
    status, out, err = run_tool(isp, "inet-check", *probe, "8080", "eth0")
    assert (status, err) == (0, "") and re.fullmatch(
        r"inet-check: connected to 192.0.2.1:8080 through eth0\ninet-check: connect_ms "
        r"\d+\.\d{3}\n", out), out
    assert run_tool(isp, "inet-check", *probe, "8080", "eth9") == (
        1, "", "inet-check: no interface eth9\n")


def test_dig_asks_the_given_server_from_the_given_address(isp):
    queries = isp.start_name_server({"probe.test": "192.0.2.7", "gone.test": ""})
    server = "--dns-address=%s:53" % netsetup.DNS_SERVER
    assert run_tool(isp, "vrx-dig", "--bind-address", SOURCE, server, "probe.test") == (
        0, "Found ipV4 192.0.2.7\n", "")
    assert "query[A] probe.test from %s" % SOURCE in open(queries).read()
    # No such name is an answer too; a server that is not there is not.
    assert run_tool(isp, "vrx-dig", "--bind-address=" + SOURCE, server, "gone.test") == (0, "", "")
    status, out, err = run_tool(isp, "vrx-dig", "--bind-address", SOURCE,
                                "--dns-address", netsetup.DNS_SERVER + ":5353", "probe.test")
    assert (status, out, err.startswith("vrx-dig: probe.test: ")) == (1, "", True)


DIG = "vrx-dig --bind-address 10.0.0.2 --dns-address 192.0.2.53"
ARGUMENT_CASES = [
    # command line, exit status, first line (stdout for help, stderr for a refusal)
    ("uplinker-ping --help", 0, "usage: uplinker-ping -I ADDRESS -c COUNT TARGET"),
    ("uplinker-ping", 2, "both -I and -c are required"),
    ("uplinker-ping -I 10.0.0.2 -c0 x", 2, "COUNT must be 1..255, not 0"),
    ("uplinker-ping -I 10.0.0.2 -c 4 'a b'", 2, "exactly one TARGET is required"),
    ("uplinker-ping -I 10.0.0.2 -c 4 -I 10.0.0.3 x", 2, "option -I given twice"),
    ("inet-check -m active -h x -t tcp -p 0 eth0", 2, "a PORT in 1..65535 is required after -p"),
    ("inet-check -m active -h x -t tcp -p 80 interface-too-long", 2,
     "exactly one interface name is required"),
    ("vrx-dig --dns-address 192.0.2.53 a", 2, "both --bind-address and --dns-address are required"),
    (DIG + ":0 a", 2, "bad server address 192.0.2.53:0"),
    (DIG + " " + "a" * 254, 2, "exactly one NAME is required"),
]


@pytest.mark.parametrize("line, status, first", ARGUMENT_CASES)
def test_argument_vectors(line, status, first):
    tool, *args = shlex.split(line)
    res = subprocess.run([os.path.join(TOOLS_DIR, tool)] + args, capture_output=True, text=True,
                         timeout=10)
    shown, prefix = (res.stdout, "") if status == 0 else (res.stderr, tool + ": ")
    assert (res.returncode, shown.splitlines()[0]) == (status, prefix + first)
    # A refusal also shows the usage, on stderr; help and refusals never start any work.
    assert status == 0 or res.stdout == "" and "usage: " + tool in res.stderr
