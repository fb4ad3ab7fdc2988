#!/bin/sh
# Builds the Debian package from a build tree and checks what it would install.
# Usage: package_contents_test.sh <build dir>
set -u
here=$(cd "$(dirname "$0")" && pwd)
. "$here/check.sh"
build=$1

scratch=$(mktemp -d /tmp/uplinker-package.XXXXXX)
trap 'rm -rf "$scratch"' EXIT

if ! cpack -G DEB --config "$build/CPackConfig.cmake" -B "$scratch/out" >"$scratch/cpack.log" 2>&1; then
    cat "$scratch/cpack.log" >&2
    echo "FAIL: cpack" >&2
    exit 1
fi
set -- "$scratch"/out/*.deb
if [ "$#" -ne 1 ] || [ ! -f "$1" ]; then
    echo "FAIL: expected one package, found: $*" >&2
    exit 1
fi
deb=$1
root="$scratch/root"
dpkg-deb -x "$deb" "$root" || exit 1
dpkg-deb -e "$deb" "$scratch/control" || exit 1

expect_eq "$(dpkg-deb -f "$deb" Package)" uplinker "package name"
expect_contains "$scratch/control/control" "Depends:" "control file"
expect_contains "$scratch/control/control" "iproute2" "control file"
expect_contains "$scratch/control/conffiles" "/etc/init.d/uplinker" "conffiles"

expect_file "$root/usr/sbin/uplinker" -x
for tool in uplinker-ping inet-check vrx-dig; do
    expect_file "$root/usr/bin/$tool" -x
done
expect_file "$root/usr/lib/systemd/system/uplinker.service"
expect_file "$root/etc/init.d/uplinker" -x
expect_dir "$root/etc/uplinker/hooks"
expect_file "$root/usr/share/man/man8/uplinker.8"
examples="$root/usr/share/doc/uplinker/examples"
expect_file "$examples/after-switch-inet" -x
expect_file "$examples/stub-config-service" -x
expect_file "$examples/config-answer.json"
expect_file "$examples/rt_tables"

# The service files must start the daemon from where the package puts it.
unit="$root/usr/lib/systemd/system/uplinker.service"
expect_contains "$unit" "ExecStart=/usr/sbin/uplinker" "unit"
expect_contains "$unit" "Type=forking" "unit"
expect_contains "$unit" "PIDFile=/run/uplinker.pid" "unit"
expect_contains "$unit" "Restart=always" "unit"
expect_contains "$root/etc/init.d/uplinker" "DAEMON=/usr/sbin/uplinker" "init script"

# Nothing from the build or test trees may slip into the package.
extra=$(cd "$root" && find . -type f | grep -v -e '^./usr/sbin/uplinker$' -e '^./usr/bin/' \
    -e '^./usr/lib/systemd/system/uplinker.service$' -e '^./etc/init.d/uplinker$' \
    -e '^./usr/share/man/man8/uplinker.8$' -e '^./usr/share/doc/uplinker/')
[ -z "$extra" ] || fail "unexpected files in the package: $extra"
extra_bin=$(cd "$root/usr/bin" && ls | grep -v -x -e uplinker-ping -e inet-check -e vrx-dig)
[ -z "$extra_bin" ] || fail "unexpected programs in /usr/bin: $extra_bin"

if command -v systemd-analyze >/dev/null 2>&1; then
    # Verify the unit against the unpacked daemon: only the ExecStart path differs.
    sed "s|^ExecStart=.*|ExecStart=$root/usr/sbin/uplinker|" "$unit" >"$scratch/uplinker.service"
    if ! systemd-analyze verify --man=no "$scratch/uplinker.service" >"$scratch/verify.log" 2>&1; then
        cat "$scratch/verify.log" >&2
        fail "systemd-analyze verify"
    fi
fi

finish
