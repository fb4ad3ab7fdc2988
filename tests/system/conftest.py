# One fresh world (namespaces, stub service, daemon) per test.
#
# Environment: UPLINKER_BIN, the daemon binary (default build/uplinker beside the sources);
# UPLINKER_TOOLS_DIR, where uplinker-ping, inet-check, vrx-dig and uplinker-status are (put first
# on the daemon's PATH; default build/tools).

import os
import sys

import pytest

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))

import harness  # noqa: E402

SOURCE_DIR = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
BINARY = os.environ.get("UPLINKER_BIN", os.path.join(SOURCE_DIR, "build", "uplinker"))
TOOLS_DIR = os.environ.get("UPLINKER_TOOLS_DIR", os.path.join(SOURCE_DIR, "build", "tools"))
TOOLS = ("uplinker-ping", "inet-check", "vrx-dig", "uplinker-status")


def pytest_configure(config):
    config.addinivalue_line("markers", "slow: waits out a long time-out of the daemon")


@pytest.fixture(scope="session", autouse=True)
def preconditions():
    assert os.geteuid() == 0, "the system tests need root (network and mount namespaces)"
    for path in [BINARY, "/usr/sbin/dnsmasq"] + [os.path.join(TOOLS_DIR, t) for t in TOOLS]:
        assert os.access(path, os.X_OK), "%s is missing (UPLINKER_BIN, UPLINKER_TOOLS_DIR)" % path


@pytest.fixture
def world(tmp_path):
    w = harness.World(tmp_path, BINARY, TOOLS_DIR)
    try:
        yield w
    finally:
        w.cleanup()
        # pytest shows what a test wrote only when it fails.
        for d in w.daemons:
            sys.stderr.write("\n----- %s (tail) -----\n%s\n" % (d.out_path, d.output()[-6000:]))
    problems = w.problems()
    assert not problems, "daemon output reports:\n" + "\n".join(problems)
