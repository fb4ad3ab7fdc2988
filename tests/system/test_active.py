"""Active checks with the real probe tools against targets in the ISP namespace."""

import netsetup
from harness import config_answer, uplinker_entry

UP, DOWN, BACK = "-i eth1 -d up", "-i eth0 -d up", "-i eth1 -d down"


def active_eth0(**probe):
    """eth0 probed actively, eth1 passive: eth1 is the last resort and usable at once."""
    entries = [uplinker_entry("eth0", 10, monitor="ACTIVE", check_interval=2, **probe),
               uplinker_entry("eth1", 20)]
    return config_answer("FAILOVER", entries)


def test_icmp_check_steers_failover_and_back(world, tools):
    world.add_wans("eth0", "eth1")
    d = world.start(active_eth0(check_type="ICMP", hostname=netsetup.TARGET, icmp_count=1))
    # eth0 waits for its first successful check; eth1 carries the route meanwhile.
    d.wait_message("eth0| Run checking active -> uplinker-ping -I 10.0.0.2 -c 1 192.0.2.1")
    d.wait_message("eth0| Active check result changed to true")
    world.assert_uplink("eth0", [UP, DOWN])

    lost = d.mark()
    world.topo.set_target(netsetup.TARGET, False)
    d.wait_message("eth0| Active check result changed to false", after=lost)
    world.assert_uplink("eth1", [UP, DOWN, BACK])
    assert world.istate("eth0") == "Down\n"

    mark = d.mark()
    world.topo.set_target(netsetup.TARGET, True)
    d.wait_message("eth0| Active check result changed to true", after=mark)
    world.assert_uplink("eth0", [UP, DOWN, BACK, DOWN])
    assert world.istate("eth0") == "Up\n"
    # While eth0 had no internet it was probed at the short interval.
    assert d.find("eth0| Wan::checkActivate after a short interval", after=lost)


def test_tcp_check_steers_failover_and_back(world, tools):
    world.add_wans("eth0", "eth1")
    listener = world.start_tcp_listener(netsetup.TARGET, 8080)
    d = world.start(active_eth0(check_type="TCP", hostname=netsetup.TARGET, tcp_port=8080))
    d.wait_message("eth0| Run checking active -> inet-check -m active -h 192.0.2.1 -t tcp "
                   "-p 8080 eth0")
    world.assert_uplink("eth0", [UP, DOWN])

    mark = d.mark()
    listener.terminate()
    listener.wait()
    d.wait_message("eth0| Active check result changed to false", after=mark)
    world.assert_uplink("eth1", [UP, DOWN, BACK])

    world.start_tcp_listener(netsetup.TARGET, 8080)
    world.assert_uplink("eth0", [UP, DOWN, BACK, DOWN])


def test_host_name_target_resolved_through_wan_name_server(world, tools, dnsmasq):
    world.add_wans("eth0", "eth1")
    queries = world.start_name_server(dnsmasq, {"probe.test": netsetup.TARGET2})
    world.write_run_file("resolv_eth0.conf", "search example\nnameserver %s\n"
                         % netsetup.DNS_SERVER)
    d = world.start(active_eth0(check_type="ICMP", hostname="probe.test", icmp_count=2))
    d.wait_message("eth0| The hostname probe.test successfully resolved")
    d.wait_message("eth0| Run checking active -> uplinker-ping -I 10.0.0.2 -c 2 192.0.2.2")
    world.assert_uplink("eth0", [UP, DOWN])
    # The lookup left through eth0's own address.
    assert "query[A] probe.test from 10.0.0.2" in open(queries).read()


def test_unresolvable_host_name_keeps_wan_unusable(world, tools, dnsmasq):
    world.add_wans("eth0", "eth1")
    world.start_name_server(dnsmasq, {"probe.test": netsetup.TARGET2})
    world.write_run_file("resolv_eth0.conf", "nameserver %s\n" % netsetup.DNS_SERVER)
    d = world.start(active_eth0(check_type="ICMP", hostname="unknown.invalid"))
    d.wait_message("eth0| Unable to resolve unknown.invalid")
    d.wait_message("eth0| Wan::checkDone (down)", timeout=45)
    assert not d.find("eth0| Active check result changed to true")
    assert world.hook_calls() == [UP]
    assert world.current_wan() == "eth1\n"
