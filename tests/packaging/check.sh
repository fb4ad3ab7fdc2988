# Assertions shared by the packaging tests (sourced). Each failure is reported and counted, so
# one run shows every problem; finish ends the test with the verdict.
failures=0

fail() {
    echo "FAIL: $*" >&2
    failures=$((failures + 1))
}

# expect_file <path> [-x]: the path is a regular file (and executable with -x).
expect_file() {
    if [ ! -f "$1" ]; then
        fail "missing file $1"
    elif [ "${2:-}" = -x ] && [ ! -x "$1" ]; then
        fail "not executable: $1"
    fi
}

expect_dir() {
    [ -d "$1" ] || fail "missing directory $1"
}

# expect_contains <file> <fixed text> [description]
expect_contains() {
    grep -qF -- "$2" "$1" || fail "${3:-$1} lacks: $2"
}

# expect_eq <actual> <expected> <what>
expect_eq() {
    [ "$1" = "$2" ] || fail "$3: got '$1', expected '$2'"
}

finish() {
    if [ "$failures" -ne 0 ]; then
        echo "$failures check(s) failed" >&2
        exit 1
    fi
    echo "all checks passed"
    exit 0
}
