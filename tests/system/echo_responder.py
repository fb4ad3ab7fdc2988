# "echo_responder.py DELAY_FILE", run in the ISP namespace with the kernel's own echo replies
# turned off: answers every ICMP echo request from the address it was sent to, after the delay
# in milliseconds that DELAY_FILE holds (none while it is missing). Prints "answering" when ready.

import heapq
import itertools
import select
import socket
import struct
import sys
import time


def checksum(data):
    data += b"\0" * (len(data) % 2)
    total = sum(struct.unpack("!%dH" % (len(data) // 2), data))
    total = (total >> 16) + (total & 0xffff)
    return ~(total + (total >> 16)) & 0xffff


def reply_to(packet):
    # (reply with its IP header, address to send it to), or None for anything but a request.
    ihl = (packet[0] & 0xf) * 4 if packet else 0
    if ihl < 20 or len(packet) < ihl + 8 or packet[ihl] != 8:
        return None
    icmp = b"\0\0\0\0" + packet[ihl + 4:]
    icmp = icmp[:2] + struct.pack("!H", checksum(icmp)) + icmp[4:]
    # Addresses swapped; the kernel fills in the header's length, identification and checksum.
    header = struct.pack("!BBHHHBBH4s4s", 0x45, 0, 0, 0, 0, 64, socket.IPPROTO_ICMP, 0,
                         packet[16:20], packet[12:16])
    return header + icmp, socket.inet_ntoa(packet[12:16])


def delay_s(path):
    try:
        with open(path) as f:
            return int(f.read()) / 1000.0
    except (OSError, ValueError):
        return 0.0


def main(path):
    listen = socket.socket(socket.AF_INET, socket.SOCK_RAW, socket.IPPROTO_ICMP)
    send = socket.socket(socket.AF_INET, socket.SOCK_RAW, socket.IPPROTO_RAW)
    due, order = [], itertools.count()
    print("answering", flush=True)
    while True:
        wait = max(0.0, due[0][0] - time.monotonic()) if due else None
        if select.select([listen], [], [], wait)[0]:
            reply = reply_to(listen.recv(65535))
            if reply:
                heapq.heappush(due, (time.monotonic() + delay_s(path), next(order)) + reply)
        while due and due[0][0] <= time.monotonic():
            _, _, data, to = heapq.heappop(due)
            send.sendto(data, (to, 0))


if __name__ == "__main__":
    main(sys.argv[1])
