# The run-time bound of a probe follows the work asked of it.

from scenario import Scenario, Step, active, failover
from scenarios_checks import alive, fake_tool, hung_pid

# Like a ping tool that sends one request a second: -c 255 answers after 65 s; -c 1 hangs.
SLOW_PING = """#!/bin/sh
case " $* " in *" -c 1 "*) echo $$ >> "%(root)s/hung"; exec sleep 3600;; esac
sleep 65
"""

SCENARIOS = [
    Scenario("a probe of 255 requests may take over a minute, a hung one is killed", slow=True,
             wans=("eth0", "eth1", "wlan0"), setup=fake_tool("uplinker-ping", SLOW_PING),
             answer=failover(active("eth0", icmp_count=255), active("eth1"), "wlan0"), steps=[
                 # -c 1 is bounded at 21 s, well before the 60 s that any program used to get.
                 Step(uplink="wlan0", log=["eth1| Wan::checkDone (down)"], timeout=40,
                      check=lambda w, d: hung_pid(w) and not alive(hung_pid(w))),
                 Step(uplink="eth0", log=["eth0| Active check result changed to true"],
                      timeout=60),
             ]),
]
