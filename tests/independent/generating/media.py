"""Tags and the forms of 802.3."""

from generating.frames import (ARP, BROADCAST, IP, MULTICAST, TAG_TYPES, ethernet, ieee, mac, noise, snap, tag)
from generating.payloads import frame_of, payloads


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
