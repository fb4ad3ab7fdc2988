# What a trusted system daemon promises beyond its documented behaviour: state files, standard
# streams, SIGPIPE, a stop while a command runs or hangs, the system log. The order of the
# shutdown is checked with a hung probe in scenarios_checks.

import os
import signal
import sys

from harness import read_text, wait_for
from scenario import Scenario, Step, carrier, failover, send, steps
from scenarios_checks import fake_tool, hook_killed, hung_hook, hung_pid
from scenarios_frame import START, daemonised, logged as frame_log

UP0, DOWN1 = "-i eth0 -d up", "-i eth1 -d down"
TWO = failover("eth0", "eth1")
# Daemon mode, logging to a file in the test's /run.
DAEMON = ["-l", "/run/uplinker.log", "-p", "0"]
REFUSED = "Another instance of uplinker is already running!"
ANEW = "/var/run/uplinker/%s was not a regular file of root's with one link; made anew"


def prelude(text): return lambda w: setattr(w, "prelude", w.prelude + text)  # noqa: E704


def second_refused(w, d):
    # The second start gives up on the lock before it asks for a configuration.
    return w.daemons[1].poll() == 1 and len(w.config_requests()) == 1 and REFUSED in [
        m for _, m in frame_log(w, "uplinker.log")]


def plant_link(w):
    w.write(w.root + "/victim", "precious\n")
    os.makedirs(w.run_dir + "/uplinker")
    os.symlink(w.root + "/victim", w.run_dir + "/uplinker/current_wan")


def plant_stale(w, d):
    # current_wan becomes another user's; eth0's state file a second name of the victim.
    os.chown(w.run_dir + "/uplinker/current_wan", 65534, 65534)
    os.unlink(w.run_dir + "/uplinker/istate/eth0")
    os.link(w.root + "/victim", w.run_dir + "/uplinker/istate/eth0")


def plant_wide(w, d):
    # current_wan root's own, but writable by all as an older version left it.
    os.chmod(w.run_dir + "/uplinker/current_wan", 0o666)
    w.inode = os.stat(w.run_dir + "/uplinker/current_wan").st_ino


def state_files(*anew):
    # The victim as it was; the state files root's and 0644, their directory 0755; the files
    # made anew so far, each logged once.
    def check(w, d):
        stats = [os.stat(w.run_dir + "/uplinker/" + p)
                 for p in ("istate", "istate/eth0", "current_wan")]
        return read_text(w.root + "/victim") == "precious\n" and [m for lab, m in frame_log(
            w, "uplinker.log") if lab == "WARNING"] == [ANEW % p for p in anew] and [
            (s.st_uid, s.st_mode & 0o777) for s in stats] == [(0, 0o755), (0, 0o644), (0, 0o644)]
    return check


# ip or mkdir, slow as the test's file "slow" asks: a line "SECONDS WORDS" for a command line
# that holds WORDS; such a start is marked by the file "begun".
SLOW_TOOL = """#!/bin/sh
while read delay words; do
    case "$*" in *"$words"*) touch "%(root)s/begun"; sleep "$delay";; esac
done 2>/dev/null <"%(root)s/slow"
exec "$(PATH=${PATH#*:} command -v "${0##*/}")" "$@"
"""


def stop_while_slow(name, tool, slow, **expected):
    # eth0's carrier goes, and SIGTERM comes as the slow command begins; the istate directory
    # is moved away, so that mkdir runs in the same step as the switch.
    def act(w, d):
        os.rename(w.run_dir + "/uplinker/istate", w.run_dir + "/istate-moved")
        w.write(w.root + "/slow", slow + "\n")
        w.topo.set_carrier("eth0", False)
        wait_for("the slow command", lambda: os.path.exists(w.root + "/begun"))
        d.send_signal(signal.SIGTERM)
    return Scenario(name, answer=TWO, setup=fake_tool(tool, SLOW_TOOL), steps=[
        Step(uplink="eth0"), Step(act, exit=0, **expected)])


# A /dev of the daemon's own, whose /dev/log leads to the test's system log, up or not.
DEV_LOG = """mkdir /mnt/dev-upper /mnt/dev-work
mount -t overlay dev -o lowerdir=/dev,upperdir=/mnt/dev-upper,workdir=/mnt/dev-work /dev
ln -s "$root/log.sock" /dev/log
"""
SYSLOG = """import socket, sys
s = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM); s.bind(sys.argv[1])
while True: open(sys.argv[2], "ab").write(s.recv(65536) + b"\\n")"""


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
    # Logged as the daemon facility at debug priority (3 * 8 + 7).
    return lambda w, d: any(line.startswith("<31>") and line.endswith("]: " + text)
                            for line in (read_text(w.syslog_file) or "").splitlines())


