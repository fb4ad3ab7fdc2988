"""Network namespaces that stand in for a gateway and its internet providers.

A "gateway" namespace holds the WAN interfaces the daemon watches; an "ISP" namespace holds the
far ends of those links, the probe targets and a name server. Each WAN is one veth pair: the
gateway end carries the WAN's name, the ISP end is "i-" + that name. Every WAN also has its own
policy-routing table on the gateway with a default route via the ISP end, plus rules that send
traffic sourced from (or bound to) the WAN through that table, as a real gateway would.

Used by the system tests (imported) and by scripts/demo (as a command line tool).
"""

import os
import socket
import struct
import subprocess
import sys

# name -> (link number N, inventory type, rt_tables name, table number)
WANS = {
    "eth0": (0, "ETHERNET", "eth0", 100),
    "eth1": (1, "ETHERNET", "eth1", 101),
    "wlan0": (2, "WIFI", "wlan0", 102),
    "ppp0": (3, "CELLULAR", "cellular", 103),
}

# Probe targets and the name server live on the ISP namespace's loopback.
TARGET = "192.0.2.1"
TARGET2 = "192.0.2.2"
DNS_SERVER = "192.0.2.53"

RT_TABLES = """#
# reserved values
#
255\tlocal
254\tmain
253\tdefault
0\tunspec
#
# uplinks
#
100\teth0
101\teth1
102\twlan0
103\tcellular
"""


def run(*args, check=True):
    """Runs a command given as words; returns its standard output."""
    res = subprocess.run(args, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    if check and res.returncode != 0:
        raise RuntimeError("%s failed (%d): %s" % (" ".join(args), res.returncode, res.stderr.strip()))
    return res.stdout


def wan_number(name):
    return WANS[name][0]


def gw_address(name):
    return "10.0.%d.2" % wan_number(name)


def isp_address(name):
    return "10.0.%d.1" % wan_number(name)


def table_of(name):
    return WANS[name][3]


def peer_of(name):
    return "i-" + name


class Topology:
    """One gateway namespace and one ISP namespace joined by one veth pair per WAN."""

    def __init__(self, gw, isp):
        self.gw = gw
        self.isp = isp
        self.wans = []

    def ip_gw(self, *args, check=True):
        return run("ip", "-n", self.gw, *args, check=check)

    def ip_isp(self, *args, check=True):
        return run("ip", "-n", self.isp, *args, check=check)

    def create(self):
        run("ip", "netns", "add", self.gw)
        run("ip", "netns", "add", self.isp)
        self.ip_gw("link", "set", "lo", "up")
        self.ip_isp("link", "set", "lo", "up")
        for addr in (TARGET, TARGET2, DNS_SERVER):
            self.ip_isp("addr", "add", addr + "/32", "dev", "lo")

    def add_wan(self, name, dormant=False, address=True, route=True):
        """Adds a WAN link; dormant links come up without RUNNING until set_operstate("up")."""
        peer = peer_of(name)
        self.ip_gw("link", "add", name, "type", "veth", "peer", "name", peer, "netns", self.isp)
        if dormant:
            self.ip_gw("link", "set", name, "mode", "dormant")
        self.ip_isp("addr", "add", isp_address(name) + "/24", "dev", peer)
        self.ip_isp("link", "set", peer, "up")
        self.ip_gw("link", "set", name, "up")
        table = str(table_of(name))
        self.ip_gw("rule", "add", "from", gw_address(name), "table", table)
        self.ip_gw("rule", "add", "oif", name, "table", table)
        if address:
            self.add_address(name)
        if route:
            self.add_route(name)
        self.wans.append(name)

    def add_address(self, name):
        self.ip_gw("addr", "add", gw_address(name) + "/24", "dev", name)

    def del_address(self, name):
        self.ip_gw("addr", "del", gw_address(name) + "/24", "dev", name)

    def add_route(self, name, table=None):
        table = str(table if table is not None else table_of(name))
        self.ip_gw("route", "add", "default", "via", isp_address(name), "dev", name, "table", table,
                   "onlink")

    def del_route(self, name, table=None):
        table = str(table if table is not None else table_of(name))
        self.ip_gw("route", "del", "default", "table", table)

    def set_carrier(self, name, on):
        """Takes the ISP end down or up: the gateway end loses or regains its carrier."""
        self.ip_isp("link", "set", peer_of(name), "up" if on else "down")

    def set_operstate(self, name, state):
        """Sets a dormant-mode link's operational state ("up" or "dormant") from user space."""
        run("ip", "netns", "exec", self.gw, sys.executable, os.path.abspath(__file__), "operstate",
            name, state)

    def set_target(self, addr, present):
        self.ip_isp("addr", "add" if present else "del", addr + "/32", "dev", "lo")

    def default_route(self):
        """The main table's default route on the gateway, as one normalised line ("" if none)."""
        out = self.ip_gw("route", "show", "table", "main", "default")
        return " ".join(out.split())

    def link_flags(self, name):
        out = self.ip_gw("link", "show", "dev", name)
        return out[out.index("<") + 1:out.index(">")].split(",")

    def pids(self):
        pids = []
        for ns in (self.gw, self.isp):
            out = run("ip", "netns", "pids", ns, check=False)
            pids += [int(p) for p in out.split()]
        return pids

    def destroy(self):
        for ns in (self.gw, self.isp):
            run("ip", "netns", "del", ns, check=False)


def write_rt_tables(path):
    with open(path, "w") as f:
        f.write(RT_TABLES)


# Operational state through rtnetlink: iproute2 cannot set it, a Wi-Fi supplicant would.
RTM_SETLINK = 19
IFLA_OPERSTATE = 16
IF_OPER = {"dormant": 5, "up": 6}


def set_operstate_here(ifname, state):
    index = socket.if_nametoindex(ifname)
    attr = struct.pack("=HHB3x", 5, IFLA_OPERSTATE, IF_OPER[state])
    body = struct.pack("=BxHiII", socket.AF_UNSPEC, 0, index, 0, 0) + attr
    flags = 0x1 | 0x4  # NLM_F_REQUEST | NLM_F_ACK
    msg = struct.pack("=IHHII", 16 + len(body), RTM_SETLINK, flags, 1, 0) + body
    with socket.socket(socket.AF_NETLINK, socket.SOCK_RAW, socket.NETLINK_ROUTE) as sock:
        sock.send(msg)
        reply = sock.recv(4096)
    if len(reply) < 20:
        raise RuntimeError("short netlink reply")
    error = struct.unpack_from("=i", reply, 16)[0]
    if error != 0:
        raise OSError(-error, os.strerror(-error))


def main(argv):
    """Command line for scripts/demo: create, destroy, carrier, operstate."""
    cmd = argv[1] if len(argv) > 1 else ""
    if cmd == "operstate" and len(argv) == 4:
        set_operstate_here(argv[2], argv[3])
    elif cmd == "create" and len(argv) >= 4:
        topo = Topology(argv[2], argv[3])
        topo.create()
        for name in argv[4:]:
            topo.add_wan(name)
    elif cmd == "destroy" and len(argv) == 4:
        Topology(argv[2], argv[3]).destroy()
    elif cmd == "carrier" and len(argv) == 6:
        Topology(argv[2], argv[3]).set_carrier(argv[4], argv[5] == "on")
    elif cmd == "rt_tables" and len(argv) == 3:
        write_rt_tables(argv[2])
    else:
        sys.stderr.write("usage: netsetup.py create GW ISP WAN...|destroy GW ISP|"
                         "carrier GW ISP WAN on|off|operstate IF up|dormant|rt_tables FILE\n")
        return 2
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
