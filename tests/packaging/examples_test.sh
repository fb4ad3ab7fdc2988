#!/bin/sh
# The example files: scripts parse as POSIX sh (and BusyBox ash when present), the answer is
# valid JSON, and the hook logs what the daemon passes it.
# Usage: examples_test.sh <source dir>
set -u
here=$(cd "$(dirname "$0")" && pwd)
. "$here/check.sh"
src=$1
examples="$src/packaging/examples"

for shell in sh dash busybox; do
    command -v "$shell" >/dev/null 2>&1 || continue
    args=
    [ "$shell" = busybox ] && args=sh
    for script in "$examples/after-switch-inet" "$src/packaging/init.d/uplinker.in"; do
        $shell $args -n "$script" || fail "$shell cannot parse $script"
    done
done

/usr/bin/python3 -m json.tool "$examples/config-answer.json" >/dev/null ||
    fail "config-answer.json is not valid JSON"
/usr/bin/python3 -m py_compile "$examples/stub-config-service" ||
    fail "stub-config-service does not compile"

# Every table name the example answer needs is in the rt_tables fragment.
for name in eth0 wlan0 cellular; do
    grep -qE "^[0-9]+[[:space:]]+$name\$" "$examples/rt_tables" || fail "rt_tables lacks $name"
done

# The hook, with a logger that records its arguments first on PATH.
fake=$(mktemp -d /tmp/uplinker-hook.XXXXXX)
trap 'rm -rf "$fake"' EXIT
cat >"$fake/logger" <<'LOGGER'
#!/bin/sh
printf '%s\n' "$*" >>"$(dirname "$0")/logged"
LOGGER
chmod +x "$fake/logger"

# hook arguments | expected logger arguments
while IFS='|' read -r args expected; do
    rm -f "$fake/logged"
    # shellcheck disable=SC2086
    PATH="$fake:$PATH" "$examples/after-switch-inet" $args || fail "hook $args failed"
    expect_eq "$(cat "$fake/logged" 2>/dev/null)" "$expected" "hook $args"
done <<'CASES'
-i wlan0 -d up|-t uplinker-hook uplink wlan0 (up)
-i ppp0 -d down|-t uplinker-hook uplink ppp0 (down)
-i eth0|-t uplinker-hook uplink eth0
-d down|-t uplinker-hook uplink none (down)
|-t uplinker-hook uplink none
CASES

finish
