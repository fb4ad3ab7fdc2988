# The engine driven by the real kernel: failover and fail-back on carrier, address and
# gateway, a Wi-Fi's dormant link read as roaming, a disabled cellular WAN, start-up, signals
# and shutdown. The engine's rules themselves are held in the unit tables.

import signal

from scenario import (NUDGED, Scenario, Step, address, carrier, failover, nudge, operstate,
                      route, send, steps, write)

UP0, UP1, DOWN1, UPW = "-i eth0 -d up", "-i eth1 -d up", "-i eth1 -d down", "-i wlan0 -d up"
UP, DOWN = "Up\n", "Down\n"
ROAMING = "wlan0| ==                 WIFI ROAMING DETECTED                =="
LOCKING = "wlan0| ==               LOCKING CURRENT INTERFACE              =="
EARLY = "wlan0| ==   UNLOCKING INTERFACE SINCE IT HAS INTERNET NOW      =="
TIMEOUT = "wlan0| ==   UNLOCKING INTERFACE AFTER 30 SECONDS LOCK TIMEOUT  =="
LOCKED = "  ! LOCKED  : lockedWan=0 , "
CELL = "ppp0| Cellular connectivity status changed to %s"
WLAN0 = ("wlan0", {"dormant": True})  # up without RUNNING, as while it re-associates
ROAMING_ROW = dict(wans=(WLAN0, "eth1"), answer=failover("wlan0", "eth1"),
                   setup=lambda w: w.topo.set_operstate("wlan0", "up"))


def one_request(w, d): return w.config_requests() == ["/api?fields=uplinker,waninfo"]  # noqa


SCENARIOS = [
    # eth0's carrier, address and gateway each fail over and back.
    Scenario("start-up picks the most preferred usable WAN, a carrier, address or gateway loss "
             "fails over and back; SIGHUP only logs, SIGINT ends the daemon cleanly",
             answer=failover(("eth1", {"priority": 20}), ("eth0", {"priority": 10})),
             steps=[Step(uplink="eth0", hooks=[UP0], istate={"eth0": UP, "eth1": UP},
                      check=one_request, log=["INIT NETLINK COMPLETED",
                         "App::switchInet: ip route add default via 10.0.0.1 dev eth0 table main"]),
                 Step(send(signal.SIGHUP), log=["start reconfigure"], check=one_request),
                 Step(carrier("eth0", False), uplink="eth1", hooks=[DOWN1], istate={"eth0": DOWN},
                      log=["eth0| Up state changed to false"]),
                 Step(carrier("eth0", True), uplink="eth0", hooks=[UP0], istate={"eth0": UP}),
                 Step(address("eth0", False), uplink="eth1", hooks=[DOWN1],
                      istate={"eth0": DOWN}, log=["eth0| Address deleted"]),
                 # The kernel flushed eth0's routes with its address, without always saying so
                 # for the WAN's own table: the route returns first, the address decides.
                 Step(steps(route("eth0", True), address("eth0", True)), uplink="eth0",
                      hooks=[UP0], log=["eth0| Address changed to 10.0.0.2"]),
                 Step(route("eth0", False), uplink="eth1", hooks=[DOWN1], istate={"eth0": DOWN},
                      log=["eth0| Gateway deleted"]),
                 Step(route("eth0", True), uplink="eth0", hooks=[UP0],
                      log=["eth0| Gateway set to 10.0.0.1"]),
                 # A link-scope address is no address of the WAN's.
                 Step(lambda w, d: w.topo.ip_gw("addr", "add", "169.254.7.7/16", "scope", "link",
                                                "dev", "eth0"),
                      log=["eth0| RTM_NEWADDR Skipping link-local address"],
                      nolog=["eth0| Address changed to 169.254.7.7"]),
                 # With no WAN left, the last route and resolver link stay.
                 Step(steps(carrier("eth0", False), carrier("eth1", False)), uplink="",
                      route="default via 10.0.1.1 dev eth1", istate={"eth1": DOWN},
                      hooks=[DOWN1, "-d down"],
                      check=lambda w, d: w.resolver_link() == "/var/run/resolv_eth1.conf"),
                 Step(carrier("eth1", True), uplink="eth1", hooks=[UP1]),
                 # The state files stay for the next start.
                 Step(send(signal.SIGINT), exit=0, uplink="eth1", check=lambda w, d: (
                     d.messages()[-1] == "done" and "start deinit" in d.messages()))]),
    Scenario("a single enabled WAN switches to Constant mode; a disabled WAN reports only its "
             "cellular status", wans=("eth0", "ppp0"),
             answer=failover("eth0", ("ppp0", {"enabled": False})), steps=[
                 Step(uplink="eth0", hooks=[UP0], log=["auto switch to first mode"],
                      check=lambda w, d: w.istate("ppp0") is None),
                 Step(write("cell/status", "CONNECTED\n"), log=[CELL % "true"]),
                 Step(write("cell/status", "NO SERVICE\n"), hooks=[],
                      istate={"ppp0": "Disabled\n"}, log=[CELL % "false"])]),
    Scenario("roaming of the current wlan0 locks it, and internet back unlocks it early",
             args=["-i", "-e", "-p", "0", "-d", "-d"], **ROAMING_ROW, steps=[
                 Step(uplink="wlan0", hooks=[UPW]),
                 Step(operstate("wlan0", "dormant"), log=[ROAMING, LOCKING],
                      istate={"wlan0": DOWN}),
                 # Locked: no switch to eth1 although wlan0 has no link.
                 Step(nudge, uplink="wlan0", hooks=[], check=lambda w, d: any(m.startswith(
                     LOCKED) and m.endswith(" seconds remaining") for m in d.messages()), log=[
                     NUDGED, "RTM_NEWROUTE: index(1) skipping as not wan interface",
                     "Current wan interfaces state [work:229]: In locked state, all state "
                     "variables are fixed"]),
                 # The search from the top finds wlan0 again: a refresh without a direction.
                 Step(operstate("wlan0", "up"), uplink="wlan0", hooks=["-i wlan0"],
                      istate={"wlan0": UP}, nolog=[TIMEOUT],
                      log=[EARLY, "Search for best available wan among all enabled wans",
                           "Current wan interfaces state [work:261]: State variables right "
                           "after unlocking"])]),
]
