#!/usr/bin/env python3
"""Makes the captures of this folder: make.py [FOLDER]. It takes root, iproute2, tcpdump, dumpcap, ping and curl.

Two network namespaces of its own stand for two machines, which a pair of interfaces joins, and a tunnel of a program's,
which is this one. Real programs talk between them over IPv4 and IPv6, and what passes is captured
at one of them: at all interfaces, in both forms that there are for that, and in the tunnel, where packets have nothing in
front of them. What no system has here is rewritten from the capture of the tunnel: its packets behind the header of
another medium, nothing else changed.
"""

import ctypes
import fcntl
import os
import select
import signal
import struct
import subprocess
import sys
import threading
import time

HERE = os.path.dirname(os.path.abspath(__file__))
NETWORK = 0x40000000
TUNSETIFF = 0x400454CA
TUN_WITHOUT_HEADER = 0x1001


def enter(network):
    if ctypes.CDLL(None, use_errno=True).setns(network.fileno(), NETWORK) != 0:
        raise OSError(ctypes.get_errno(), "a network namespace can't be entered")


def run(*command, check=True):
    return subprocess.run(command, check=check, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


def at(side, *command, check=True):
    return run("ip", "netns", "exec", "media-" + side, *command, check=check)


class Tunnel(threading.Thread):
    """Hands packets over between an interface here and one there."""

    def __init__(self):
        super().__init__(daemon=True)
        self.ends = [self.end(side) for side in "ab"]

    @staticmethod
    def end(side):
        with open("/proc/self/ns/net") as home, open("/run/netns/media-" + side) as there:
            enter(there)
            handle = os.open("/dev/net/tun", os.O_RDWR)
            fcntl.ioctl(handle, TUNSETIFF, struct.pack("16sH22x", b"tun0", TUN_WITHOUT_HEADER))
            enter(home)
        return handle

    def run(self):
        while True:
            for ready in select.select(self.ends, [], [])[0]:
                packet = os.read(ready, 65536)
                try:
                    os.write(self.ends[1 - self.ends.index(ready)], packet)
                except OSError:
                    pass  # an interface that isn't up yet


def build():
    for side in "ab":
        run("ip", "netns", "add", "media-" + side)
    run("ip", "link", "add", "wire0", "netns", "media-a", "type", "veth", "peer", "wire0", "netns", "media-b")
    tunnel = Tunnel()
    for number, side in enumerate("ab", 1):
        at(side, "ip", "link", "set", "lo", "up")
        at(side, "ip", "link", "set", "wire0", "address", "02:00:00:00:00:0%d" % number, "up")
        at(side, "ip", "link", "set", "tun0", "up")
        for interface, net, prefix in (("wire0", "10.1.0", "fd01"), ("tun0", "10.9.0", "fd09")):
            at(side, "ip", "address", "add", "%s.%d/24" % (net, number), "brd", "+", "dev", interface)
            at(side, "ip", "address", "add", "%s::%d/64" % (prefix, number), "dev", interface, "nodad")
    tunnel.start()


UDP = """
import socket
for family, to in ((socket.AF_INET, ("%s.2", 53)), (socket.AF_INET6, ("%s::2", 53))):
    talk = socket.socket(family, socket.SOCK_DGRAM)
    for length in (20, 300, 900, 3000):
        talk.sendto(bytes(length), to)
talk = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
talk.setsockopt(socket.SOL_SOCKET, socket.SO_BROADCAST, 1)
talk.setsockopt(socket.IPPROTO_IP, socket.IP_MULTICAST_IF, socket.inet_aton("%s.1"))
talk.sendto(b"everybody", ("%s.255", 5353))
talk.sendto(b"some", ("224.0.0.251", 5353))
"""


def talk(net, prefix):
    at("a", "ping", "-c", "2", "-i", "0.1", "-W", "2", net + ".2", check=False)
    at("b", "ping", "-c", "2", "-i", "0.1", "-W", "2", prefix + "::1", check=False)
    at("a", sys.executable, "-c", UDP % (net, prefix, net, net))
    for address in (net + ".2", "[%s::2]" % prefix):
        at("a", "curl", "-s", "--max-time", "5", "http://%s:80/" % address, check=False)


def captured(path, capture, *nets):
    recorder = subprocess.Popen(["ip", "netns", "exec", "media-a", *capture, path], stdout=subprocess.DEVNULL,
                                stderr=subprocess.DEVNULL)
    time.sleep(2)
    for net, prefix in nets:
        talk(net, prefix)
    time.sleep(1)
    recorder.send_signal(signal.SIGINT)
    recorder.wait()


def without_facts(path):
    """Leaves out of a capture of blocks what it tells of the machine: all but the unit of time."""
    with open(path, "rb") as file:
        content = file.read()
    kept = b""
    place = 0
    while place < len(content):
        kind, length = struct.unpack_from("<II", content, place)
        body = content[place + 8:place + length - 4]
        place += length
        if kind == 0x0A0D0D0A:
            body = body[:16]
        elif kind == 1:
            body = body[:8] + (b"\x09\0\1\0\x09\0\0\0\0\0\0\0" if b"\x09\0\1\0\x09\0\0\0" in body else b"")
        elif kind != 6:
            continue
        kept += struct.pack("<II", kind, len(body) + 12) + body + struct.pack("<I", len(body) + 12)
    with open(path, "wb") as file:
        file.write(kept)


def packets(path):
    """Moment, bytes and length of each frame."""
    with open(path, "rb") as file:
        content = file.read()
    place = 24
    while place < len(content):
        seconds, fraction, captured_length, length = struct.unpack_from("<4I", content, place)
        yield (seconds, fraction), content[place + 16:place + 16 + captured_length], length
        place += 16 + captured_length


def rewritten(source, target, link_type, header):
    """The packets of a capture without headers, each behind what `header` gives for it; without those that get none."""
    with open(target, "wb") as file:
        file.write(struct.pack("<IHHiIII", 0xA1B2C3D4, 2, 4, 0, 0, 262144, link_type))
        for number, (moment, packet, length) in enumerate(packets(source)):
            front = header(packet[0] >> 4, number)
            if front is not None:
                file.write(struct.pack("<4I", *moment, len(packet) + len(front), length + len(front)) + front + packet)


def cooked(source, target):
    """Frames of Ethernet as a capture of all interfaces has them."""
    with open(target, "wb") as file:
        file.write(struct.pack("<IHHiIII", 0xA1B2C3D4, 2, 4, 0, 0, 262144, 113))
        for moment, frame, length in packets(source):
            to = frame[:6]
            packet_type = 1 if to == b"\xff" * 6 else 2 if to[0] & 1 else 0
            protocol = frame[12:14]
            if struct.unpack(">H", protocol)[0] < 0x600:
                protocol = b"\0\1" if frame[14:16] == b"\xff\xff" else b"\0\4"
            front = struct.pack(">HHH", packet_type, 1, 6) + frame[6:12] + b"\0\0" + protocol
            file.write(struct.pack("<4I", *moment, len(frame) + 2, length + 2) + front + frame[14:])


def rewrite(folder):
    raw = os.path.join(folder, "raw.pcap")

    def of(name, link_type, header):
        rewritten(raw, os.path.join(folder, name), link_type, header)

    families = (24, 28, 30)
    of("null.pcap", 0, lambda version, number: struct.pack("<I", 2 if version == 4 else families[number % 3]))
    of("null-other-order.pcap", 0, lambda version, number: struct.pack(">I", 2 if version == 4 else families[number % 3]))
    of("loop.pcap", 108, lambda version, number: struct.pack(">I", 2 if version == 4 else families[number % 3]))
    protocols = {4: b"\0\x21", 6: b"\0\x57"}
    framings = (lambda protocol: b"\xff\3" + protocol, lambda protocol: protocol,
                lambda protocol: b"\xff\3" + protocol[1:], lambda protocol: protocol[1:])
    of("ppp.pcap", 9, lambda version, number: framings[number % 4](protocols[version]))
    of("ipv4.pcap", 228, lambda version, number: b"" if version == 4 else None)
    of("ipv6.pcap", 229, lambda version, number: b"" if version == 6 else None)
    cooked(os.path.join(HERE, "..", "llc-snap-ipx-vlan.pcap"), os.path.join(folder, "linux-sll-rewritten.pcap"))


def main(folder):
    build()
    server = subprocess.Popen(["ip", "netns", "exec", "media-b", sys.executable, "-m", "http.server", "80", "--bind", "::",
                               "--directory", HERE], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    try:
        wire, tunnel = ("10.1.0", "fd01"), ("10.9.0", "fd09")
        tcpdump = ["tcpdump", "-U", "-n", "-s", "200"]
        for name in ("LINUX_SLL", "LINUX_SLL2"):
            captured(os.path.join(folder, name.lower().replace("_", "-") + ".pcap"),
                     tcpdump + ["-i", "any", "-y", name, "-w"], wire)
        captured(os.path.join(folder, "raw.pcap"), tcpdump + ["-i", "tun0", "-w"], tunnel)
        captured(os.path.join(folder, "several.pcapng"),
                 ["dumpcap", "-q", "-s", "200", "-i", "tun0", "-i", "any", "-w"], tunnel)
        without_facts(os.path.join(folder, "several.pcapng"))
    finally:
        server.terminate()
        for side in "ab":
            run("ip", "netns", "delete", "media-" + side)
    rewrite(folder)


if __name__ == "__main__":
    main(sys.argv[1] if len(sys.argv) > 1 else HERE)
