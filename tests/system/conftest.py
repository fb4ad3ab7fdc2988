"""Fixtures of the system tests: one fresh world (namespaces, stub service, daemon) per test.

Environment: UPLINKER_BIN, the daemon binary (default build/uplinker beside the sources);
UPLINKER_TOOLS_DIR, where uplinker-ping, inet-check and vrx-dig are (put first on the daemon's
PATH; default build/tools).
"""

import os
import shutil
import sys

import pytest

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))

import harness  # noqa: E402

SOURCE_DIR = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
TOOLS = ("uplinker-ping", "inet-check", "vrx-dig")


def pytest_configure(config):
    config.addinivalue_line("markers", "slow: waits out a long time-out of the daemon")


def binary_path():
    return os.environ.get("UPLINKER_BIN", os.path.join(SOURCE_DIR, "build", "uplinker"))


def tools_dir():
    return os.environ.get("UPLINKER_TOOLS_DIR", os.path.join(SOURCE_DIR, "build", "tools"))


@pytest.fixture(scope="session", autouse=True)
def preconditions():
    if os.geteuid() != 0:
        pytest.skip("system tests need root (network and mount namespaces)")
    if not os.access(binary_path(), os.X_OK):
        pytest.fail("daemon binary %s not found; set UPLINKER_BIN" % binary_path())


@pytest.fixture
def tools():
    """The real probe tools; tests that need them are skipped when they are not built."""
    missing = [t for t in TOOLS if not os.access(os.path.join(tools_dir(), t), os.X_OK)]
    if missing:
        pytest.skip("probe tools not built: %s" % ", ".join(missing))
    return tools_dir()


@pytest.fixture
def dnsmasq():
    path = shutil.which("dnsmasq") or "/usr/sbin/dnsmasq"
    if not os.access(path, os.X_OK):
        pytest.skip("dnsmasq not installed")
    return path


@pytest.hookimpl(hookwrapper=True)
def pytest_runtest_makereport(item, call):
    outcome = yield
    report = outcome.get_result()
    setattr(item, "rep_" + report.when, report)


@pytest.fixture
def world(request, tmp_path):
    w = harness.World(tmp_path, binary_path(), tools_dir())
    try:
        yield w
    finally:
        w.cleanup()
        failed = getattr(request.node, "rep_call", None)
        if failed is not None and failed.failed:
            for d in w.daemons:
                sys.stderr.write("\n----- %s (tail) -----\n%s\n"
                                 % (d.out_path, d.output()[-6000:]))
    problems = w.problems()
    assert not problems, "daemon output reports:\n" + "\n".join(problems)
