"""The system-test harness: a per-test world of namespaces, a stub configuration service, a
recorder hook and the daemon itself, with helpers that poll for observable state.

Nothing here writes the machine's own /run or /etc: the daemon runs in a private mount
namespace where /run is a per-test directory and /etc is an overlay with a tmpfs upper layer.
"""

import itertools
import json
import os
import re
import signal
import subprocess
import sys
import time

import netsetup

HERE = os.path.dirname(os.path.abspath(__file__))
LOG_LINE = re.compile(r"^\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} \[(\w+)\] (.*)$")
SANITIZER_MARKS = ("ERROR: AddressSanitizer", "runtime error:", "WARNING: ThreadSanitizer",
                   "ERROR: LeakSanitizer")
DEFAULT_TIMEOUT = 15.0
_counter = itertools.count()


def wait_for(what, predicate, timeout=DEFAULT_TIMEOUT, interval=0.05):
    """Polls predicate until it returns a true value, which is returned; fails at the deadline."""
    deadline = time.monotonic() + timeout
    while True:
        value = predicate()
        if value:
            return value
        if time.monotonic() >= deadline:
            raise AssertionError("timed out after %.0f s waiting for %s" % (timeout, what))
        time.sleep(interval)


def read_text(path):
    """The file's text, None when it cannot be read; bytes that are not UTF-8 (a child's stray
    output in the daemon's log, say) come back as replacement characters."""
    try:
        with open(path, errors="replace") as f:
            return f.read()
    except OSError:
        return None


# ----- configuration answers -----------------------------------------------------------------

def uplinker_entry(interface, priority, monitor="PASSIVE", check_interval=2, check_type="ICMP",
                   hostname=netsetup.TARGET, icmp_count=1, tcp_port=0, weight=1):
    """One entry of the daemon's own section ("uplinker"."wans")."""
    return {
        "interface": interface,
        "priority": priority,
        "weight": weight,
        "monitor": {
            "checkInterval": check_interval,
            "mode": monitor,
            "active": {"type": check_type, "hostname": hostname, "icmpCount": icmp_count,
                       "tcpPort": tcp_port},
        },
    }


def waninfo_entry(interface, wan_type=None, enabled=True, available=True):
    """One entry of the device inventory ("waninfo"."wans"); the type follows the WAN's name."""
    if wan_type is None:
        wan_type = netsetup.WANS[interface][1]
    return {"interface": interface, "type": wan_type, "enabled": enabled, "available": available}


def config_answer(mode, entries, inventory=None):
    """The whole answer; without an inventory every entry is an available, enabled interface."""
    if inventory is None:
        inventory = [waninfo_entry(e["interface"]) for e in entries]
    return {"uplinker": {"mode": mode, "wans": entries}, "waninfo": {"wans": inventory}}


# ----- the daemon --------------------------------------------------------------------------

# Runs inside the gateway namespace; $1 is the test's root directory, the rest the command.
MOUNT_SCRIPT = r'''set -e
mount -t tmpfs uplinker-etc /mnt
mkdir /mnt/upper /mnt/work
mount -t overlay overlay -o lowerdir=/etc,upperdir=/mnt/upper,workdir=/mnt/work /etc
cp "$1/rt_tables" /etc/iproute2/rt_tables
mkdir -p /etc/uplinker
mount --bind "$1/etc-uplinker" /etc/uplinker
mount --bind "$1/run" /run
root=$1
shift
exec "$@" >"$root/$UPLINKER_OUT" 2>&1
'''


