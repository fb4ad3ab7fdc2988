# A per-test world: gateway and ISP namespaces, a stub configuration service, a recorder hook
# and the daemon, which runs in a private mount namespace where /run is a per-test directory and
# /etc an overlay, so nothing touches the machine's own files.

import itertools
import json
import os
import re
import socket
import subprocess
import sys
import time

import netsetup

LOG_LINE = re.compile(r"^\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} \[(\w+)\] (.*)$")
# Deadlines are set for a native build; emulation and sanitizers slow the daemon down by about
# this factor, which the build's test settings give.
SLOWDOWN = float(os.environ.get("UPLINKER_TEST_SLOWDOWN", "1"))
_counter = itertools.count()
RESPONDER = os.path.join(os.path.dirname(os.path.abspath(__file__)), "echo_responder.py")


def wait_for(what, predicate, timeout=4.0):
    timeout *= SLOWDOWN
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


def stat_fields(pid):
    # The fields of a process's stat line after its name, from the state on; [] once it is gone.
    return (read_text("/proc/%d/stat" % pid) or ")").rsplit(")", 1)[1].split()


def log_lines(path):
    # The log lines of a file as (label, message); other output is left out.
    return [m.groups() for m in map(LOG_LINE.match, (read_text(path) or "").splitlines()) if m]


# $1 is the test's root directory, the rest the command; runs in the gateway namespace.
MOUNT_SCRIPT = r'''set -e
mount -t tmpfs uplinker-etc /mnt
mkdir /mnt/upper /mnt/work
mount -t overlay overlay -o lowerdir=/etc,upperdir=/mnt/upper,workdir=/mnt/work /etc
cp "$1/rt_tables" /etc/iproute2/rt_tables
mkdir -p /etc/uplinker
mount --bind "$1/etc-uplinker" /etc/uplinker
mount --bind "$1/run" /run
root=$1; shift
eval "$UPLINKER_PRELUDE"
exec "$@" >"$root/$UPLINKER_OUT" 2>&1
'''


class Daemon(subprocess.Popen):
    # The daemon (or what the world's prelude makes of its start), output in out_path.
    def __init__(self, world, args, out_name):
        self.out_path = os.path.join(world.root, out_name)
        env = dict(os.environ, UPLINKER_OUT=out_name, UPLINKER_PRELUDE=world.prelude)
        env["PATH"] = world.tools_dir + ":" + env.get("PATH", "/usr/sbin:/usr/bin:/sbin:/bin")
        super().__init__(["ip", "netns", "exec", world.topo.gw, "unshare", "--mount",
                          "--propagation", "private", "sh", "-c", MOUNT_SCRIPT, "sh", world.root,
                          world.binary] + list(args), env=env, stdin=subprocess.DEVNULL)

    def output(self): return read_text(self.out_path) or ""  # noqa: E704
    def lines(self): return log_lines(self.out_path)  # noqa: E704

    def messages(self, label=None): return [m for lab, m in self.lines() if label in (None, lab)]

    def stop(self):
        self.terminate()
        try:
            self.wait(timeout=10)
        except subprocess.TimeoutExpired:
            self.kill()


