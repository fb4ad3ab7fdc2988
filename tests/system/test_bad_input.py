"""Hostile or broken input: a configuration service that hangs or answers nonsense, damaged
files, a lookup tool printing garbage, shell metacharacters in an interface name and a forged
netlink datagram. Each is reported, runs nothing it should not, and leaves the daemon choosing
routes wherever the configuration still allows it."""

import json
import os
import random
import sys

import pytest

import netsetup
from harness import config_answer, uplinker_entry, waninfo_entry, wait_for

URL = "http://127.0.0.1/api?fields=uplinker,waninfo"
UP, BACK = "-i eth0 -d up", "-i eth1 -d down"

# Accepts connections and never answers them.
SILENT_SERVICE = r"""
import socket, sys, time
srv = socket.socket()
srv.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
srv.bind(("127.0.0.1", 80))
srv.listen(16)
open(sys.argv[1], "w").close()
held = []
while True:
    conn, _ = srv.accept()
    held.append(conn)
"""

# Sends one RTM_NEWLINK "link without RUNNING" for a name to a netlink port; exits with 3
# when the kernel refuses to deliver it.
FORGED_LINK = r"""
import os, socket, struct, sys
port, name = int(sys.argv[1]), sys.argv[2].encode() + b"\0"
attr = struct.pack("=HH", 4 + len(name), 3) + name
attr += b"\0" * (-len(attr) % 4)
body = struct.pack("=BxHiII", socket.AF_UNSPEC, 0, socket.if_nametoindex(sys.argv[2]), 0x1, 0)
body += attr
msg = struct.pack("=IHHII", 16 + len(body), 16, 0, 1, os.getpid()) + body
with socket.socket(socket.AF_NETLINK, socket.SOCK_RAW, socket.NETLINK_ROUTE) as sock:
    try:
        sock.sendto(msg, (port, 0))
    except PermissionError:
        sys.exit(3)
"""

# How the forger runs: as root, as nobody, and as nobody that kept the right to administer
# the network (which the kernel requires of any sender to another process's route socket).
SENDERS = {
    "root": [],
    "nobody": ["setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"],
    "nobody-net-admin": ["setpriv", "--reuid=65534", "--regid=65534", "--clear-groups",
                         "--inh-caps=+net_admin", "--ambient-caps=+net_admin"],
}


def two_ethernet():
    return config_answer("FAILOVER", [uplinker_entry("eth0", 10), uplinker_entry("eth1", 20)])


def expect_init_failure(world, d, error):
    assert d.wait_exit(timeout=30) == 0
    assert d.find("init failed!", label="ERROR")
    assert d.find(error, label="ERROR"), "no %r in %r" % (error, d.messages("ERROR"))
    assert world.hook_calls() == [] and world.current_wan() is None
    world.allowed_errors.update(d.messages("ERROR") + d.messages("FATAL"))


def failover_still_works(world, d):
    world.assert_uplink("eth0", [UP])
    world.topo.set_carrier("eth0", False)
    world.assert_uplink("eth1", [UP, BACK])


def later_work_step(world, d, address):
    """Makes the daemon read one more kernel datagram, so every earlier one has been handled."""
    mark = d.mark()
    world.topo.ip_gw("addr", "add", address + "/8", "dev", "lo")
    d.wait_message("RTM_NEWADDR: index(1) skipping as not wan interface", after=mark)


# ----- the configuration service ------------------------------------------------------------

def test_service_that_never_answers_fails_init_within_the_time_out(world):
    world.add_wans("eth0")
    ready = os.path.join(world.root, "silent.ready")
    world.spawn_in(world.topo.gw, [sys.executable, "-c", SILENT_SERVICE, ready])
    wait_for("the silent service", lambda: os.path.exists(ready))
    d = world.start_daemon()
    expect_init_failure(world, d, "Config has no valid data!")
    assert any(m.startswith("API request to %s failed: " % URL) for m in d.messages("ERROR"))