NO_SYSLOG = [("WARNING", "unable to log to syslog"), ("INFO", START % "TRACE")]

SCENARIOS = [
    # Also the daemon start: the parent leaves, the daemon writes its pid file and goes on.
    # A state file that is not root's own with one link is made anew, never written through.
    Scenario("state files are 0644, current, and never written through a planted link; started "
             "with closed standard streams, the daemon keeps its log and its lock", args=DAEMON,
             setup=lambda w: plant_link(w) or prelude('exec "$@" <&- >&- 2>&-\n')(w),
             answer=TWO, steps=[
                 Step(exit=0, hooks=[UP0], uplink="eth0",
                      check=lambda w, d: state_files("current_wan")(w, d) and daemonised(w, d)),
                 # The second instance tries the lock for 5 s before it gives up.
                 Step(lambda w, d: w.start_daemon(args=DAEMON), timeout=8, check=second_refused),
                 Step(steps(plant_stale, carrier("eth0", False)), hooks=[DOWN1], uplink="eth1",
                      istate={"eth0": "Down\n"},
                      check=state_files("current_wan", "istate/eth0", "current_wan")),
                 # Root's own file is written in place: programs may watch its inode.
                 Step(steps(plant_wide, carrier("eth0", True)), hooks=[UP0], uplink="eth0",
                      check=lambda w, d: w.inode == os.stat(w.run_dir + "/uplinker/current_wan")
                      .st_ino and state_files("current_wan", "istate/eth0", "current_wan")(w, d))]),
    Scenario("a reader of standard output that goes away costs only its lines",
             setup=prelude('"$@" | head -n 1 >/dev/null; exit\n'), answer=TWO, steps=[
                 Step(uplink="eth0", hooks=[UP0]),
                 Step(carrier("eth0", False), uplink="eth1", hooks=[DOWN1])]),
    Scenario("a stop lets the hook run on for a while, and ends it within 3 s", setup=hung_hook,
             answer=TWO, steps=[
                 Step(hooks=[UP0], check=lambda w, d: hung_pid(w, "hook.pid")),
                 Step(steps(send(signal.SIGTERM), lambda w, d: w.write(w.root + "/stopping", "")),
                      exit=0, log=["start deinit", "done"], timeout=3, check=lambda w, d:
                      hook_killed(w, d) and os.path.exists(w.root + "/finished"))]),
    stop_while_slow("a stop during a switch leaves the new default route", "ip", "0.5 dev eth1",
                    uplink="eth1"),
    # The deletion takes 1.8 s of the stop's 2 s: the addition still follows it.
    stop_while_slow("a stop as a slow deletion begins still adds the route current_wan names", "ip",
                    "1.8 route del\n0.5 dev eth1", route="default via 10.0.1.1 dev eth1",
                    check=lambda w, d: w.current_wan() == "eth1\n"),
    # A hung addition runs to its own bound, not to the stop's.
    stop_while_slow("a hung addition after a slow deletion is cut by its own 10 s bound", "ip",
                    "1.8 route del\n30 route add", timeout=14, log=[
                        "command timed out after 10 seconds and was killed: ip route add default "
                        "via 10.0.1.1 dev eth1 table main"]),
    # The mkdir outlasts the stop's grace period: the switch does not begin.
    stop_while_slow("no switch begins once a stop's grace period is over", "mkdir", "3 istate",
                    uplink="eth0"),
    Scenario("with no system log at start, the log goes to standard output",
             setup=prelude(DEV_LOG), args=["-i", "-p", "0"], answer=TWO, steps=[
                 Step(uplink="eth0", check=lambda w, d: d.lines()[:2] == NO_SYSLOG)]),
    Scenario("the system log gets labelled lines, and again after a restart",
             setup=lambda w: prelude(DEV_LOG)(w) or syslog_up(w, None), args=["-i", "-p", "0"],
             answer=TWO, steps=[
                 Step(check=in_syslog("[DEBUG] main loop")),
                 Step(steps(syslog_up, send(signal.SIGHUP)),
                      check=in_syslog("[DEBUG] start reconfigure"))]),
]
