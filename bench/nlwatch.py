"""Timing helper of the benchmarks: started inside the gateway namespace, it watches the main
table's default route there and flips ISP-side links through a netlink socket it opened in the
ISP namespace, so that both ends of a measurement are taken by one process on one clock.

Commands on stdin, one answer line on stdout each:
  arm                      open a fresh route listener (drops whatever an earlier burst left)
  carrier PEER up|down     switch the ISP end; answers the monotonic time just before the send
  wait IFNAME TIMEOUT [LINK]
                           the monotonic time the kernel announced a main-table default route
                           out of IFNAME (and the time of its first notification about LINK,
                           or "-"), or "timeout"
"""

import ctypes
import os
import select
import socket
import struct
import sys
import time

CLONE_NEWNET = 0x40000000
RTMGRP_LINK, RTMGRP_IPV4_ROUTE = 0x1, 0x40
RTM_NEWLINK, RTM_SETLINK, RTM_NEWROUTE = 16, 19, 24
RT_TABLE_MAIN = 254
RTA_OIF, RTA_TABLE = 4, 15
IFF_UP = 0x1
NLMSG_HDR = struct.Struct("=IHHII")
RTMSG = struct.Struct("=BBBBBBBBI")
RTATTR = struct.Struct("=HH")

_libc = ctypes.CDLL(None, use_errno=True)


def setns(fd):
    if _libc.setns(fd, CLONE_NEWNET) != 0:
        err = ctypes.get_errno()
        raise OSError(err, os.strerror(err))


def attributes(data, offset, end):
    """(type, payload) pairs of a route message, each length checked before it is read."""
    while end - offset >= RTATTR.size:
        length, kind = RTATTR.unpack_from(data, offset)
        if length < RTATTR.size or length > end - offset:
            return
        yield kind & 0x3FFF, data[offset + RTATTR.size:offset + length]
        offset += (length + 3) & ~3


def default_route_oif(data, offset, end):
    """The output interface of a main-table default route message, or None."""
    if end - offset < RTMSG.size:
        return None
    family, dst_len, _, _, table = RTMSG.unpack_from(data, offset)[:5]
    if family != socket.AF_INET or dst_len != 0:
        return None
    oif = None
    for kind, payload in attributes(data, offset + RTMSG.size, end):
        if kind == RTA_TABLE and len(payload) == 4:
            table = struct.unpack("=I", payload)[0]
        elif kind == RTA_OIF and len(payload) == 4:
            oif = struct.unpack("=i", payload)[0]
    return oif if table == RT_TABLE_MAIN else None


def messages_in(data):
    """(type, interface index) of each link message, (type, default-route oif) of each route."""
    offset = 0
    while len(data) - offset >= NLMSG_HDR.size:
        length, kind = NLMSG_HDR.unpack_from(data, offset)[:2]
        if length < NLMSG_HDR.size or length > len(data) - offset:
            return
        body = offset + NLMSG_HDR.size
        if kind == RTM_NEWROUTE:
            yield kind, default_route_oif(data, body, offset + length)
        elif kind == RTM_NEWLINK and length - NLMSG_HDR.size >= 8:
            yield kind, struct.unpack_from("=i", data, body + 4)[0]
        offset += (length + 3) & ~3


class Watcher:
    def __init__(self, isp_path):
        self.home = os.open("/proc/self/ns/net", os.O_RDONLY)
        isp = os.open(isp_path, os.O_RDONLY)
        setns(isp)
        self.control = socket.socket(socket.AF_NETLINK, socket.SOCK_RAW, socket.NETLINK_ROUTE)
        self.isp_index = {}
        setns(self.home)
        self.isp_fd = isp
        self.listener = None
        self.seq = 0

    def arm(self):
        if self.listener is not None:
            self.listener.close()
        self.listener = socket.socket(socket.AF_NETLINK, socket.SOCK_RAW, socket.NETLINK_ROUTE)
        self.listener.setsockopt(socket.SOL_SOCKET, 33, 8 << 20)  # SO_RCVBUFFORCE
        self.listener.bind((0, RTMGRP_LINK | RTMGRP_IPV4_ROUTE))
        return "ok"

    def peer_index(self, name):
        if name not in self.isp_index:
            setns(self.isp_fd)
            try:
                self.isp_index[name] = socket.if_nametoindex(name)
            finally:
                setns(self.home)
        return self.isp_index[name]

    def carrier(self, peer, state):
        index = self.peer_index(peer)
        self.seq += 1
        flags = IFF_UP if state == "up" else 0
        body = struct.pack("=BxHiII", socket.AF_UNSPEC, 0, index, flags, IFF_UP)
        msg = NLMSG_HDR.pack(16 + len(body), RTM_NEWLINK, 0x1 | 0x4, self.seq, 0) + body
        start = time.monotonic()
        self.control.send(msg)
        reply = self.control.recv(4096)
        if len(reply) >= 20 and struct.unpack_from("=i", reply, 16)[0] != 0:
            return "error"
        return "%.6f" % start

    def wait(self, ifname, timeout, link=None):
        """The route's arrival time, and that of the first notification about link, if any."""
        index = socket.if_nametoindex(ifname)
        link_index = socket.if_nametoindex(link) if link else None
        link_seen = None
        deadline = time.monotonic() + float(timeout)
        while True:
            left = deadline - time.monotonic()
            if left <= 0:
                return "timeout"
            ready, _, _ = select.select([self.listener], [], [], left)
            if not ready:
                continue
            data = self.listener.recv(1 << 16)
            now = time.monotonic()
            for kind, which in messages_in(data):
                if kind == RTM_NEWLINK and which == link_index and link_seen is None:
                    link_seen = now
                if kind == RTM_NEWROUTE and which == index:
                    return "%.6f %s" % (now, "%.6f" % link_seen if link_seen else "-")


def main(argv):
    watcher = Watcher(argv[1])
    for line in sys.stdin:
        words = line.split()
        if not words:
            continue
        if words[0] == "arm":
            answer = watcher.arm()
        elif words[0] == "carrier" and len(words) == 3:
            answer = watcher.carrier(words[1], words[2])
        elif words[0] == "wait" and len(words) in (3, 4):
            answer = watcher.wait(*words[1:])
        else:
            answer = "?"
        sys.stdout.write(answer + "\n")
        sys.stdout.flush()
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