def test_body_over_the_limit_fails_init(world):
    world.add_wans("eth0")
    answer = two_ethernet()
    answer["padding"] = "x" * (5 * 1024 * 1024)
    world.start_config_service(answer)
    d = world.start_daemon()
    expect_init_failure(world, d, "API request to %s failed: answer larger than 4194304 bytes"
                        % URL)


def test_large_body_within_the_limit_is_used(world):
    world.add_wans("eth0", "eth1")
    answer = two_ethernet()
    answer["padding"] = ["x" * 1000] * 3000
    d = world.start(answer)
    failover_still_works(world, d)


WRONG_TYPES = [
    ("priority-text", lambda a: a["uplinker"]["wans"][0].update(priority="10")),
    ("monitor-number", lambda a: a["uplinker"]["wans"][1].update(monitor=3)),
    ("enabled-text", lambda a: a["waninfo"]["wans"][0].update(enabled="true")),
    ("wans-object", lambda a: a["uplinker"].update(wans={"eth0": {}})),
]


@pytest.mark.parametrize("spoil", [w[1] for w in WRONG_TYPES], ids=[w[0] for w in WRONG_TYPES])
def test_wrong_json_type_refuses_the_answer_with_a_message(world, spoil):
    world.add_wans("eth0", "eth1")
    answer = two_ethernet()
    spoil(answer)
    world.start_config_service(answer)
    d = world.start_daemon()
    expect_init_failure(world, d, "Config has no valid data!")
    # The operator is told which member was wrong.
    assert any(m.startswith("Conf::load: invalid API response") for m in d.messages("FATAL"))


# ----- files ------------------------------------------------------------------------------

def random_bytes(seed, size):
    return random.Random(seed).randbytes(size)


def test_route_table_file_of_random_bytes_skips_every_wan(world):
    world.add_wans("eth0", "eth1")
    with open(os.path.join(world.root, "rt_tables"), "wb") as f:
        f.write(random_bytes(1, 64 * 1024))
    d = world.start(two_ethernet())
    for name in ("eth0", "eth1"):
        assert d.find("Failed to find route table for %s interface. Skipping wan interface."
                      % name, label="WARNING")
    assert "  Number of wan interfaces [0]" in d.messages("INFO")
    # Nothing to choose from: the daemon runs on without an uplink and touches no route.
    world.wait_hooks([""])
    assert world.current_wan() == "\n"
    assert world.topo.default_route() == ""
    assert d.running()


def test_random_bytes_around_the_route_tables_are_ignored(world):
    world.add_wans("eth0", "eth1")
    with open(os.path.join(world.root, "rt_tables"), "wb") as f:
        f.write(random_bytes(2, 32 * 1024) + b"\n" + netsetup.RT_TABLES.encode()
                + random_bytes(3, 32 * 1024))
    d = world.start(two_ethernet())
    failover_still_works(world, d)


def active_eth0(hostname):
    return config_answer("FAILOVER", [uplinker_entry("eth0", 10, monitor="ACTIVE",
                                                     hostname=hostname),
                                      uplinker_entry("eth1", 20)])


