#!/usr/bin/env python3
"""Writes captures that push every table and every header field to its limits.

    generate.py OUTDIR

The files are the same on every run: each has a random generator of its own,
seeded with the name of the file. Every one is pcap with link type Ethernet and
the snap length 262144.
"""

import os
import random
import struct
import sys

IP, ARP = 0x0800, 0x0806
TCP, UDP = 6, 17
TAG_TYPES = (0x8100, 0x88A8, 0x9100)
BROADCAST = b"\xff" * 6
MULTICAST = b"\x01\x00\x5e\x01\x02\x03"
FIRST_STAMP = 1577836800  # 2020-01-01 00:00:00 UTC; a frame comes each millisecond


class Capture:
    """Collects records; wire lengths may be anything, captured bytes are kept as they are."""

    def __init__(self, name, order="<", nanoseconds=False):
        self.name = name
        self.order = order
        self.nanoseconds = nanoseconds
        self.random = random.Random(name)
        self.records = []

    def add(self, frame, wire_length=None):
        self.records.append((frame, len(frame) if wire_length is None else wire_length))

    def add_cut(self, frame, captured_length, wire_length=None):
        self.add(frame[:captured_length], len(frame) if wire_length is None else wire_length)

    def write(self, folder):
        magic = 0xA1B23C4D if self.nanoseconds else 0xA1B2C3D4
        unit = 1000000 if self.nanoseconds else 1000
        with open(os.path.join(folder, self.name + ".pcap"), "wb") as file:
            file.write(struct.pack(self.order + "IHHiIII", magic, 2, 4, 0, 0, 262144, 1))
            for number, (frame, wire_length) in enumerate(self.records):
                seconds, thousandths = divmod(number, 1000)
                file.write(struct.pack(self.order + "IIII", FIRST_STAMP + seconds,
                                       thousandths * unit, len(frame), wire_length))
                file.write(frame)


# ---------------------------------------------------------------- frames


def mac(number):
    return b"\x02" + number.to_bytes(5, "big")


def ip(network, number):
    return bytes((network,)) + number.to_bytes(3, "big")


def noise(rng, count):
    return bytes(rng.randrange(256) for _ in range(count))


def tag(kind, value):
    return struct.pack(">HH", kind, value)


def ethernet(destination, source, kind, payload, tags=b""):
    return destination + source + tags + struct.pack(">H", kind) + payload


def ieee(destination, source, payload, tags=b""):
    """802.3: a length stands where the type would."""
    return ethernet(destination, source, len(payload), payload, tags)


def snap(protocol, payload, organisation=b"\0\0\0"):
    return b"\xaa\xaa\x03" + organisation + struct.pack(">H", protocol) + payload


def ipv4(source, destination, protocol, payload, words=5, version=4, options=b""):
    header = struct.pack(">BBHHHBBH", version << 4 | words, 0, 20 + len(options) + len(payload),
                         0, 0, 64, protocol, 0)
    return header + source + destination + options + payload


def ports(source, destination):
    return struct.pack(">HHHH", source, destination, 8, 0)


def packet(source, destination, protocol, source_port, destination_port):
    return ipv4(source, destination, protocol, ports(source_port, destination_port))


def arp(opcode, sender_mac, sender_ip, target_mac, target_ip, protocol=IP, hlen=6, plen=4):
    return struct.pack(">HHBBH", 1, protocol, hlen, plen, opcode) + \
        sender_mac + sender_ip + target_mac + target_ip


# ---------------------------------------------------------------- floods


def flood(capture):
    """No pair, station or address comes twice; each port of 1 to 1024 comes by more than once."""
    for i in range(8000):
        protocol = (TCP, UDP)[i % 2]
        in_range, anywhere = i // 2 % 1024 + 1, i * 7919 % 65536
        pair = (in_range, anywhere) if i % 3 else (anywhere, in_range)
        frame = ethernet(mac(2 * i + 1), mac(2 * i), IP,
                         packet(ip(10, i), ip(172, i * 31 % 2**24), protocol, *pair))
        capture.add(frame, 42 + i * 37 % 1473)


def one_busy_pair(capture):
    """5000 frames of one pair, and then 1200 pairs of one frame each, which push it out of a table of 999 rows."""
    for _ in range(5000):
        capture.add(ethernet(mac(1), mac(2), IP, packet(ip(10, 1), ip(10, 2), TCP, 80, 1024)), 1514)
    for i in range(1200):
        capture.add(ethernet(mac(3), mac(4), IP, packet(ip(10, 3), ip(172, i), UDP, 53, 53)), 60)


