"""Damage and noise."""

import struct

from generating.frames import ARP, IP, TAG_TYPES, mac, noise, tag
from generating.payloads import frame_of, payloads


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
