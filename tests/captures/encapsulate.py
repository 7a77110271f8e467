#!/usr/bin/env python3
"""One end of a link in user space: what the kernel sends into the device NAME goes out wrapped, and back again.

    encapsulate.py NAME KIND LOCAL REMOTE [INTERFACE]

NAME is a device of `ip tuntap`, tap for vlan, qinq, three-tags, priority and geneve, otherwise tun. LOCAL and REMOTE
are IP addresses for the kinds over IP, and MAC addresses on INTERFACE for the others. Runs until it is ended.

Kernels have all of this themselves, but not every kernel has it built in, and captures shall be made anywhere.
"""

import fcntl
import os
import select
import socket
import struct
import sys
import time

TUN, TAP, NO_INFORMATION, SET_INTERFACE = 0x0001, 0x0002, 0x1000, 0x400454CA
SOL_PACKET, PACKET_AUXDATA, ALL_PROTOCOLS = 263, 8, 0x0003
TAG_VALID = 0x10


def tags(*kinds_and_values):
    return b"".join(struct.pack(">HH", *tag) for tag in kinds_and_values)


TAGS = {
    "vlan": tags((0x8100, 5)),
    "priority": tags((0x8100, 0xE000)),
    "qinq": tags((0x88A8, 7), (0x8100, 8)),
    "three-tags": tags((0x88A8, 4095), (0x9100, 0x2064), (0x8100, 1)),
}
PROTOCOLS = {"ipv4": 4, "ipv6": 41, "gre": 47}  # over IP; the first two take packets of one version
MPLS, PPPOE = 0x8847, 0x8864
GENEVE_PORT = 6081
GENEVE_HEADER = b"\0\0\x65\x58\0\0\x09\0"


def version(packet):
    return packet[0] >> 4


class OverIP:
    """A protocol of its own over IPv4 or IPv6."""

    def __init__(self, kind, local, remote):
        self.gre = kind == "gre"
        self.version = {"ipv4": 4, "ipv6": 6}.get(kind)
        self.family = socket.AF_INET6 if ":" in local else socket.AF_INET
        self.socket = socket.socket(self.family, socket.SOCK_RAW, PROTOCOLS[kind])
        self.socket.bind((local, 0))
        self.remote = remote

    def send(self, packet):
        if self.version not in (None, version(packet)):
            return
        ethernet_type = 0x86DD if version(packet) == 6 else 0x0800
        header = struct.pack(">HH", 0, ethernet_type) if self.gre else b""
        self.socket.sendto(header + packet, (self.remote, 0))

    def receive(self):
        data, sender = self.socket.recvfrom(65536)
        if sender[0] != self.remote:
            return None
        if self.family == socket.AF_INET:  # comes with its IP header
            data = data[(data[0] & 15) * 4:]
        return data[4:] if self.gre else data


class Geneve:
    def __init__(self, kind, local, remote):
        self.socket = socket.socket(socket.AF_INET6 if ":" in local else socket.AF_INET, socket.SOCK_DGRAM)
        self.socket.bind((local, GENEVE_PORT))
        self.remote = remote

    def send(self, frame):
        self.socket.sendto(GENEVE_HEADER + frame, (self.remote, GENEVE_PORT))

    def receive(self):
        return self.socket.recv(65536)[8:]


class OnEthernet:
    """Tags, a label or PPPoE in frames of their own. The kernel takes the first tag out of what is received."""

    def __init__(self, kind, local, remote, interface):
        self.kind = kind
        self.header = bytes.fromhex((remote + local).replace(":", ""))
        self.socket = socket.socket(socket.AF_PACKET, socket.SOCK_RAW, socket.htons(ALL_PROTOCOLS))
        self.socket.bind((interface, ALL_PROTOCOLS))
        self.socket.setsockopt(SOL_PACKET, PACKET_AUXDATA, 1)

    def send(self, packet):
        if self.kind in TAGS:
            self.socket.send(packet[:12] + TAGS[self.kind] + packet[12:])
        elif self.kind == "mpls":
            self.socket.send(self.header + struct.pack(">HI", MPLS, 2 << 12 | 0x100 | 64) + packet)
        else:
            ppp = struct.pack(">H", 0x0057 if version(packet) == 6 else 0x0021) + packet
            self.socket.send(self.header + struct.pack(">HBBHH", PPPOE, 0x11, 0, 0x1234, len(ppp)) + ppp)

    def receive(self):
        frame, information, _, sender = self.socket.recvmsg(65536, 256)
        if sender[2] == socket.PACKET_OUTGOING:
            return None
        frame = with_its_tag(frame, information)
        if self.kind in TAGS:
            marks = TAGS[self.kind]
            return frame[:12] + frame[12 + len(marks):] if frame[12:12 + len(marks)] == marks else None
        if self.kind == "mpls":
            return frame[18:] if frame[12:14] == struct.pack(">H", MPLS) else None
        return frame[22:] if frame[12:14] == struct.pack(">H", PPPOE) else None


def with_its_tag(frame, information):
    for level, kind, data in information:
        if (level, kind) == (SOL_PACKET, PACKET_AUXDATA):
            status, value, tag_type = struct.unpack_from("=I12xHH", data)
            if status & TAG_VALID:
                return frame[:12] + struct.pack(">HH", tag_type or 0x8100, value) + frame[12:]
    return frame


def open_device(name, tap):
    device = os.open("/dev/net/tun", os.O_RDWR)
    fcntl.ioctl(device, SET_INTERFACE, struct.pack("16sH22x", name.encode(), (TAP if tap else TUN) | NO_INFORMATION))
    return device


def main(name, kind, local, remote, *interface):
    if kind in PROTOCOLS:
        link = OverIP(kind, local, remote)
    else:
        link = Geneve(kind, local, remote) if kind == "geneve" else OnEthernet(kind, local, remote, *interface)
    device = open_device(name, kind in TAGS or kind == "geneve")
    print("ready", flush=True)
    while True:
        for ready in select.select([device, link.socket], [], [])[0]:
            try:
                if ready is device:
                    link.send(os.read(device, 65536))
                    continue
                packet = link.receive()
                if packet:
                    os.write(device, packet)
            except OSError:  # the device is down, or the packet is too long for the way
                time.sleep(0.02)


if __name__ == "__main__":
    if len(sys.argv) < 5:
        raise SystemExit(__doc__)
    main(*sys.argv[1:])
