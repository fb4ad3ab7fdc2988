#!/bin/sh
# The man page renders without warnings and carries the facts an operator looks for.
# Usage: man_page_test.sh <uplinker.8>
set -u
here=$(cd "$(dirname "$0")" && pwd)
. "$here/check.sh"
page=$1

if ! command -v man >/dev/null 2>&1; then
    echo "man is not installed: skipped"
    exit 77
fi
warnings=$(LC_ALL=C.UTF-8 MANROFFSEQ='' MANWIDTH=80 man --warnings -l "$page" 2>&1 >/dev/null)
[ -z "$warnings" ] || fail "man reports: $warnings"

text=$(mktemp /tmp/uplinker-man.XXXXXX)
trap 'rm -f "$text"' EXIT
LC_ALL=C.UTF-8 MANWIDTH=200 man -l "$page" 2>/dev/null | col -b >"$text"

for section in NAME SYNOPSIS OPTIONS "LOG LEVELS" CONFIGURATION "THE HOOK" FILES SIGNALS \
    "EXIT STATUS"; do
    grep -qx "$section" "$text" || fail "no section $section"
done
for level in "TRACE 0" "DEBUG 20" "INFO 40" "WARNING 60" "ERROR 80" "FATAL 100"; do
    expect_contains "$text" "$level" "man page"
done
for fact in "/var/run/uplinker.pid" "/var/run/uplinker/current_wan" "/var/run/wan_resolv.conf" \
    "/etc/iproute2/rt_tables" "/etc/uplinker/hooks/after-switch-inet" "/var/run/cell/status" \
    "http://127.0.0.1/api?fields=uplinker,waninfo" "-d up" "-d down" SIGHUP SIGTERM SIGINT; do
    expect_contains "$text" "$fact" "man page"
done
for option in -i -e -l -p -d -h; do
    grep -qE "^ +$option( |,|$)" "$text" || fail "option $option not described"
done

# The example answer in the page must be valid JSON with both sections.
sed -n '/A complete example:/,/with these lines in/p' "$text" | sed '1d;$d' | /usr/bin/python3 -c '
import json, sys
answer = json.load(sys.stdin)
assert answer["uplinker"]["mode"] in ("FAILOVER", "CONSTANT")
assert answer["waninfo"]["wans"]
' || fail "the example answer in the page is not a complete JSON answer"

finish
