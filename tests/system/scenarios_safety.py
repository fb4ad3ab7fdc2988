# What a trusted system daemon promises beyond its documented behaviour: state files, standard
# streams, SIGPIPE, a stop while a command hangs, the system log, a check thread that cannot
# start. The order of the shutdown is checked with a hung probe in scenarios_checks.

import os
import signal
import sys

from harness import read_text
from scenario import Scenario, Step, carrier, failover, send, steps
from scenarios_checks import hook_killed, hung_hook, hung_pid
from scenarios_frame import daemonised, logged as frame_log

UP0, DOWN1 = "-i eth0 -d up", "-i eth1 -d down"
TWO = failover("eth0", "eth1")
# Daemon mode, logging to a file in the test's /run.
DAEMON = ["-l", "/run/uplinker.log", "-p", "0"]
NO_THREAD = "eth1| unable to start the check thread"


def prelude(text):
    return lambda w: setattr(w, "prelude", w.prelude + text)


def logged(message):
    return lambda w, d: message in [m for _, m in frame_log(w, "uplinker.log")]


def plant_link(w):
    w.write(w.root + "/victim", "precious\n")
    os.makedirs(w.run_dir + "/uplinker")
    os.symlink(w.root + "/victim", w.run_dir + "/uplinker/current_wan")


def link_left_alone(w, d):
    modes = [os.stat(w.run_dir + p).st_mode & 0o777 for p in ("/uplinker/istate",
                                                               "/uplinker/istate/eth0")]
    return read_text(w.root + "/victim") == "precious\n" and modes == [0o755, 0o644]


# A /dev of the daemon's own, whose /dev/log leads to the test's system log, up or not.
DEV_LOG = """mkdir /mnt/dev-upper /mnt/dev-work
mount -t overlay dev -o lowerdir=/dev,upperdir=/mnt/dev-upper,workdir=/mnt/dev-work /dev
ln -s "$root/log.sock" /dev/log
"""
SYSLOG = """import socket, sys
s = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
s.bind(sys.argv[1])
out = open(sys.argv[2], "ab", 0)
while True:
    out.write(s.recv(65536) + b"\\n")
"""


def syslog_up(w, d):
    # (Re)starts the system log; what it receives goes to a file of its own.
    sock = w.root + "/log.sock"
    if getattr(w, "syslog", None):
        w.syslog.terminate()
        w.syslog.wait()
        os.unlink(sock)
    w.syslog_file = w.root + "/syslog-%d" % len(w.helpers)
    w.syslog = w.spawn_in(w.topo.gw, [sys.executable, "-c", SYSLOG, sock, w.syslog_file],
                          lambda: os.path.exists(sock))


def in_syslog(text):
    return lambda w, d: "]: " + text in (read_text(w.syslog_file) or "")


RECONFIGURE = steps(syslog_up, send(signal.SIGHUP))

SCENARIOS = [
    # Also the daemon start: the parent leaves, the daemon writes its pid file and goes on.
    Scenario("state files are 0644 and never written through a planted link; started with "
             "closed standard streams, the daemon keeps its log and its lock", args=DAEMON,
             setup=lambda w: plant_link(w) or prelude('exec "$@" <&- >&- 2>&-\n')(w),
             answer=TWO, steps=[
                 Step(exit=0, hooks=[UP0], route="default via 10.0.0.1 dev eth0",
                      check=lambda w, d: link_left_alone(w, d) and daemonised(w, d)),
                 # The second instance tries the lock for 5 s before it gives up.
                 Step(lambda w, d: w.start_daemon(args=DAEMON), timeout=8,
                      check=logged("Another instance of uplinker is already running!")),
                 Step(carrier("eth0", False), hooks=[DOWN1],
                      route="default via 10.0.1.1 dev eth1"),
             ]),
    Scenario("a reader of standard output that goes away costs only its lines",
             setup=prelude('"$@" | head -n 1 >/dev/null; exit\n'), answer=TWO, steps=[
                 Step(uplink="eth0", hooks=[UP0]),
                 Step(carrier("eth0", False), uplink="eth1", hooks=[DOWN1]),
             ]),
    Scenario("a stop ends a hung hook at once", setup=hung_hook, answer=TWO, steps=[
        Step(hooks=[UP0], check=lambda w, d: hung_pid(w, "hook.pid")),
        Step(send(signal.SIGTERM), exit=0, log=["start deinit", "done"], check=hook_killed,
             timeout=5),
    ]),
    Scenario("the system log gets labelled lines once it is up, and again after a restart",
             setup=prelude(DEV_LOG), args=["-i", "-p", "0"], answer=TWO, steps=[
                 Step(uplink="eth0"),
                 Step(RECONFIGURE, check=in_syslog("[DEBUG] start reconfigure")),
                 Step(RECONFIGURE, check=in_syslog("[DEBUG] start reconfigure")),
             ]),
    # Two tasks: the main thread and eth0's check thread. eth1's cannot start; at the end the
    # leak checker of a sanitizer build can start its own in the place of eth0's.
    Scenario("a check thread that cannot start fails init", setup=lambda w: w.limit_tasks(2),
             answer=TWO, errors=(NO_THREAD, "init failed!"), steps=[
                 Step(exit=0, log=[NO_THREAD, "init failed!", "done"],
                      nolog=["eth0| unable to start the check thread"]),
             ]),
]
