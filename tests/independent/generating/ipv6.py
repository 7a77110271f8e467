"""IPv6 packets with every chain of extension headers, and what stands behind them."""

import struct

from generating.frames import IPV6, TCP, UDP, ethernet, mac, noise

HOP_BY_HOP, ROUTING, FRAGMENT, AUTHENTICATION, DESTINATION_OPTIONS, MOBILITY = 0, 43, 44, 51, 60, 135
EXTENSIONS = (HOP_BY_HOP, ROUTING, FRAGMENT, AUTHENTICATION, DESTINATION_OPTIONS, MOBILITY)
ICMPV6, NOTHING, ENCRYPTED = 58, 59, 50
NO_ADDRESS = bytes(16)


def address(network, number):
    """2001:db8:NETWORK::NUMBER"""
    return b"\x20\x01\x0d\xb8" + network.to_bytes(2, "big") + number.to_bytes(10, "big")


def link_local(number):
    return b"\xfe\x80" + bytes(6) + number.to_bytes(8, "big")


def solicited(target):
    return b"\xff\x02" + bytes(9) + b"\x01\xff" + target[13:]


def ipv6(source, destination, number, payload, hop_limit=64, length=None, version=6):
    length = len(payload) if length is None else length
    return struct.pack(">IHBB", version << 28, length & 0xFFFF, number, hop_limit) + source + destination + payload


def header(kind, behind, units=0, word=0):
    """An extension header: `units` is its length field, `word` the field of a fragment header. What it holds beyond is
    zero, which is padding where there are options."""
    if kind == FRAGMENT:
        return struct.pack(">BBHI", behind, 0, word, 0x12345678)
    size = (units + 2) * 4 if kind == AUTHENTICATION else (units + 1) * 8
    return bytes((behind, units)).ljust(size, b"\0")


def chain(kinds, last, payload, units=lambda kind: 0, word=lambda: 0):
    """(number of the first header, the headers and the payload)"""
    packet, behind = payload, last
    for kind in reversed(kinds):
        packet = header(kind, behind, units(kind), word=word()) + packet
        behind = kind
    return behind, packet


def tcp(source, destination, flags=0x10, window=8192):
    return struct.pack(">HHIIBBHHH", source, destination, 1, 2, 0x50, flags, window, 0, 0)


def udp(source, destination, payload=bytes(4)):
    return struct.pack(">HHHH", source, destination, 8 + len(payload), 0) + payload


def icmp(kind, code=0, body=bytes(4)):
    return struct.pack(">BBH", kind, code, 0) + body


def uppers(rng):
    """What can stand behind the headers: (number, bytes)."""
    pair = rng.randrange(1, 1200), rng.randrange(1, 1200)
    return ((TCP, tcp(*pair)), (UDP, udp(*pair)), (ICMPV6, icmp(rng.choice((1, 2, 3, 4, 128, 129)))),
            (NOTHING, b""), (ENCRYPTED, noise(rng, 12)), (132, noise(rng, 12)), (4, noise(rng, 24)), (255, b"\1\2\3"))


def frame(number, packet, to=None, tags=b""):
    return ethernet(mac(number + 1) if to is None else to, mac(number), IPV6, packet, tags)


# ---------------------------------------------------------------- captures


def chains(capture):
    """0 to 20 headers of one kind and of any, before every protocol; 16 is the most that a walk takes."""
    rng = capture.random
    for depth in range(21):
        for kind in (*EXTENSIONS, None):
            for last, payload in uppers(rng):
                kinds = [rng.choice(EXTENSIONS) if kind is None else kind for _ in range(depth)]
                first, packet = chain(kinds, last, payload, units=lambda kind: rng.choice((0, 0, 0, 1, 2)))
                number = rng.randrange(30)
                capture.add(frame(number, ipv6(address(1, number), address(2, depth), first, packet)))