def revisits(capture):
    """300 stations and 3000 pairs, a few of them busy: who stays is decided by the last visit."""
    rng = capture.random
    pairs = [(rng.randrange(300), rng.randrange(300)) for _ in range(3000)]
    for i in range(12000):
        source, destination = pairs[int(3000 * rng.random() ** 4)]
        tags = tag(0x8100, rng.randrange(65536)) if rng.randrange(20) == 0 else b""
        to = BROADCAST if rng.randrange(50) == 0 else mac(destination)
        frame = ethernet(to, mac(source), IP,
                         packet(ip(10, source), ip(10, destination), rng.choice((TCP, UDP)),
                                rng.choice((22, 53, 80, 443, 3000 + i % 5000)),
                                rng.choice((25, 53, 80, 1024, 1025))), tags)
        capture.add(frame, rng.choice((60, 61, 590, 1514)))


def ip_protocols(capture):
    """Every protocol number; the table that forgets its first row, not its idlest one."""
    rng = capture.random
    numbers = list(range(256)) + list(range(255, -1, -1))
    numbers += [int(256 * rng.random() ** 2) for _ in range(4000)]
    for i, number in enumerate(numbers):
        frame = ethernet(mac(i % 7), mac(100 + i % 5), IP,
                         ipv4(ip(10, i % 5), ip(10, i % 7), number,
                              ports(rng.randrange(1200), rng.randrange(1200))))
        capture.add(frame, 60 + i % 1000)


def protocol_flood(capture):
    """More protocols than rows, as types, as LLC access points and in SNAP, with revisits."""
    rng = capture.random
    types = [rng.randrange(0x600, 0x10000) for _ in range(300)]
    kinds = [value for value in types if value not in TAG_TYPES] + list(range(256))
    rng.shuffle(kinds)
    for i in range(5000):
        kind = kinds[int(len(kinds) * rng.random() ** 3)]
        to, source = mac(i % 9), mac(i % 11)
        if kind >= 0x600:
            frame = ethernet(to, source, kind, bytes(6))
        elif i % 4:
            frame = ieee(to, source, bytes((kind, 0, 3)) + bytes(6))
        else:
            frame = ieee(to, source, snap(kind, bytes(6)))
        capture.add(frame, 60 + i % 900)


# ---------------------------------------------------------------- ports


def wide_ports(capture):
    """Ports over all 16 bits, so that every range finds its limits."""
    rng = capture.random
    edges = (0, 1, 2, 1023, 1024, 1025, 32767, 32768, 65534, 65535)

    def port():
        return rng.choice(edges) if rng.randrange(8) == 0 else int(65536 * rng.random() ** 2)

    for i in range(12000):
        source, destination = rng.randrange(12), rng.randrange(12)
        frame = ethernet(mac(destination), mac(source), IP,
                         packet(ip(10, source), ip(10, destination), rng.choice((TCP, UDP)),
                                port(), port()))
        capture.add(frame, 60 + i % 1455)


