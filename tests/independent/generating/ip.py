"""IPv4 headers, cuts, lengths and addresses."""

import struct

from generating.frames import (ARP, BROADCAST, IP, MULTICAST, TCP, UDP, arp, ethernet, ip, ipv4, mac, noise, packet,
                               ports)


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
