# A per-test world: gateway and ISP namespaces, a stub configuration service, a recorder hook
# and the daemon, which runs in a private mount namespace where /run is a per-test directory and
# /etc an overlay, so nothing touches the machine's own files.

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
_counter = itertools.count()


def wait_for(what, predicate, timeout=15.0):
    deadline = time.monotonic() + timeout
    while not predicate():
        if time.monotonic() >= deadline:
            raise AssertionError("timed out after %.0f s waiting for %s" % (timeout, what))
        time.sleep(0.05)


def read_text(path):
    # None when the file cannot be read; bytes that are not UTF-8 become replacements.
    try:
        with open(path, errors="replace") as f:
            return f.read()
    except OSError:
        return None


def uplinker_entry(interface, priority, monitor="PASSIVE", check_interval=2, check_type="ICMP",
                   hostname=netsetup.TARGET, icmp_count=1, tcp_port=0, weight=1):
    return {"interface": interface, "priority": priority, "weight": weight,
            "monitor": {"checkInterval": check_interval, "mode": monitor,
                        "active": {"type": check_type, "hostname": hostname,
                                   "icmpCount": icmp_count, "tcpPort": tcp_port}}}


def waninfo_entry(interface, wan_type=None, enabled=True, available=True):
    return {"interface": interface, "type": wan_type or netsetup.WANS[interface][1],
            "enabled": enabled, "available": available}


def config_answer(mode, entries, inventory=None):
    if inventory is None:
        inventory = [waninfo_entry(e["interface"]) for e in entries]
    return {"uplinker": {"mode": mode, "wans": entries}, "waninfo": {"wans": inventory}}