def test_resolver_file_of_a_megabyte(world, tools, dnsmasq):
    world.add_wans("eth0", "eth1")
    world.start_name_server(dnsmasq, {"probe.test": netsetup.TARGET2})
    junk = "".join("search %07d.example\n" % i for i in range(1024 * 1024 // 21))
    world.write_run_file("resolv_eth0.conf", junk + "nameserver %s\n" % netsetup.DNS_SERVER)
    d = world.start(active_eth0("probe.test"))
    d.wait_message("eth0| The hostname probe.test successfully resolved")
    world.assert_uplink("eth0", ["-i eth1 -d up", UP])


GARBAGE = [
    ("random-bytes", None),
    ("shell-in-address", "Found ipV4 192.0.2.2;touch /run/canary\n"
                         "Found ipV4 $(touch /run/canary)\n"),
]


@pytest.mark.parametrize("printed", [g[1] for g in GARBAGE], ids=[g[0] for g in GARBAGE])
def test_lookup_tool_printing_garbage(world, tools, printed):
    world.add_wans("eth0", "eth1")
    fake = os.path.join(world.root, "fake-tools")
    os.makedirs(fake)
    garbage = os.path.join(world.root, "garbage")
    with open(garbage, "wb") as f:
        f.write(printed.encode() if printed else random_bytes(4, 8192))
    with open(os.path.join(fake, "vrx-dig"), "w") as f:
        f.write("#!/bin/sh\ncat '%s'\n" % garbage)
    os.chmod(os.path.join(fake, "vrx-dig"), 0o755)
    for tool in ("uplinker-ping", "inet-check"):
        os.symlink(os.path.join(tools, tool), os.path.join(fake, tool))
    world.tools_dir = fake
    world.write_run_file("resolv_eth0.conf", "nameserver %s\n" % netsetup.DNS_SERVER)
    d = world.start(active_eth0("probe.test"))
    d.wait_message("eth0| DNS resolve returned 0")
    d.wait_message("eth0| Wan::checkDone (down)", timeout=30)
    if printed is None:
        assert d.find("eth0| Unable to resolve probe.test")
    assert not d.find("eth0| Active check result changed to true")
    assert not os.path.exists(os.path.join(world.run_dir, "canary"))
    # eth1 carries the route, and still hands it on when its link goes.
    world.assert_uplink("eth1", ["-i eth1 -d up"])
    world.topo.set_carrier("eth1", False)
    world.wait_hooks(["-i eth1 -d up", "-d down"])


# ----- names and datagrams ----------------------------------------------------------------

ODD_NAMES = ["c;touch${IFS}/run/canary1", "$(touch${IFS}/run/canary2)",
             "q'`touch${IFS}/run/canary3`'"]


def test_shell_metacharacters_in_interface_names_run_nothing(world):
    world.add_wans("eth0", "eth1")
    entries = [uplinker_entry("eth0", 10), uplinker_entry("eth1", 20)]
    entries += [uplinker_entry(name, 30 + n) for n, name in enumerate(ODD_NAMES)]
    inventory = [waninfo_entry("eth0"), waninfo_entry("eth1")]
    inventory += [waninfo_entry(name, wan_type="CELLULAR") for name in ODD_NAMES]
    # An "ln" first on the daemon's PATH records the words each link command reached it with.
    fake = os.path.join(world.root, "fake-tools")
    os.makedirs(fake)
    ln_log = os.path.join(world.root, "ln.log")
    with open(os.path.join(fake, "ln"), "w") as f:
        f.write('#!/bin/sh\nprintf "%%s\\n" "$2" >> "%s"\nexec /bin/ln "$@"\n' % ln_log)
    os.chmod(os.path.join(fake, "ln"), 0o755)
    world.tools_dir = fake
    d = world.start(config_answer("FAILOVER", entries, inventory))
    assert "  Number of wan interfaces [5]" in d.messages("INFO")
    failover_still_works(world, d)
    linked = open(ln_log).read().splitlines()
    for name in ODD_NAMES:
        assert "/var/run/resolv_%s.conf" % name in linked
    assert [n for n in os.listdir(world.run_dir) if n.startswith("canary")] == []


def test_netlink_datagram_from_unprivileged_sender_is_ignored(world):
    world.add_wans("eth0", "eth1")
    d = world.start(two_ethernet())
    world.assert_uplink("eth0", [UP])

    def forge(sender):
        mark = d.mark()
        proc = world.spawn_in(world.topo.gw, SENDERS[sender] + [
            sys.executable, "-c", FORGED_LINK, str(d.proc.pid), "eth0"])
        return mark, proc.wait(timeout=10)

    # The kernel itself refuses an unprivileged sender.
    assert forge("nobody")[1] == 3
    # One that may administer the network gets through, but is not root: dropped.
    mark, status = forge("nobody-net-admin")
    assert status == 0
    later_work_step(world, d, "127.0.0.2")
    assert not d.find("eth0| Up state changed to false", after=mark)
    assert world.hook_calls() == [UP] and world.current_wan() == "eth0\n"

    # The same datagram from root is believed: the check above could have failed.
    mark, status = forge("root")
    assert status == 0
    d.wait_message("eth0| Up state changed to false", after=mark)
    world.assert_uplink("eth1", [UP, BACK])
