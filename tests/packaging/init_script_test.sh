#!/bin/sh
# Drives the init script against the real daemon. Runs inside tests/sandbox --net, so /etc, /run
# and 127.0.0.1:80 are private; the example configuration service and answer feed the daemon.
# Usage: init_script_test.sh <init script> <uplinker binary> <source dir>
set -u
here=$(cd "$(dirname "$0")" && pwd)
. "$here/check.sh"
script=$1
daemon=$2
src=$3
examples="$src/packaging/examples"
work=/run/uplinker-init-test
log="$work/daemon.log"
stub_pid=

mkdir -p "$work" /etc/default /etc/iproute2
cat "$examples/rt_tables" >>/etc/iproute2/rt_tables
cat >/etc/default/uplinker <<CONF
DAEMON=$daemon
UPLINKER_OPTS="-l $log -p 20"
CONF

cleanup() {
    [ -n "$stub_pid" ] && kill "$stub_pid" 2>/dev/null
    if [ -r /var/run/uplinker.pid ]; then
        kill -TERM "$(cat /var/run/uplinker.pid)" 2>/dev/null
    fi
}
trap cleanup EXIT

# poll <tries of 0.1 s> <command...>: succeeds as soon as the command does.
poll() {
    tries=$1
    shift
    while [ "$tries" -gt 0 ]; do
        "$@" && return 0
        sleep 0.1
        tries=$((tries - 1))
    done
    return 1
}

service_answers() {
    /usr/bin/python3 -c 'import urllib.request; urllib.request.urlopen("http://127.0.0.1/api")' \
        2>/dev/null
}

# alive <pid>: the process exists and has not ended (an ended one lingers until it is reaped).
alive() {
    kill -0 "$1" 2>/dev/null && ! grep -q '^State:[[:space:]]*Z' "/proc/$1/status" 2>/dev/null
}

# run <action>: runs the init script, leaving its output in $out and its status in $rc.
run() {
    out=$(sh "$script" "$1" 2>&1)
    rc=$?
}

"$examples/stub-config-service" "$examples/config-answer.json" 80 2>/dev/null &
stub_pid=$!
poll 100 service_answers || { echo "FAIL: the example configuration service did not answer" >&2; exit 1; }

run status
expect_eq "$rc" 3 "status before any start"
expect_eq "$out" "uplinker is not running" "status output before any start"

run start
expect_eq "$rc" 0 "start"
pid=$(cat /var/run/uplinker.pid 2>/dev/null)
expect_eq "$(cat "/proc/$pid/comm" 2>/dev/null)" uplinker "process named in the pid file"
run status
expect_eq "$rc" 0 "status while running"
expect_eq "$out" "uplinker is running (pid $pid)" "status output while running"

# The example answer and table fragment together give three usable entries.
poll 100 grep -qF "Number of wan interfaces [3]" "$log" ||
    fail "the daemon did not load the example configuration (log: $(cat "$log"))"
expect_contains "$log" "Uplinker mode [Failover]" "daemon log"

run start
expect_eq "$rc" 0 "start while running"
expect_eq "$out" "uplinker is already running (pid $pid)" "second start output"

run restart
expect_eq "$rc" 0 "restart"
alive "$pid" && fail "restart left the old daemon $pid running"
new_pid=$(cat /var/run/uplinker.pid 2>/dev/null)
[ -n "$new_pid" ] && [ "$new_pid" != "$pid" ] || fail "restart did not start a new daemon"
run status
expect_eq "$rc" 0 "status after restart"

run stop
expect_eq "$rc" 0 "stop"
alive "$new_pid" && fail "stop left the daemon $new_pid running"
[ -e /var/run/uplinker.pid ] && fail "stop left the pid file behind"
expect_contains "$log" "start deinit" "daemon log"
run status
expect_eq "$rc" 3 "status after stop"
run stop
expect_eq "$rc" 0 "stop when stopped"
expect_eq "$out" "uplinker is not running" "stop output when stopped"

# A stale pid file naming some other live process must not count as the daemon.
echo $$ >/var/run/uplinker.pid
run status
expect_eq "$rc" 1 "status with a stale pid file"
rm -f /var/run/uplinker.pid

# Without a configuration service the daemon gives up at once, and start must say so.
kill "$stub_pid"
wait "$stub_pid" 2>/dev/null
stub_pid=
run start
[ "$rc" -ne 0 ] || fail "start reported success without a configuration service"

run bogus
expect_eq "$rc" 2 "unknown action"

finish