# $1 is the test's root directory, the rest the command; runs in the gateway namespace.
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
eval "$UPLINKER_PRELUDE"
exec "$@" >"$root/$UPLINKER_OUT" 2>&1
'''


class Daemon:
    def __init__(self, world, args, out_name):
        self.out_path = os.path.join(world.root, out_name)
        env = dict(os.environ, UPLINKER_OUT=out_name)
        env["PATH"] = world.tools_dir + ":" + env.get("PATH", "/usr/sbin:/usr/bin:/sbin:/bin")
        env["UPLINKER_PRELUDE"] = world.prelude
        cmd = ["ip", "netns", "exec", world.topo.gw, "unshare", "--mount", "--propagation",
               "private", "sh", "-c", MOUNT_SCRIPT, "sh", world.root, world.binary] + list(args)
        self.proc = subprocess.Popen(cmd, env=env, stdin=subprocess.DEVNULL)

    def output(self):
        return read_text(self.out_path) or ""

    def lines(self):
        # Log lines as (label, message); other output is left out.
        return [m.groups() for m in map(LOG_LINE.match, self.output().splitlines()) if m]

    def messages(self, label=None):
        return [m for (lab, m) in self.lines() if label in (None, lab)]

    def running(self):
        return self.proc.poll() is None

    def signal(self, signum):
        self.proc.send_signal(signum)

    def stop(self):
        self.proc.terminate()
        try:
            self.proc.wait(timeout=10)
        except subprocess.TimeoutExpired:
            self.proc.kill()


TCP_LISTENER = r"""
import socket, sys
srv = socket.create_server((sys.argv[1], int(sys.argv[2])))
open(sys.argv[3], "w").close()
while True:
    srv.accept()[0].close()
"""


class World:
    # Namespaces, files, helpers and daemons of one test; cleanup() undoes all of it.

    def __init__(self, root, binary, tools_dir):
        self.root, self.binary, self.tools_dir = str(root), binary, tools_dir
        n = "%d_%d" % (os.getpid(), next(_counter))
        self.topo = netsetup.Topology("uplgw" + n, "uplisp" + n)
        self.daemons, self.helpers, self.allowed_errors = [], [], set()
        # Shell code run in the daemon's namespaces just before it starts, with "$@" its command
        # line and $root the test's directory; it may start the daemon itself and exit.
        self.prelude, self.cgroup = "", None
        self.run_dir = os.path.join(self.root, "run")
        self.stub_dir = os.path.join(self.root, "stub")
        self.hook_log = os.path.join(self.root, "hook.log")
        hooks = os.path.join(self.root, "etc-uplinker", "hooks")
        for d in (self.run_dir, self.stub_dir, hooks):
            os.makedirs(d)
        with open(os.path.join(self.root, "rt_tables"), "w") as f:
            f.write(netsetup.RT_TABLES)
        self.write(os.path.join(hooks, "after-switch-inet"),
                   '#!/bin/sh\necho "$*" >> "%s"\n' % self.hook_log, 0o755)
        self.topo.create()

    def write(self, path, text, mode=0o644):
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "wb" if isinstance(text, bytes) else "w") as f:
            f.write(text)
        os.chmod(path, mode)

    def write_run_file(self, rel, text):
        self.write(os.path.join(self.run_dir, rel), text)

    def spawn_in(self, ns, args, ready=None):
        # A helper process in a namespace, ended at cleanup; waits until ready() holds.
        proc = subprocess.Popen(["ip", "netns", "exec", ns] + args, stdin=subprocess.DEVNULL,
                                stdout=subprocess.DEVNULL, stderr=subprocess.STDOUT)
        self.helpers.append(proc)
        if ready:
            wait_for(" ".join(args[:2]), lambda: ready() or proc.poll() is not None)
            assert proc.poll() is None, "%s did not start" % args[0]
        return proc

    def set_answer(self, answer, status=200):
        # A dict is sent as JSON, text or bytes as they are.
        body = json.dumps(answer) if isinstance(answer, dict) else answer
        self.write(os.path.join(self.stub_dir, "answer.body"),
                   body.encode() if isinstance(body, str) else body)
        self.write(os.path.join(self.stub_dir, "answer.status"), str(status))

    def start_config_service(self, answer, status=200):
        self.set_answer(answer, status)
        self.spawn_in(self.topo.gw, [sys.executable, os.path.join(HERE, "stub_config.py"),
                                     self.stub_dir, "80"],
                      lambda: os.path.exists(self.stub_dir + "/ready"))

    def start_tcp_listener(self, addr, port):
        ready = os.path.join(self.root, "tcp-%d.ready" % len(self.helpers))
        return self.spawn_in(self.topo.isp, [sys.executable, "-c", TCP_LISTENER, addr, str(port),
                                             ready], lambda: os.path.exists(ready))

    def start_name_server(self, records):
        # dnsmasq in the ISP namespace answering {name: address}; returns its query log.
        log = os.path.join(self.root, "dnsmasq.log")
        args = ["/usr/sbin/dnsmasq", "--keep-in-foreground", "--conf-file=/dev/null", "--no-resolv",
                "--no-hosts", "--bind-interfaces", "--listen-address=" + netsetup.DNS_SERVER,
                "--pid-file=", "--user=root", "--log-queries", "--log-facility=" + log]
        args += ["--address=/%s/%s" % item for item in records.items()]
        self.spawn_in(self.topo.isp, args, lambda: "started" in (read_text(log) or ""))
        return log

    def start_daemon(self, *extra, args=None):
        args = list(args) if args is not None else ["-i", "-e", "-p", "0"] + list(extra)
        self.daemons.append(Daemon(self, args, "uplinker-%d.out" % len(self.daemons)))
        return self.daemons[-1]

    def config_requests(self):
        return (read_text(os.path.join(self.stub_dir, "requests.log")) or "").splitlines()

    def limit_tasks(self, count):
        # Starts the daemon in a pids cgroup of its own that allows count tasks (threads).
        v1 = os.path.isdir("/sys/fs/cgroup/pids")
        self.cgroup = os.path.join("/sys/fs/cgroup/pids" if v1 else "/sys/fs/cgroup", self.topo.gw)
        self.write(os.path.join(self.cgroup, "pids.max"), str(count))
        # "ip netns exec" gives the daemon a /sys without the cgroup mounts.
        fs = "cgroup -o pids cgroup" if v1 else "cgroup2 cgroup"
        self.prelude += ("mkdir /mnt/cg\nmount -t %s /mnt/cg\necho $$ > /mnt/cg/%s/cgroup.procs\n"
                         % (fs, self.topo.gw))

    # What the daemon left behind: hook calls, state files.
    def hook_calls(self): return (read_text(self.hook_log) or "").splitlines()  # noqa: E704
    def current_wan(self): return read_text(self.run_dir + "/uplinker/current_wan")  # noqa: E704
    def istate(self, name): return read_text(self.run_dir + "/uplinker/istate/" + name)  # noqa

    def resolver_link(self):
        link = os.path.join(self.run_dir, "wan_resolv.conf")
        return os.readlink(link) if os.path.islink(link) else None

    def problems(self):
        # Sanitizer reports and ERROR or FATAL lines that were not expected.
        found = []
        for d in self.daemons:
            name = os.path.basename(d.out_path)
            found += ["%s: %s" % (name, m) for m in SANITIZER_MARKS if m in d.output()]
            if self.allowed_errors is not None:
                found += ["%s: [%s] %s" % (name, lab, m) for lab, m in d.lines()
                          if lab in ("ERROR", "FATAL") and m not in self.allowed_errors]
        return found

    def cleanup(self):
        for d in self.daemons:
            d.stop()
        for p in self.helpers:
            p.kill()
            p.wait()
        for pid in self.topo.pids():
            try:
                os.kill(pid, signal.SIGKILL)
            except ProcessLookupError:
                pass
        if self.cgroup:
            wait_for("an empty cgroup", lambda: subprocess.call(
                ["rmdir", self.cgroup], stderr=subprocess.DEVNULL) == 0)
        self.topo.destroy()
