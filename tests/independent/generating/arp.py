"""ARP packets, right and odd."""

import struct

from generating.frames import ARP, BROADCAST, IP, MULTICAST, TAG_TYPES, arp, ethernet, ip, mac, noise, tag


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
