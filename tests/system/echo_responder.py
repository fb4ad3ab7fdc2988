# "echo_responder.py MODES", run in the ISP namespace: turns the kernel's own echo replies off
# and answers ICMP echo requests itself, late or flawed as the JSON file MODES (read for each
# request) says: {address: [delay in s, flaw]}, "*" for any address not named; no entry, or a
# delay of null, is no reply. A flaw ("checksum", "id" or "seq") spoils that field of the reply.
# Prints "answering" once it listens.

import json
import socket
import struct
import sys
import threading

from harness import read_text


def checksum(data):
    total = sum(struct.unpack("!%dH" % (len(data) // 2), data))
    while total >> 16:
        total = (total & 0xffff) + (total >> 16)
    return ~total & 0xffff


def reply(source, to, request, flaw):
    # From a socket bound to the address asked, as the kernel would answer.
    ident, seq = struct.unpack_from("!HH", request, 4)
    body = struct.pack("!BBHHH", 0, 0, 0, ident ^ (flaw == "id"),
                       (seq + 1000 * (flaw == "seq")) & 0xffff) + request[8:]
    body = body[:2] + struct.pack("!H", checksum(body) ^ (flaw == "checksum")) + body[4:]
    with socket.socket(socket.AF_INET, socket.SOCK_RAW, socket.IPPROTO_ICMP) as out:
        out.bind((source, 0))
        out.sendto(body, (to, 0))


open("/proc/sys/net/ipv4/icmp_echo_ignore_all", "w").write("1")
sock = socket.socket(socket.AF_INET, socket.SOCK_RAW, socket.IPPROTO_ICMP)
print("answering", flush=True)
while True:
    packet, (sender, _) = sock.recvfrom(2048)
    start, target = (packet[0] & 15) * 4, socket.inet_ntoa(packet[16:20])
    modes = json.loads(read_text(sys.argv[1]) or "{}")
    delay, flaw = modes.get(target, modes.get("*", (None, "")))
    if len(packet) >= start + 8 and packet[start] == 8 and delay is not None:
        threading.Timer(delay, reply, (target, sender, packet[start:], flaw)).start()
