"""Start-up, refused starts, signals and shutdown of the daemon."""

import signal

import pytest

from harness import config_answer, uplinker_entry, waninfo_entry


def two_ethernet(mode="FAILOVER"):
    return config_answer(mode, [uplinker_entry("eth1", 20), uplinker_entry("eth0", 10)])


def test_startup_picks_most_preferred_usable_wan(world):
    world.add_wans("eth0", "eth1")
    d = world.start(two_ethernet())
    world.assert_uplink("eth0", ["-i eth0 -d up"])
    assert world.istate("eth0") == "Up\n"
    assert world.istate("eth1") == "Up\n"
    assert world.config_requests() == ["/api?fields=uplinker,waninfo"]
    info = d.messages("INFO")
    assert "uplinker starting up with log level TRACE" in info
    assert "Configuration loaded:" in info
    assert "  Uplinker mode [Failover]" in info
    assert "  Number of wan interfaces [2]" in info
    assert d.find("App::switchInet: ip route add default via 10.0.0.1 dev eth0 table main")


def test_startup_without_config_service_fails_init(world):
    world.add_wans("eth0")
    world.allowed_errors.update({"init failed!", "Config has no valid data!"})
    d = world.start_daemon()
    assert d.wait_exit() == 0
    assert d.find("init failed!", label="ERROR")
    assert d.find("Config has no valid data!", label="ERROR")
    assert world.hook_calls() == []
    # getRequest reports why the request failed; its exact words are its own.
    world.allowed_errors.update(m for m in d.messages("ERROR"))


INVALID_ANSWERS = [
    ("not-json", "this is not json {", 200, None),
    ("http-error", '{"uplinker": {}, "waninfo": {}}', 500, None),
    ("top-level-array", "[1, 2]", 200, "Conf::load: invalid API response"),
    ("no-uplinker", '{"waninfo": {"wans": []}}', 200, "Conf::load: invalid API response"),
    ("uplinker-not-object", '{"uplinker": 3, "waninfo": {}}', 200,
     "Conf::load: invalid API response"),
    ("no-waninfo", '{"uplinker": {"mode": "FAILOVER"}}', 200, "Conf::load: invalid API response"),
    ("lower-case-mode", '{"uplinker": {"mode": "failover"}, "waninfo": {}}', 200, None),
    ("no-mode", '{"uplinker": {}, "waninfo": {}}', 200, None),
]


@pytest.mark.parametrize("body,status,fatal", [a[1:] for a in INVALID_ANSWERS],
                         ids=[a[0] for a in INVALID_ANSWERS])
def test_invalid_answer_fails_init(world, body, status, fatal):
    world.add_wans("eth0")
    world.start_config_service(body, status)
    d = world.start_daemon()
    assert d.wait_exit() == 0
    assert d.find("init failed!", label="ERROR")
    assert d.find("Config has no valid data!", label="ERROR")
    if fatal:
        assert d.find(fatal, label="FATAL")
    else:
        assert d.messages("FATAL") == []
    assert world.config_requests() == ["/api?fields=uplinker,waninfo"]
    assert world.hook_calls() == [] and world.current_wan() is None
    world.allowed_errors.update(d.messages("ERROR") + d.messages("FATAL"))


def test_second_instance_is_refused(world):
    world.add_wans("eth0", "eth1")
    first = world.start(two_ethernet())
    world.wait_hooks(["-i eth0 -d up"])
    second = world.start_daemon()
    assert second.wait_exit(timeout=20) == 1
    assert second.find("Another instance of uplinker is already running!", label="ERROR")
    world.allowed_errors.add("Another instance of uplinker is already running!")
    assert first.running()
    assert world.config_requests() == ["/api?fields=uplinker,waninfo"]


def test_sighup_only_logs_reconfigure(world):
    world.add_wans("eth0", "eth1")
    d = world.start(two_ethernet())
    world.wait_hooks(["-i eth0 -d up"])
    d.signal(signal.SIGHUP)
    d.wait_message("start reconfigure", label="DEBUG")
    assert d.running()
    assert world.config_requests() == ["/api?fields=uplinker,waninfo"]
    # Still at work: a carrier loss is acted on as before.
    world.topo.set_carrier("eth0", False)
    world.assert_uplink("eth1", ["-i eth0 -d up", "-i eth1 -d down"])


@pytest.mark.parametrize("signum", [signal.SIGTERM, signal.SIGINT], ids=["SIGTERM", "SIGINT"])
def test_terminating_signal_ends_cleanly(world, signum):
    world.add_wans("eth0", "eth1")
    d = world.start(two_ethernet())
    world.wait_hooks(["-i eth0 -d up"])
    mark = d.mark()
    d.signal(signum)
    assert d.wait_exit() == 0
    after = [m for (_, m) in d.lines()[mark:]]
    assert "start deinit" in after
    assert after[-1] == "done"
    # The state files stay behind for the next start.
    assert world.current_wan() == "eth0\n"
