"""One payload of each kind that a frame can have."""

from generating.frames import ARP, IP, TCP, UDP, arp, ethernet, ieee, ip, mac, noise, packet, snap


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
