"""Floods of keys and ports."""

from generating.frames import (BROADCAST, IP, TAG_TYPES, TCP, UDP, ethernet, ieee, ip, ipv4, mac, packet, ports, snap,
                               tag)


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
