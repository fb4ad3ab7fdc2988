# A gateway namespace with the WAN links the daemon watches, and an ISP namespace with their far
# ends, the probe targets and a name server. Each WAN is a veth pair (the ISP end is "i-" + name)
# with its own policy-routing table holding a default route via the ISP end, and rules that send
# traffic from or bound to the WAN through that table.

import ctypes
import os
import socket
import struct
import subprocess
import sys

# name -> (link number N, inventory type, rt_tables name, table number)
WANS = {"eth0": (0, "ETHERNET", "eth0", 100), "eth1": (1, "ETHERNET", "eth1", 101),
        "wlan0": (2, "WIFI", "wlan0", 102), "ppp0": (3, "CELLULAR", "cellular", 103)}
TARGET, TARGET2, TARGET3, DNS_SERVER = "192.0.2.1", "192.0.2.2", "192.0.2.3", "192.0.2.53"
CLONE_NEWNET = 0x40000000
RT_TABLES = "255\tlocal\n254\tmain\n253\tdefault\n0\tunspec\n" + "".join(
    "%d\t%s\n" % (table, rt_name) for (_, _, rt_name, table) in WANS.values())


def run(*args, check=True):
    res = subprocess.run(args, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    if check and res.returncode != 0:
        raise RuntimeError("%s failed (%d): %s" % (" ".join(args), res.returncode, res.stderr))
    return res.stdout


def gw_address(name): return "10.0.%d.2" % WANS[name][0]  # noqa: E704
def isp_address(name): return "10.0.%d.1" % WANS[name][0]  # noqa: E704
def table_of(name): return WANS[name][3]  # noqa: E704


class Topology:
    def __init__(self, gw, isp): self.gw, self.isp = gw, isp  # noqa: E704
    def ip_gw(self, *args): return run("ip", "-n", self.gw, *args)  # noqa: E704
    def ip_isp(self, *args): return run("ip", "-n", self.isp, *args)  # noqa: E704

    def create(self):
        for ns in (self.gw, self.isp):
            run("ip", "netns", "add", ns)
            run("ip", "-n", ns, "link", "set", "lo", "up")
        for addr in (TARGET, TARGET2, TARGET3, DNS_SERVER):
            self.set_target(addr, True)

    def add_wan(self, name, dormant=False):
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
        self.set_address(name, True)
        self.set_route(name, True)

    def set_address(self, name, present):
        self.ip_gw("addr", "add" if present else "del", gw_address(name) + "/24", "dev", name)

    def set_route(self, name, present):
        # The default route in the WAN's own table.
        via = ["via", isp_address(name), "dev", name, "onlink"] if present else []
        self.ip_gw("route", "add" if present else "del", "default", "table", str(table_of(name)),
                   *via)

    def set_carrier(self, name, on):
        # The ISP end down or up: the gateway end loses or regains its carrier.
        self.ip_isp("link", "set", "i-" + name, "up" if on else "down")

    def set_operstate(self, name, state):
        # Operational state through rtnetlink, as a Wi-Fi supplicant sets it (iproute2 cannot).
        attr = (16, struct.pack("B", {"dormant": 5, "up": 6}[state]))  # IFLA_OPERSTATE
        in_namespace(self.gw, lambda: send_link(19, 0x5, name, attrs=[attr]))  # RTM_SETLINK

    def set_target(self, addr, present):
        self.ip_isp("addr", "add" if present else "del", addr + "/32", "dev", "lo")

    def set_loss(self, name, tenths):
        # Drops the first `tenths` of every ten echo requests that come in over the WAN's ISP end:
        # an exact pattern, where this kernel has no netem.
        chain = "ip loss " + name
        run("ip", "netns", "exec", self.isp, "nft", "add table ip loss; add chain %s { type filter "
            "hook input priority 0; }; flush chain %s; add rule %s iifname \"i-%s\" icmp type "
            "echo-request numgen inc mod 10 < %d drop" % (chain, chain, chain, name, tenths))

    def default_route(self):
        # The main table's default route, one normalised line ("" if none).
        return " ".join(self.ip_gw("route", "show", "table", "main", "default").split())

    def destroy(self):
        # What still runs in the namespaces is killed first.
        for ns in (self.gw, self.isp):
            run("sh", "-c", "ip netns pids $0 | xargs -r kill -9; ip netns del $0", ns, check=False)


def in_namespace(ns, action):
    # Runs action() with this thread in the network namespace ns; what it opens stays there.
    libc = ctypes.CDLL(None, use_errno=True)
    fds = [os.open(p, os.O_RDONLY) for p in ("/proc/thread-self/ns/net", "/run/netns/" + ns)]
    try:
        if libc.setns(fds[1], CLONE_NEWNET) != 0:
            raise OSError(ctypes.get_errno(), "setns " + ns)
        return action()
    finally:
        libc.setns(fds[0], CLONE_NEWNET)
        for fd in fds:
            os.close(fd)


def send_link(kind, flags, ifname, if_flags=0, attrs=(), port=0):
    # One rtnetlink link message about ifname, from this process to the kernel (port 0, which
    # acknowledges a request: an error raises) or to a process's port.
    body = struct.pack("=BxHiII", 0, 0, socket.if_nametoindex(ifname), if_flags, 0)
    for kind_of, data in attrs:
        body += struct.pack("=HH", 4 + len(data), kind_of) + data + b"\0" * (-len(data) % 4)
    msg = struct.pack("=IHHII", 16 + len(body), kind, flags, 1, os.getpid()) + body
    with socket.socket(socket.AF_NETLINK, socket.SOCK_RAW, socket.NETLINK_ROUTE) as sock:
        sock.sendto(msg, (port, 0))
        error = struct.unpack_from("=i", sock.recv(4096), 16)[0] if port == 0 else 0
    if error != 0:
        raise OSError(-error, os.strerror(-error))


# "netsetup.py forge PORT", run in the gateway namespace as a given user: sends a port an
# RTM_NEWLINK "eth0 up without RUNNING"; exits with 3 when the kernel refuses to deliver it.
if __name__ == "__main__":
    try:
        send_link(16, 0, "eth0", 0x1, [(3, b"eth0\0")], port=int(sys.argv[2]))  # IFLA_IFNAME
    except PermissionError:
        sys.exit(3)
