#!/usr/bin/python3
"""Captures real rtnetlink datagrams as seeds for the netlink fuzz target.

Runs itself again in a private network namespace, builds the WANs the target knows (eth0, eth1,
wlan0 as veth ends; the peer is made first, so eth1, eth0, wlan1 and wlan0 get indices 2 to 5), changes links, addresses and routes while
listening on the groups the daemon joins, and also answers dump requests and an error request
with sequence 3. Every datagram is written as one file into the output directory.

    tests/fuzz/capture_netlink_seeds.py [OUTPUT_DIR]
"""
import os
import socket
import struct
import subprocess
import sys
import time

RTMGRP_LINK, RTMGRP_IPV4_IFADDR, RTMGRP_IPV4_ROUTE = 0x1, 0x10, 0x40
RTM_GETLINK, RTM_GETADDR, RTM_GETROUTE = 18, 22, 26
NLM_F_REQUEST, NLM_F_ACK, NLM_F_DUMP = 0x1, 0x4, 0x300
DUMP_SEQ = 3
TYPE_NAMES = {2: "error", 3: "done", 16: "newlink", 17: "dellink", 20: "newaddr",
              21: "deladdr", 24: "newroute", 25: "delroute"}

COMMANDS = [
    "ip link add eth0 type veth peer name eth1",
    "ip link add wlan0 type veth peer name wlan1",
    "ip link set eth1 up",
    "ip link set eth0 up",
    "ip addr add 10.0.0.2/24 dev eth0",
    "ip route add default via 10.0.0.1 dev eth0 table 101",
    "ip link set wlan1 up",
    "ip link set wlan0 up",
    "ip addr add 169.254.3.4/16 dev wlan0 scope link",
    "ip addr add 192.168.1.20/24 dev wlan0",
    "ip route add default via 192.168.1.1 dev wlan0 table 102",
    "ip route del default table 101",
    "ip addr del 10.0.0.2/24 dev eth0",
    "ip link set eth0 down",
    "ip link del wlan0",
]


def request(sock, msg_type, seq, flags, payload):
    header = struct.pack("=IHHII", 16 + len(payload), msg_type, flags, seq, 0)
    sock.send(header + payload)


def drain(sock, datagrams):
    while True:
        try:
            datagrams.append(sock.recv(65536))
        except BlockingIOError:
            return


def message_types(data):
    types, offset = [], 0
    while offset + 16 <= len(data):
        length, msg_type = struct.unpack_from("=IH", data, offset)
        if length < 16:
            break
        types.append(TYPE_NAMES.get(msg_type, str(msg_type)))
        offset += (length + 3) & ~3
    return "-".join(dict.fromkeys(types)) or "empty"


def capture(output):
    subprocess.run(["ip", "link", "set", "lo", "up"], check=True)
    sock = socket.socket(socket.AF_NETLINK, socket.SOCK_RAW, socket.NETLINK_ROUTE)
    sock.bind((0, RTMGRP_LINK | RTMGRP_IPV4_IFADDR | RTMGRP_IPV4_ROUTE))
    sock.setblocking(False)
    datagrams = []
    for command in COMMANDS:
        subprocess.run(command.split(), check=True)
        drain(sock, datagrams)
        if command.startswith("ip route add default via 192"):
            dump(sock, datagrams)
    os.makedirs(output, exist_ok=True)
    for number, data in enumerate(datagrams):
        name = "kernel-%02d-%s" % (number, message_types(data))
        with open(os.path.join(output, name), "wb") as out:
            out.write(data)
    print("%d datagrams written to %s" % (len(datagrams), output))


def dump(sock, datagrams):
    """Dumps with the daemon's dump sequence, and an error reply to an unknown link."""
    for msg_type, family_header in ((RTM_GETLINK, bytes(16)), (RTM_GETADDR, bytes([2]) + bytes(7)),
                                    (RTM_GETROUTE, bytes([2]) + bytes(11))):
        request(sock, msg_type, DUMP_SEQ, NLM_F_REQUEST | NLM_F_DUMP, family_header)
        time.sleep(0.1)
        drain(sock, datagrams)
    unknown_link = struct.pack("=BBHiII", 0, 0, 0, 999, 0, 0)
    request(sock, RTM_GETLINK, DUMP_SEQ, NLM_F_REQUEST | NLM_F_ACK, unknown_link)
    time.sleep(0.1)
    drain(sock, datagrams)


def main():
    here = os.path.dirname(os.path.abspath(__file__))
    output = sys.argv[1] if len(sys.argv) > 1 else os.path.join(here, "corpus", "netlink_datagram")
    if os.environ.get("CAPTURE_IN_NAMESPACE") != "1":
        env = dict(os.environ, CAPTURE_IN_NAMESPACE="1")
        os.execvpe("unshare", ["unshare", "--net", sys.executable, os.path.abspath(__file__),
                               output], env)
    capture(output)


if __name__ == "__main__":
    main()
