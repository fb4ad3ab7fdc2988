# A gateway namespace with the WAN links the daemon watches, and an ISP namespace with their far
# ends, the probe targets and a name server. Each WAN is a veth pair (the ISP end is "i-" + name)
# with its own policy-routing table holding a default route via the ISP end, and rules that send
# traffic from or bound to the WAN through that table.

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
TARGET, TARGET2, DNS_SERVER = "192.0.2.1", "192.0.2.2", "192.0.2.53"
RT_TABLES = "255\tlocal\n254\tmain\n253\tdefault\n0\tunspec\n" + "".join(
    "%d\t%s\n" % (table, rt_name) for (_, _, rt_name, table) in WANS.values())


def run(*args, check=True):
    res = subprocess.run(args, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    if check and res.returncode != 0:
        raise RuntimeError("%s failed (%d): %s" % (" ".join(args), res.returncode, res.stderr))
    return res.stdout


def gw_address(name):
    return "10.0.%d.2" % WANS[name][0]


def isp_address(name):
    return "10.0.%d.1" % WANS[name][0]


def table_of(name):
    return WANS[name][3]

class Topology:
    def __init__(self, gw, isp):
        self.gw, self.isp, self.wans = gw, isp, []

    def ip_gw(self, *args, check=True):
        return run("ip", "-n", self.gw, *args, check=check)

    def ip_isp(self, *args):
        return run("ip", "-n", self.isp, *args)

    def create(self):
        for ns in (self.gw, self.isp):
            run("ip", "netns", "add", ns)
            run("ip", "-n", ns, "link", "set", "lo", "up")
        for addr in (TARGET, TARGET2, DNS_SERVER):
            self.ip_isp("addr", "add", addr + "/32", "dev", "lo")

    def add_wan(self, name, dormant=False, address=True, route=True):
        # A dormant link comes up without RUNNING until set_operstate("up").
        self.ip_gw("link", "add", name, "type", "veth", "peer", "name", "i-" + name, "netns",
                   self.isp)
        if dormant:
            self.ip_gw("link", "set", name, "mode", "dormant")
        self.ip_isp("addr", "add", isp_address(name) + "/24", "dev", "i-" + name)
        self.ip_isp("link", "set", "i-" + name, "up")
        self.ip_gw("link", "set", name, "up")
        self.ip_gw("rule", "add", "from", gw_address(name), "table", str(table_of(name)))
        self.ip_gw("rule", "add", "oif", name, "table", str(table_of(name)))
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
        self.ip_gw("route", "add", "default", "via", isp_address(name), "dev", name, "table",
                   str(table or table_of(name)), "onlink")

    def del_route(self, name, table=None):
        self.ip_gw("route", "del", "default", "table", str(table or table_of(name)))

    def set_carrier(self, name, on):
        # The ISP end down or up: the gateway end loses or regains its carrier.
        self.ip_isp("link", "set", "i-" + name, "up" if on else "down")

    def set_operstate(self, name, state):
        run("ip", "netns", "exec", self.gw, sys.executable, os.path.abspath(__file__),
            "operstate", name, state)

    def set_target(self, addr, present):
        self.ip_isp("addr", "add" if present else "del", addr + "/32", "dev", "lo")

    def default_route(self):
        # The main table's default route, one normalised line ("" if none).
        return " ".join(self.ip_gw("route", "show", "table", "main", "default").split())

    def pids(self):
        return [int(p) for ns in (self.gw, self.isp)
                for p in run("ip", "netns", "pids", ns, check=False).split()]

    def destroy(self):
        for ns in (self.gw, self.isp):
            run("ip", "netns", "del", ns, check=False)


def set_operstate_here(ifname, state):
    # Operational state through rtnetlink, as a Wi-Fi supplicant sets it (iproute2 cannot).
    attr = struct.pack("=HHB3x", 5, 16, {"dormant": 5, "up": 6}[state])  # IFLA_OPERSTATE
    body = struct.pack("=BxHiII", 0, 0, socket.if_nametoindex(ifname), 0, 0) + attr
    msg = struct.pack("=IHHII", 16 + len(body), 19, 0x5, 1, 0) + body  # RTM_SETLINK, REQUEST|ACK
    with socket.socket(socket.AF_NETLINK, socket.SOCK_RAW, socket.NETLINK_ROUTE) as sock:
        sock.send(msg)
        error = struct.unpack_from("=i", sock.recv(4096), 16)[0]
    if error != 0:
        raise OSError(-error, os.strerror(-error))


# Run as "netsetup.py operstate IFNAME STATE" inside the gateway namespace.
if __name__ == "__main__":
    set_operstate_here(*sys.argv[2:])