def station_ports(capture):
    """More than 199 ports at one station, sent and received, some of them again and again."""
    rng = capture.random
    for i in range(6000):
        source, destination = (0, 1 + i % 3) if i % 2 else (1 + i % 3, 0)
        near, far = 1 + i // 4 % 260, 1 + rng.randrange(1100)
        pair = rng.choice(((near, far), (far, near), (near, near), (80, far), (near, 80)))
        frame = ethernet(mac(destination), mac(source), IP,
                         packet(ip(10, source), ip(10, destination), (TCP, UDP)[i // 8 % 2],
                                *pair))
        capture.add(frame, 60 + i % 77)


# ---------------------------------------------------------------- ARP

ARP_LENGTHS = (0, 1, 4, 5, 6, 7, 8, 255)


def arp_with_lengths(rng, opcode, hlen, plen, sender_ip):
    body = bytearray(noise(rng, 2 * (hlen + plen) + 6))
    body[hlen:hlen + 4] = sender_ip
    return struct.pack(">HHBBH", 1, IP, hlen, plen, opcode) + bytes(body)


def sender_addresses(rng):
    """No address, almost none, and any."""
    return bytes(4), rng.choice((b"\1\0\0\0", b"\0\0\0\1", b"\0\1\0\0")), noise(rng, 4)


def arp_lengths(capture, opcodes, senders):
    destinations = (mac(1), BROADCAST, MULTICAST)
    for hlen in ARP_LENGTHS:
        for plen in ARP_LENGTHS:
            for opcode in opcodes:
                for sender_ip in sender_addresses(capture.random)[:senders]:
                    to = destinations[len(capture.records) % 3]
                    packet_bytes = arp_with_lengths(capture.random, opcode, hlen, plen, sender_ip)
                    capture.add(ethernet(to, mac(len(capture.records) % 150), ARP, packet_bytes))


def arp_requests(capture):
    """Every odd pair of lengths, every odd operation; only requests teach."""
    arp_lengths(capture, (0, 1, 3, 256, 257, 258, 65535), 3)


def arp_replies(capture):
    """Every odd pair of lengths; a reply teaches both ends, even an address of zero."""
    arp_lengths(capture, (2,), 2)


def arp_flood(capture):
    """More senders than rows, known ones with new addresses, probes, foreign protocols."""
    rng = capture.random
    for i in range(4000):
        sender, target = int(600 * rng.random() ** 2), rng.randrange(600)
        opcode = rng.choice((1, 1, 1, 2, 2, 3, 256, 0))
        protocol = rng.choice((IP, IP, IP, IP, IP, IP, 0x0806, 0x86DD, 0x8137))
        sender_ip = bytes(4) if rng.randrange(12) == 0 else ip(10, sender)
        target_ip = bytes(4) if rng.randrange(30) == 0 else ip(10, target)
        to = rng.choice((BROADCAST, BROADCAST, MULTICAST, mac(target)))
        frame = ethernet(to, mac(sender), ARP,
                         arp(opcode, mac(sender + i % 3), sender_ip, mac(target), target_ip,
                             protocol))
        capture.add(frame, 60)


def arp_cuts(capture):
    """Requests and replies cut at every byte, behind no tag and behind some."""
    for opcode, depths in ((1, (0, 1, 3)), (2, (0, 2))):
        for depth in depths:
            tags = b"".join(tag(TAG_TYPES[i % 3], 0x1000 + i) for i in range(depth))
            for cut in range(14 + len(tags) + 28 + 2):
                number = depth << 8 | cut
                frame = ethernet(BROADCAST if cut % 2 else mac(7), mac(8), ARP,
                                 arp(opcode, mac(number), ip(10, number), mac(number + 1),
                                     ip(11, number)), tags)
                capture.add_cut(frame, cut, 60)


# ---------------------------------------------------------------- tags and 802.3


def payloads(rng, number):
    """One payload of each kind that a frame can have: (type or None for 802.3, bytes)."""
    inner = packet(ip(10, number), ip(10, number + 1), rng.choice((TCP, UDP)),
                   rng.randrange(1, 1200), rng.randrange(1, 1200))
    request = arp(1, mac(number), ip(10, number), bytes(6), ip(10, number + 1))
    return (
        (IP, inner),
        (ARP, request),
        (0x86DD, bytes(40)),
        (None, bytes((rng.randrange(256), 0x42, 3)) + noise(rng, 5)),
        (None, snap(IP, inner)),
        (None, snap(ARP, request)),
        (None, snap(0x010B, noise(rng, 5), b"\0\0\x0c")),
        (None, snap(0x8100, noise(rng, 9))),
        (None, b"\xff\xff" + noise(rng, 20)),
        (None, b"\xaa\xaa\x00" + noise(rng, 9)),
    )


def frame_of(destination, source, kind, payload, tags=b""):
    if kind is None:
        return ieee(destination, source, payload, tags)
    return ethernet(destination, source, kind, payload, tags)


def vlan_tags(capture):
    """Up to six tags of all three types over every payload; untagged frames in between."""
    rng = capture.random
    for _ in range(6):
        for depth in range(7):
            number = rng.randrange(100)
            for kind, payload in payloads(rng, number):
                tags = b"".join(tag(rng.choice(TAG_TYPES), rng.randrange(65536))
                                for _ in range(depth))
                to = rng.choice((mac(number + 1), mac(number + 1), BROADCAST, MULTICAST))
                capture.add(frame_of(to, mac(number), kind, payload, tags),
                            rng.choice((60, 64, 68, 1518, 1522)))


def tag_cuts(capture):
    """Stacks of tags whose end is anywhere, the last captured bytes included."""
    rng = capture.random
    for depth in range(1, 7):
        tags = b"".join(tag(TAG_TYPES[i % 3], rng.randrange(65536)) for i in range(depth))
        for kind, payload in payloads(rng, depth)[:5]:
            frame = frame_of(mac(1), mac(2 + depth), kind, payload, tags)
            for cut in range(10, min(len(frame), 14 + len(tags) + 10) + 1):
                capture.add_cut(frame, cut, 64 + depth)
        capture.add(mac(1) + mac(2 + depth) + tags)


def llc_snap_ipx(capture):
    """802.3 in its four kinds, the values next to each mark, and the edge of the type."""
    rng = capture.random
    starts = (b"\xaa\xaa\x03", b"\xaa\xaa\x02", b"\xaa\xab\x03", b"\xab\xaa\x03", b"\xff\xff\x03",
              b"\xff\xfe\x03", b"\xfe\xff\x03", b"\x42\x42\x03", b"\x06\x06\x03", b"\xe0\xe0\x03",
              b"\xf0\xf0\x03", b"\0\0\0", b"\x08\x00\x45")
    for kind in (0, 1, 3, 46, 0x05DC, 0x05FE, 0x05FF, 0x0600, 0x0601, 0x0800):
        for start in starts:
            number = rng.randrange(120)
            frame = ethernet(mac(number), mac(number + 1), kind, start + noise(rng, 17))
            capture.add(frame, 60 + rng.randrange(100))
    for protocol in (0x0042, 0x00E0, 0x0806, 0x0800, 0x010B, 0x2000, 0x8137, 0x8100, 0, 0xFFFF):
        for organisation in (b"\0\0\0", b"\0\0\x0c", b"\x08\0\x07", b"\xff\xff\xff"):
            number = rng.randrange(120)
            for kind in (IP, ARP):
                payload = dict(payloads(rng, number)[:2])[kind]
                capture.add(ieee(mac(number), mac(number + 1),
                                 snap(protocol, payload, organisation)))
    for kind, payload in payloads(rng, 5)[3:]:
        frame = ieee(mac(3), mac(4), payload)
        for cut in range(12, len(frame) + 1):
            capture.add_cut(frame, cut)


# ---------------------------------------------------------------- IP headers


def ip_headers(capture):
    """Header lengths 0 to 15; small words everywhere, so that a port is read wherever it stands."""
    rng = capture.random
    for words in range(16):
        for version in (0, 4, 6, 15):
            for protocol in (TCP, UDP, 1, 6 + 17):
                body = bytearray(b"".join(struct.pack(">H", rng.randrange(1100))
                                          for _ in range(34)))
                body[0] = version << 4 | words
                body[9] = protocol
                body[12:20] = ip(10, words) + ip(11, version)
                number = words * 4 + version % 4
                capture.add(ethernet(mac(number), mac(number + 1), IP, bytes(body)),
                            82 + rng.randrange(1400))


def cuts(capture):
    """TCP, UDP and ARP cut at every byte of the first 70 and more, the wire length kept."""
    rng = capture.random
    for number, (protocol, words) in enumerate(((TCP, 5), (UDP, 5), (TCP, 6), (UDP, 8), (TCP, 15))):
        payload = ipv4(ip(10, number), ip(11, number), protocol, ports(258, 515) + noise(rng, 40),
                       words, options=noise(rng, (words - 5) * 4))
        frame = ethernet(mac(number), mac(50 + number), IP, payload)
        for cut in range(max(71, 14 + words * 4 + 5)):
            capture.add_cut(frame, cut, 60 + 3 * cut)
    frame = ethernet(mac(9), mac(60), ARP,
                     arp(2, mac(60), ip(10, 77), mac(9), ip(10, 78)) + bytes(30))
    for cut in range(71):
        capture.add_cut(frame, cut, 60)


def wire_lengths(capture):
    """Lengths around every size class and every multiple of 65536, shorter than what was
    captured or far longer."""
    rng = capture.random
    edges = [limit - 4 for limit in (64, 128, 256, 512, 1024)]
    lengths = [0, 1, 41, 42, 43]
    lengths += [edge + step for edge in edges for step in (-1, 0, 1, 4, 5)]
    lengths += [(base + step) % 2**32 for base in (32768, 65536, 131072, 196608, 262144)
                for step in (-4, -1, 0, 1, 56, 60, 61, 64, 1020, 1021)]
    for i in range(10):
        for length in lengths:
            number = rng.randrange(40)
            frame = ethernet((mac(number), BROADCAST, MULTICAST)[i % 3], mac(number + 1), IP,
                             packet(ip(10, number), ip(10, i), (TCP, UDP)[i % 2], 1 + i, 80))
            capture.add_cut(frame, rng.choice((0, 1, 6, 14, 34, 42)), min(length, 262144))


def group_addresses(capture):
    """Group and odd addresses on either side of either header."""
    rng = capture.random
    macs = (mac(1), mac(2), bytes(6), BROADCAST, MULTICAST, b"\x33\x33\0\0\0\1",
            b"\xff" * 5 + b"\xfe", b"\xfe" + b"\xff" * 5, b"\1" + bytes(5), b"\x80" + bytes(5),
            b"\1\x80\xc2\0\0\0")
    ips = (ip(10, 1), ip(10, 2), bytes(4), b"\xff" * 4, ip(224, 1), ip(239, 2**24 - 1), ip(127, 1),
           ip(0, 1))
    for destination in macs:
        for source in macs:
            for _ in range(8):
                frame = ethernet(destination, source, IP,
                                 packet(rng.choice(ips), rng.choice(ips), rng.choice((TCP, UDP, 1)),
                                        rng.randrange(1, 1100), rng.randrange(1, 1100)))
                capture.add(frame, 60 + rng.randrange(200))
            capture.add(ethernet(destination, source, ARP,
                                 arp(rng.choice((1, 2)), source, rng.choice(ips), destination,
                                     rng.choice(ips))))


# ---------------------------------------------------------------- anything


def damaged(capture):
    """Good frames with bytes changed, cut and replaced."""
    rng = capture.random
    for _ in range(6000):
        number = rng.randrange(250)
        kind, payload = rng.choice(payloads(rng, number))
        tags = b"".join(tag(rng.choice(TAG_TYPES), rng.randrange(65536))
                        for _ in range(rng.choice((0, 0, 0, 1, 2))))
        frame = bytearray(frame_of(mac(number + 1), mac(number), kind, payload, tags))
        for _ in range(rng.randrange(4)):
            frame[rng.randrange(len(frame))] = rng.randrange(256)
        cut = rng.randrange(len(frame) + 1) if rng.randrange(5) == 0 else len(frame)
        capture.add_cut(bytes(frame), cut, len(frame) + rng.randrange(1400))


def random_bytes(capture):
    """Frames of noise behind a likely type."""
    rng = capture.random
    for _ in range(5000):
        frame = bytearray(noise(rng, rng.randrange(90)))
        if rng.randrange(2):
            frame[:6] = mac(rng.randrange(5))
        frame[12:14] = struct.pack(">H", rng.choice((IP, IP, ARP, 0x8100, 0x9100, 0x88A8, 40,
                                                     rng.randrange(65536))))
        capture.add(bytes(frame), rng.randrange(1600))


CAPTURES = (
    ("flood", flood),
    ("one-busy-pair", one_busy_pair),
    ("revisits", revisits),
    ("ip-protocols", ip_protocols),
    ("protocol-flood", protocol_flood),
    ("wide-ports", wide_ports),
    ("station-ports", station_ports),
    ("arp-requests", arp_requests),
    ("arp-replies", arp_replies),
    ("arp-flood", arp_flood),
    ("arp-cuts", arp_cuts),
    ("vlan-tags", vlan_tags),
    ("tag-cuts", tag_cuts),
    ("llc-snap-ipx", llc_snap_ipx),
    ("ip-headers", ip_headers),
    ("cuts", cuts),
    ("wire-lengths", wire_lengths),
    ("group-addresses", group_addresses),
    ("damaged", damaged),
    ("random-bytes", random_bytes),
)

# Every other capture is little-endian with microseconds.
FORMATS = {"wire-lengths": (">", True), "cuts": (">", False), "group-addresses": ("<", True)}


def main():
    if len(sys.argv) != 2:
        print("usage: generate.py OUTDIR", file=sys.stderr)
        return 2
    os.makedirs(sys.argv[1], exist_ok=True)
    for name, fill in CAPTURES:
        capture = Capture(name, *FORMATS.get(name, ("<", False)))
        fill(capture)
        capture.write(sys.argv[1])
    return 0


if __name__ == "__main__":
    sys.exit(main())