class World:
    # Namespaces, files, helpers and daemons of one test; cleanup() undoes all of it.

    def __init__(self, root, binary, tools_dir):
        self.root, self.binary, self.tools_dir = str(root), binary, tools_dir
        n = "%d_%d" % (os.getpid(), next(_counter))
        self.topo = netsetup.Topology("uplgw" + n, "uplisp" + n)
        self.daemons, self.helpers, self.allowed_errors = [], [], set()
        # Shell code run in the daemon's namespaces just before it starts, with "$@" its command
        # line and $root the test's directory; it may start the daemon itself and exit.
        self.prelude, self.service = "", None
        self.run_dir, self.stub_dir = self.root + "/run", self.root + "/stub"
        self.hook_log = self.root + "/hook.log"
        list(map(os.makedirs, (self.run_dir, self.stub_dir)))
        self.write(self.root + "/rt_tables", netsetup.RT_TABLES)
        self.write(self.root + "/etc-uplinker/hooks/after-switch-inet",
                   '#!/bin/sh\necho "$*" >> "%s"\n' % self.hook_log, 0o755)
        self.topo.create()

    def write(self, path, text, mode=0o644):
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "wb" if isinstance(text, bytes) else "w") as f:
            f.write(text)
        os.chmod(path, mode)

    def spawn_in(self, ns, args, ready=None):
        # A helper process in a namespace, ended at cleanup, with its output in the file
        # proc.out; waits until ready() holds or, given a text, until the output shows it.
        out = os.path.join(self.root, "helper-%d.out" % len(self.helpers))
        with open(out, "wb") as f:
            proc = subprocess.Popen(["ip", "netns", "exec", ns] + args, stdin=subprocess.DEVNULL,
                                    stdout=f, stderr=subprocess.STDOUT)
        proc.out = out
        self.helpers.append(proc)
        if isinstance(ready, str):
            ready = lambda text=ready: text in (read_text(out) or "")  # noqa: E731
        if ready:
            wait_for(" ".join(args[:2]), lambda: ready() or proc.poll() is not None)
            assert proc.poll() is None, "%s did not start" % args[0]
        return proc

    def start_config_service(self, answer):
        # The standard library's file server: the answer is the file "api" (a dict is sent as
        # JSON, text or bytes as they are; None leaves it out, which is an HTTP error).
        if answer is not None:
            body = json.dumps(answer) if isinstance(answer, dict) else answer
            self.write(self.stub_dir + "/api", body.encode() if isinstance(body, str) else body)
        self.service = self.spawn_in(self.topo.gw, [
            sys.executable, "-u", "-m", "http.server", "-b", "127.0.0.1", "-d", self.stub_dir,
            "80"], "Serving HTTP")

    def config_requests(self):
        return re.findall(r'"GET (\S+) HTTP', read_text(self.service.out) if self.service else "")

    def start_tcp_listener(self, addr, port, ns=None):
        # A socket listening in a namespace (default the ISP's): the kernel completes the
        # connections, which are never accepted nor answered; closed, it refuses them.
        sock = netsetup.in_namespace(ns or self.topo.isp,
                                     lambda: socket.create_server((addr, port)))
        self.helpers.append(sock)
        return sock

    def set_echo_modes(self, modes):
        # From the first call on, echo requests in the ISP namespace are answered by a process
        # instead of the kernel, as modes say (see echo_responder.py); written whole, so that
        # it never reads half of them.
        self.write(self.root + "/echo-modes.new", json.dumps(modes))
        os.rename(self.root + "/echo-modes.new", self.root + "/echo-modes")
        if not hasattr(self, "responder"):
            self.responder = self.spawn_in(self.topo.isp, [
                sys.executable, "-u", RESPONDER, self.root + "/echo-modes"], "answering")

    def start_name_server(self, records):
        # dnsmasq in the ISP namespace answering {name: address}; returns its query log.
        args = ["/usr/sbin/dnsmasq", "--keep-in-foreground", "--conf-file=/dev/null", "--no-resolv",
                "--no-hosts", "--bind-interfaces", "--listen-address=" + netsetup.DNS_SERVER,
                "--pid-file=", "--user=root", "--log-queries", "--log-facility=-"]
        args += ["--address=/%s/%s" % item for item in records.items()]
        return self.spawn_in(self.topo.isp, args, "started").out

    def start_daemon(self, args=None):
        self.daemons.append(Daemon(self, args or ["-i", "-e", "-p", "0"],
                                   "uplinker-%d.out" % len(self.daemons)))
        return self.daemons[-1]

    # What the daemon left behind: hook calls, state files.
    def hook_calls(self): return (read_text(self.hook_log) or "").splitlines()  # noqa: E704
    def current_wan(self): return read_text(self.run_dir + "/uplinker/current_wan")  # noqa: E704
    def istate(self, name): return read_text(self.run_dir + "/uplinker/istate/" + name)  # noqa

    def resolver_link(self):
        link = os.path.join(self.run_dir, "wan_resolv.conf")
        return os.readlink(link) if os.path.islink(link) else None

    def problems(self):
        # ERROR or FATAL lines that were not expected. Sanitizer reports go to files of their
        # own, which fail the sanitizer build's test run.
        return [] if self.allowed_errors is None else [
            "%s: [%s] %s" % (os.path.basename(d.out_path), lab, m) for d in self.daemons
            for lab, m in d.lines() if lab in ("ERROR", "FATAL") and m not in self.allowed_errors]

    def cleanup(self):
        for d in self.daemons:
            d.stop()
        for h in self.helpers:
            h.close() if isinstance(h, socket.socket) else (h.kill(), h.wait())
        self.topo.destroy()
