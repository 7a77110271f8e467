"""Tables of the second tree that overflow."""

from generating.frames import BROADCAST, IPV6, MULTICAST, TAG_TYPES, TCP, UDP, ethernet, ieee, mac, noise, snap, tag
from generating.ipv6 import (EXTENSIONS, ICMPV6, NO_ADDRESS, address, chain, frame, icmp, ipv6, link_local, tcp, udp,
                             uppers)

MULTICAST_6 = b"\x33\x33\0\0\0\1"


def traffic(capture):
    """More pairs than rows, some of them busy: who stays is decided by the last visit."""
    rng = capture.random
    pairs = [(rng.randrange(400), rng.randrange(400)) for _ in range(2500)]
    for i in range(6000):
        source, destination = pairs[int(2500 * rng.random() ** 3)]
        packet = ipv6(address(1, source), address(2, destination), UDP, udp(53, 5000 + i % 1000))
        to = rng.choice((BROADCAST, MULTICAST_6)) if rng.randrange(40) == 0 else None
        capture.add(frame(source % 50, packet, to), rng.choice((62, 63, 590, 1514)))


def pairs_that_differ_little(capture):
    """Addresses with one byte of difference, at each of the 32 places, and each with its ends changed over."""
    rng = capture.random
    for _ in range(3):
        for place in range(32):
            for value in (0, 1, 0x80, 0xFF):
                both = bytearray(address(1, 1) + address(2, 2))
                both[place] = value
                for pair in (bytes(both), bytes(both[16:] + both[:16])):
                    capture.add(frame(rng.randrange(4), ipv6(pair[:16], pair[16:], TCP, tcp(80, 1024))))


def protocols(capture):
    """Every protocol number, those of extension headers included; the table forgets its first row."""
    rng = capture.random
    numbers = list(range(256)) + list(range(255, -1, -1)) + [int(256 * rng.random() ** 2) for _ in range(2500)]
    for i, number in enumerate(numbers):
        capture.add(frame(i % 7, ipv6(address(1, i % 5), address(2, i % 7), number, noise(rng, 24))), 60 + i % 1000)


def ports(capture):
    """Ports over all 16 bits, at the ends of the ranges, and all from 1 to 1024 more than once; behind headers too."""
    rng = capture.random
    edges = (0, 1, 2, 1023, 1024, 1025, 32767, 32768, 65534, 65535)

    def port():
        return rng.choice(edges) if rng.randrange(8) == 0 else int(65536 * rng.random() ** 2)

    for i in range(6000):
        source, destination = (i // 2 % 1024 + 1, port()) if i % 3 else (port(), port())
        number, payload = (TCP, tcp(source, destination)) if i % 2 else (UDP, udp(source, destination))
        kinds = [rng.choice(EXTENSIONS) for _ in range(rng.choice((0, 0, 0, 1, 2)))]
        first, packet = chain(kinds, number, payload)
        whole = frame(i % 12, ipv6(address(1, i % 12), address(2, i % 11), first, packet))
        cut = len(whole) - len(payload) + rng.randrange(6) if rng.randrange(20) == 0 else len(whole)
        capture.add_cut(whole, cut, 60 + i % 1455)


def group_addresses(capture):
    """Group and odd addresses on either side of either header, IPv6 in SNAP and behind tags."""
    rng = capture.random
    macs = (mac(1), mac(2), bytes(6), BROADCAST, MULTICAST, MULTICAST_6, b"\xfe" + b"\xff" * 5)
    addresses = (address(1, 1), link_local(1), NO_ADDRESS, b"\xff" * 16, b"\xff\x02" + bytes(13) + b"\1",
                 bytes(15) + b"\1", bytes(10) + b"\xff\xff\x0a\0\0\1", bytes(12) + b"\x0a\0\0\1", bytes(8) + b"\1" * 8)
    for source in addresses:
        for destination in addresses:
            for to in macs:
                number, payload = rng.choice(uppers(rng))
                packet = ipv6(source, destination, number, payload)
                tags = b"".join(tag(rng.choice(TAG_TYPES), rng.randrange(65536))
                                for _ in range(rng.choice((0, 0, 1, 2))))
                if rng.randrange(5) == 0:
                    capture.add(ieee(to, mac(3), snap(IPV6, packet), tags))
                else:
                    capture.add(ethernet(to, mac(4), IPV6, packet, tags))


def vlans(capture):
    """Every identifier outside and inside, 0 and 4095 too, at depths from 0 to 4, with all types and the priority bits
    set and not; the frames of a tag that is cut."""
    rng = capture.random
    for identifier in (*range(4096), *range(0, 4096, 37)):
        depth = 1 + identifier % 4
        values = [identifier, 4095 - identifier, *(rng.randrange(4096) for _ in range(depth))][:depth]
        tags = b"".join(tag(rng.choice(TAG_TYPES), rng.randrange(16) << 12 | value) for value in values)
        to = rng.choice((mac(1), mac(1), BROADCAST, MULTICAST))
        whole = ethernet(to, mac(2), rng.choice((IPV6, 0x0800, 0x0806, 0x88CC)), noise(rng, 4), tags)
        cut = rng.choice((len(whole),) * 9 + (rng.randrange(12, len(whole)),))
        capture.add_cut(whole, cut, rng.choice((64, 68, 1518)))
        if identifier % 16 == 0:
            capture.add(ethernet(to, mac(2), IPV6, ipv6(address(1, 1), address(1, 2), ICMPV6, icmp(128))))


def anything(capture):
    """All kinds of frames with bytes changed, cut and with any length on the wire."""
    rng = capture.random
    for _ in range(4000):
        number = rng.randrange(120)
        last, payload = rng.choice(uppers(rng))
        kinds = [rng.choice(EXTENSIONS) for _ in range(rng.choice((0, 0, 1, 2, 3)))]
        first, packet = chain(kinds, last, payload)
        tags = b"".join(tag(rng.choice(TAG_TYPES), rng.randrange(65536)) for _ in range(rng.choice((0, 0, 0, 1, 2))))
        whole = bytearray(frame(number, ipv6(address(1, number), address(2, number % 40), first, packet), tags=tags))
        for _ in range(rng.randrange(4)):
            whole[rng.randrange(len(whole))] = rng.randrange(256)
        cut = rng.randrange(len(whole) + 1) if rng.randrange(5) == 0 else len(whole)
        capture.add_cut(bytes(whole), cut, rng.choice((len(whole), rng.randrange(1600))))