class Daemon:
    """One run of the daemon in the gateway namespace, its output captured to a file."""

    def __init__(self, world, args, out_name):
        self.world = world
        self.out_path = os.path.join(world.root, out_name)
        env = dict(os.environ)
        env["PATH"] = world.tools_dir + ":" + env.get("PATH", "/usr/sbin:/usr/bin:/sbin:/bin")
        env["UPLINKER_OUT"] = out_name
        cmd = ["ip", "netns", "exec", world.topo.gw, "unshare", "--mount", "--propagation",
               "private", "sh", "-c", MOUNT_SCRIPT, "sh", world.root, world.binary] + list(args)
        self.proc = subprocess.Popen(cmd, env=env, stdin=subprocess.DEVNULL)

    def output(self):
        return read_text(self.out_path) or ""

    def lines(self):
        """Log lines as (label, message); lines that are not log lines are left out."""
        result = []
        for line in self.output().splitlines():
            m = LOG_LINE.match(line)
            if m:
                result.append((m.group(1), m.group(2)))
        return result

    def messages(self, label=None):
        return [m for (lab, m) in self.lines() if label is None or lab == label]

    def running(self):
        return self.proc.poll() is None

    def signal(self, signum):
        self.proc.send_signal(signum)

    def stop(self, timeout=10.0):
        """SIGTERM, then SIGKILL if it does not end; returns the exit status."""
        if self.proc.poll() is None:
            self.proc.send_signal(signal.SIGTERM)
            try:
                self.proc.wait(timeout=timeout)
            except subprocess.TimeoutExpired:
                self.proc.kill()
                self.proc.wait()
        return self.proc.returncode

    def sanitizer_reports(self):
        out = self.output()
        return [mark for mark in SANITIZER_MARKS if mark in out]


# ----- the per-test world ------------------------------------------------------------------

HOOK_SCRIPT = """#!/bin/sh
echo "$*" >> "%s"
"""


TCP_LISTENER = r"""
import socket, sys
srv = socket.socket()
srv.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
srv.bind((sys.argv[1], int(sys.argv[2])))
srv.listen(16)
open(sys.argv[3], "w").close()
while True:
    conn, _ = srv.accept()
    conn.close()
"""