def chain_lengths(capture):
    """One header of every kind and of every length, captured whole, but for its last byte, and far from whole."""
    rng = capture.random
    for kind in EXTENSIONS:
        for units in (*range(20), 62, 63, 64, 126, 127, 128, 253, 254, 255):
            last, payload = uppers(rng)[units % 3]
            first, packet = chain([kind], last, payload, units=lambda kind: units)
            whole = frame(units % 40, ipv6(address(1, kind), address(2, units), first, packet))
            end = len(whole) - len(payload)
            for cut in (len(whole), end + 4, end + 3, end, end - 1, 14 + 40 + 8, 14 + 40 + 2, 14 + 40 + 1):
                capture.add_cut(whole, cut)


def chain_cuts(capture):
    """Chains cut at every byte."""
    rng = capture.random
    longest = [HOP_BY_HOP, DESTINATION_OPTIONS, ROUTING, FRAGMENT, AUTHENTICATION, MOBILITY, DESTINATION_OPTIONS]
    for depth in range(len(longest) + 1):
        for last, payload in uppers(rng)[:3]:
            first, packet = chain(longest[:depth], last, payload)
            whole = frame(depth, ipv6(address(1, depth), address(2, last), first, packet))
            for cut in range(10 if depth in (0, 7) else 14 + 40, len(whole) + 1):
                capture.add_cut(whole, cut)


def fragments(capture):
    """First, later and last parts, packets in one part with the header all the same, and headers that contradict each
    other, at every place of a chain."""
    rng = capture.random
    words = (0, 1, 2, 6, 7, 8, 9, 0x0578, 0x0579, 0xFFF8, 0xFFF9, 0xFFFF)
    for word in words:
        for before in ([], [HOP_BY_HOP], [ROUTING, DESTINATION_OPTIONS], [AUTHENTICATION]):
            for behind in ([], [DESTINATION_OPTIONS], [FRAGMENT], [AUTHENTICATION, MOBILITY]):
                for last, payload in uppers(rng)[:4]:
                    tail_first, tail = chain(behind, last, payload, word=lambda: rng.choice(words))
                    first, packet = chain(before, FRAGMENT, header(FRAGMENT, tail_first, word=word) + tail)
                    number = rng.randrange(20)
                    whole = frame(number, ipv6(address(3, number), address(4, word), first, packet))
                    capture.add_cut(whole, rng.choice((len(whole),) * 4 + (len(whole) - len(tail) - 1,)))


def icmp_kinds(capture):
    """Every type of ICMPv6 with code 0 and another one, bare, behind headers and cut; those of ICMP beside them."""
    rng = capture.random
    for kind in range(256):
        for code in (0, rng.randrange(1, 256)):
            for kinds in ([], [HOP_BY_HOP], [FRAGMENT]):
                first, packet = chain(kinds, ICMPV6, icmp(kind, code), word=lambda: rng.choice((0, 0, 1, 8)))
                whole = frame(kind % 9, ipv6(address(1, kind % 9), address(2, kind), first, packet, hop_limit=255))
                capture.add_cut(whole, rng.choice((len(whole), len(whole), len(whole) - 8, len(whole) - 7)))


def random_numbers(capture):
    """Noise behind likely numbers, so that walks go anywhere."""
    rng = capture.random
    for _ in range(4000):
        body = bytearray(noise(rng, rng.randrange(120)))
        for at in range(0, len(body), 8):
            if rng.randrange(4):
                body[at:at + 2] = bytes((rng.choice((*EXTENSIONS, TCP, UDP, ICMPV6)), rng.randrange(3)))
        number = rng.randrange(40)
        first = rng.choice((*EXTENSIONS, *EXTENSIONS, TCP, UDP, ICMPV6, 4, 41, 47))
        packet = ipv6(address(1, number), address(2, rng.randrange(9)), first, bytes(body),
                      hop_limit=rng.choice((64, 255)), length=rng.choice((len(body), len(body), rng.randrange(200))),
                      version=rng.choice((6, 6, 6, 4, 0, 15)))
        capture.add_cut(frame(number, packet), rng.randrange(14, 200) if rng.randrange(4) == 0 else 999)
