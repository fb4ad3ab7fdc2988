"""Failover and fail-back in Failover mode, driven by link, address and route events."""

from harness import config_answer, uplinker_entry


def answer(*names):
    entries = [uplinker_entry(n, 10 * (i + 1)) for i, n in enumerate(names)]
    return config_answer("FAILOVER", entries)


def test_carrier_loss_fails_over_and_back(world):
    world.add_wans("eth0", "eth1")
    d = world.start(answer("eth0", "eth1"))
    world.assert_uplink("eth0", ["-i eth0 -d up"])

    mark = d.mark()
    world.topo.set_carrier("eth0", False)
    world.assert_uplink("eth1", ["-i eth0 -d up", "-i eth1 -d down"])
    assert world.istate("eth0") == "Down\n"
    assert d.find("eth0| Up state changed to false", after=mark)

    world.topo.set_carrier("eth0", True)
    world.assert_uplink("eth0", ["-i eth0 -d up", "-i eth1 -d down", "-i eth0 -d up"])
    assert world.istate("eth0") == "Up\n"


def test_losing_every_wan_leaves_none(world):
    world.add_wans("eth0", "eth1")
    world.start(answer("eth0", "eth1"))
    world.wait_hooks(["-i eth0 -d up"])
    world.topo.set_carrier("eth0", False)
    world.wait_hooks(["-i eth0 -d up", "-i eth1 -d down"])
    world.topo.set_carrier("eth1", False)
    world.wait_hooks(["-i eth0 -d up", "-i eth1 -d down", "-d down"])
    assert world.current_wan() == "\n"
    assert world.istate("eth1") == "Down\n"
    # With no WAN the route set last stays, and so does the resolver link.
    world.wait_route("default via 10.0.1.1 dev eth1")
    assert world.resolver_link() == "/var/run/resolv_eth1.conf"

    world.topo.set_carrier("eth1", True)
    world.assert_uplink("eth1", ["-i eth0 -d up", "-i eth1 -d down", "-d down", "-i eth1 -d up"])


def test_address_loss_fails_over(world):
    world.add_wans("eth0", "eth1")
    d = world.start(answer("eth0", "eth1"))
    world.wait_hooks(["-i eth0 -d up"])
    mark = d.mark()
    world.topo.del_address("eth0")
    world.assert_uplink("eth1", ["-i eth0 -d up", "-i eth1 -d down"])
    assert world.istate("eth0") == "Down\n"
    assert d.find("eth0| Address deleted", after=mark)

    # The kernel flushed eth0's routes with its last address, without always announcing it for
    # the WAN's own table. The route returns first (onlink needs no address), so the address
    # alone decides the moment of the fail-back whatever the daemon last heard of the gateway.
    world.topo.add_route("eth0")
    world.topo.add_address("eth0")
    world.assert_uplink("eth0", ["-i eth0 -d up", "-i eth1 -d down", "-i eth0 -d up"])
    assert d.find("eth0| Address changed to 10.0.0.2", after=mark)


def test_gateway_loss_fails_over(world):
    world.add_wans("eth0", "eth1")
    d = world.start(answer("eth0", "eth1"))
    world.wait_hooks(["-i eth0 -d up"])
    mark = d.mark()
    world.topo.del_route("eth0")
    world.assert_uplink("eth1", ["-i eth0 -d up", "-i eth1 -d down"])
    assert d.find("eth0| Gateway deleted", after=mark)
    assert world.istate("eth0") == "Down\n"

    world.topo.add_route("eth0")
    world.assert_uplink("eth0", ["-i eth0 -d up", "-i eth1 -d down", "-i eth0 -d up"])
    assert d.find("eth0| Gateway set to 10.0.0.1", after=mark)


def test_other_table_route_and_link_scope_address_are_ignored(world):
    world.topo.add_wan("eth0", address=False, route=False)
    world.add_wans("eth1")
    d = world.start(answer("eth0", "eth1"))
    world.assert_uplink("eth1", ["-i eth1 -d up"])

    world.topo.ip_gw("addr", "add", "169.254.7.7/16", "scope", "link", "dev", "eth0")
    d.wait_message("eth0| RTM_NEWADDR Skipping link-local address")
    world.topo.add_route("eth0", table=200)
    d.wait_message("eth0| RTM_NEWROUTE index(%d) gw(10.0.0.1) table(200)" % ifindex(world, "eth0"))
    world.topo.add_address("eth0")
    d.wait_message("eth0| Address changed to 10.0.0.2")
    # Only the address counted, so eth0 still lacks a gateway of its own table.
    assert not d.find("eth0| Address changed to 169.254.7.7")
    assert not d.find("eth0| Gateway set to 10.0.0.1")
    assert world.hook_calls() == ["-i eth1 -d up"]
    assert world.istate("eth0") is None

    world.topo.add_route("eth0")
    world.assert_uplink("eth0", ["-i eth1 -d up", "-i eth0 -d up"])
    assert world.istate("eth0") == "Up\n"


def ifindex(world, name):
    out = world.topo.ip_gw("-o", "link", "show", "dev", name)
    return int(out.split(":", 1)[0])