class World:
    """Namespaces, files, stub service and daemons of one test; cleanup() undoes all of it."""

    def __init__(self, root, binary, tools_dir):
        self.root = str(root)
        self.binary = binary
        self.tools_dir = tools_dir
        n = "%d_%d" % (os.getpid(), next(_counter))
        self.topo = netsetup.Topology("uplgw" + n, "uplisp" + n)
        self.daemons = []
        self.helpers = []
        self.allowed_errors = set()
        self.run_dir = os.path.join(self.root, "run")
        self.stub_dir = os.path.join(self.root, "stub")
        self.hook_log = os.path.join(self.root, "hook.log")
        for d in (self.run_dir, self.stub_dir, os.path.join(self.root, "etc-uplinker", "hooks")):
            os.makedirs(d, exist_ok=True)
        netsetup.write_rt_tables(os.path.join(self.root, "rt_tables"))
        hook = os.path.join(self.root, "etc-uplinker", "hooks", "after-switch-inet")
        with open(hook, "w") as f:
            f.write(HOOK_SCRIPT % self.hook_log)
        os.chmod(hook, 0o755)
        self.topo.create()

    # -- set-up --

    def set_answer(self, answer, status=200):
        """The stub's next answers: a dict is sent as JSON, bytes or str as they are."""
        if isinstance(answer, dict):
            body = json.dumps(answer).encode()
        elif isinstance(answer, str):
            body = answer.encode()
        else:
            body = answer
        with open(os.path.join(self.stub_dir, "answer.body"), "wb") as f:
            f.write(body)
        with open(os.path.join(self.stub_dir, "answer.status"), "w") as f:
            f.write(str(status))

    def start_config_service(self, answer=None, status=200):
        if answer is not None:
            self.set_answer(answer, status)
        proc = self.spawn_in(self.topo.gw, [sys.executable, os.path.join(HERE, "stub_config.py"),
                                             self.stub_dir, "80"])
        wait_for("the configuration service",
                 lambda: os.path.exists(os.path.join(self.stub_dir, "ready")) or proc.poll())
        assert proc.poll() is None, "configuration service did not start"
        return proc

    def config_requests(self):
        return (read_text(os.path.join(self.stub_dir, "requests.log")) or "").splitlines()

    def spawn_in(self, ns, args, stdout=subprocess.DEVNULL):
        """Starts a helper process in a namespace; it is ended at cleanup."""
        proc = subprocess.Popen(["ip", "netns", "exec", ns] + args, stdin=subprocess.DEVNULL,
                                stdout=stdout, stderr=subprocess.STDOUT)
        self.helpers.append(proc)
        return proc

    def start_tcp_listener(self, addr, port):
        """A TCP service in the ISP namespace that accepts and closes every connection."""
        ready = os.path.join(self.root, "tcp-%s-%d.ready" % (addr, port))
        if os.path.exists(ready):
            os.unlink(ready)
        proc = self.spawn_in(self.topo.isp, [sys.executable, "-c", TCP_LISTENER, addr, str(port),
                                              ready])
        wait_for("TCP listener on %s:%d" % (addr, port),
                 lambda: os.path.exists(ready) or proc.poll() is not None)
        assert proc.poll() is None, "TCP listener did not start"
        return proc

    def start_name_server(self, dnsmasq, records):
        """dnsmasq in the ISP namespace answering {name: address}; returns its query log path."""
        log = os.path.join(self.root, "dnsmasq.log")
        args = [dnsmasq, "--keep-in-foreground", "--conf-file=/dev/null", "--no-resolv",
                "--no-hosts", "--bind-interfaces", "--listen-address=" + netsetup.DNS_SERVER,
                "--pid-file=", "--user=root", "--log-queries", "--log-facility=" + log]
        args += ["--address=/%s/%s" % (name, addr) for name, addr in records.items()]
        proc = self.spawn_in(self.topo.isp, args)
        wait_for("dnsmasq", lambda: "started" in (read_text(log) or "") or proc.poll() is not None)
        assert proc.poll() is None, "dnsmasq did not start: %s" % read_text(log)
        return log

    def write_run_file(self, rel, text):
        """A file under the daemon's /var/run (for example "cell/status")."""
        path = os.path.join(self.run_dir, rel)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "w") as f:
            f.write(text)

    def start_daemon(self, *extra, args=None):
        args = list(args) if args is not None else ["-i", "-e", "-p", "0"] + list(extra)
        daemon = Daemon(self, args, "uplinker-%d.out" % len(self.daemons))
        self.daemons.append(daemon)
        return daemon

    # -- observation --

    def hook_calls(self):
        return (read_text(self.hook_log) or "").splitlines()

    def current_wan(self):
        return read_text(os.path.join(self.run_dir, "uplinker", "current_wan"))

    def istate(self, name):
        return read_text(os.path.join(self.run_dir, "uplinker", "istate", name))

    def resolver_link(self):
        try:
            return os.readlink(os.path.join(self.run_dir, "wan_resolv.conf"))
        except OSError:
            return None

    # -- teardown --

    def problems(self):
        """Sanitizer reports and unexpected ERROR or FATAL lines of every daemon run."""
        found = []
        for d in self.daemons:
            for mark in d.sanitizer_reports():
                found.append("%s: %s" % (os.path.basename(d.out_path), mark))
            for label, msg in d.lines():
                if label in ("ERROR", "FATAL") and self.allowed_errors is not None \
                        and msg not in self.allowed_errors:
                    found.append("%s: [%s] %s" % (os.path.basename(d.out_path), label, msg))
        return found

    def cleanup(self):
        for d in self.daemons:
            d.stop()
        for p in self.helpers:
            if p.poll() is None:
                p.terminate()
                try:
                    p.wait(timeout=5)
                except subprocess.TimeoutExpired:
                    p.kill()
                    p.wait()
        for pid in self.topo.pids():
            try:
                os.kill(pid, signal.SIGKILL)
            except ProcessLookupError:
                pass
        self.topo.destroy()
