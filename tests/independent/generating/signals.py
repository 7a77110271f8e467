"""What signals and tunnels go by, over both families."""

import struct

from generating.frames import ARP, BROADCAST, IP, IPV6, TCP, UDP, arp, ethernet, ip, ipv4, mac, noise
from generating.ipv6 import FRAGMENT, HOP_BY_HOP, address, chain, icmp, ipv6, tcp, udp

IP_IN_IP, IPV6_IN_IP, GRE, MPLS_IN_IP = 4, 41, 47, 137
LABEL = b"\0\1\x01\x40"  # of MPLS, at the bottom of its stack


def over_both(number, protocol, payload, word=None, options=b""):
    """The frame over IPv4 and the one over IPv6; `word` is the field of a fragment, in IPv4's form."""
    packet = bytearray(ipv4(ip(10, number), ip(11, number), protocol, payload, 5 + len(options) // 4, options=options))
    kinds = []
    if word is not None:
        packet[6:8] = struct.pack(">H", word)
        kinds.append(FRAGMENT)
    if options:
        kinds.append(HOP_BY_HOP)
    in_ipv6 = 0 if word is None else (word & 0x1FFF) << 3 | word >> 13 & 1
    first, behind = chain(kinds, protocol, payload, word=lambda: in_ipv6)
    return (ethernet(mac(number + 1), mac(number), IP, bytes(packet)),
            ethernet(mac(number + 1), mac(number), IPV6, ipv6(address(1, number), address(2, number), first, behind)))


def tcp_flags(capture):
    """All flags, with a window of 0 and of others, whole and cut where flags and window stand, and in fragments."""
    rng = capture.random
    for flags in range(256):
        for window in (0, 1, 256):
            segment = tcp(1 + flags, 80, flags, window)
            for whole in over_both(flags % 20, TCP, segment, options=b"\1\1\1\0" if flags % 5 == 0 else b""):
                capture.add(whole)
                capture.add_cut(whole, len(whole) - len(segment) + rng.randrange(11, 18))
        for word in (0, 1, 0x1000, 0x2000, 0x2001, 0x4000):
            for whole in over_both(flags % 20, TCP, tcp(80, 1 + flags, flags, 0), word):
                capture.add(whole)


def icmp_kinds(capture):
    """Every type of ICMP, with the code that asks for smaller packets and others, in fragments and cut."""
    rng = capture.random
    for kind in range(256):
        for code in (0, 3, 4, 5):
            whole = over_both(kind % 9, 1, icmp(kind, code), rng.choice((None, None, 0x2000, 1)))[0]
            capture.add_cut(whole, rng.choice((len(whole), len(whole), len(whole) - 6, len(whole) - 7, len(whole) - 8)))
            capture.add(over_both(kind % 9, 58, icmp(kind, code))[0])
            capture.add(over_both(kind % 9, 1, icmp(kind, code))[1])


def arp_bindings(capture):
    """Requests and replies of one's own address, bindings that change and come back, and replies about nobody."""
    rng = capture.random
    for i in range(2500):
        sender, target = int(260 * rng.random() ** 2), int(260 * rng.random() ** 2)
        shown = sender + (1000 if rng.randrange(12) == 0 else 0)
        sender_ip = bytes(4) if rng.randrange(15) == 0 else ip(10, sender)
        target_ip = rng.choice((sender_ip, sender_ip, ip(10, target), ip(10, target), bytes(4)))
        target_mac = rng.choice((mac(shown), mac(target), mac(target + 2000), bytes(6), BROADCAST))
        packet = arp(rng.choice((1, 1, 2, 2, 3)), mac(shown), sender_ip, target_mac, target_ip,
                     rng.choice((IP, IP, IP, IP, IPV6)))
        whole = ethernet(rng.choice((BROADCAST, mac(target))), mac(sender), ARP, packet)
        capture.add_cut(whole, len(whole) if rng.randrange(15) else rng.randrange(14, len(whole)))


def told_lengths(capture):
    """Packets told to be shorter than the frame, as long, and longer, with frames of any length."""
    rng = capture.random
    for told in (0, 1, 19, 20, 21, 27, 28, 29, 39, 40, 41, 46, 47, 48, 1499, 1500, 1501, 65495, 65496, 65535):
        for wire in (0, 13, 14, 15, 14 + 20, 60, 14 + told - 1, 14 + told, 14 + told + 1, 14 + 40 + told - 1,
                     14 + 40 + told, 14 + 40 + told + 1, 65536 + 60):
            number = rng.randrange(9)
            packet = bytearray(ipv4(ip(10, number), ip(11, number), UDP, udp(7, 7)))
            packet[2:4] = struct.pack(">H", told)
            whole = ethernet(mac(1), mac(number), IP, bytes(packet))
            capture.add_cut(whole, rng.choice((len(whole), 14, 16, 18)), max(wire, 0))
            packet = ipv6(address(1, number), address(2, number), UDP, udp(7, 7), length=told)
            whole = ethernet(mac(1), mac(number), IPV6, packet)
            capture.add_cut(whole, rng.choice((len(whole), 14, 18, 20)), max(wire, 0))


def insides(number):
    """(protocol, payload) of each kind of tunnel over IP, and what looks like one."""
    inner4 = ipv4(ip(20, number), ip(21, number), UDP, udp(9, 9))
    inner6 = ipv6(address(7, number), address(8, number), UDP, udp(9, 9))
    inner_frame = ethernet(mac(77), mac(78), IPV6, inner6)
    vxlan = b"\x08" + bytes(3) + b"\0\0\5\0" + inner_frame
    geneve = b"\0\0\x65\x58\0\0\5\0" + inner_frame
    return ((IP_IN_IP, inner4), (IP_IN_IP, inner6), (IPV6_IN_IP, inner6), (IPV6_IN_IP, inner4),
            (GRE, b"\0\0\x08\0" + inner4), (GRE, b"\0\0\x86\xdd" + inner6), (GRE, b"\0\0\x65\x58" + inner_frame),
            (UDP, udp(50000 + number, 4789, vxlan)), (UDP, udp(4789, 50000, vxlan)),
            (UDP, udp(50000 + number, 6081, geneve)), (UDP, udp(6081, 50000, geneve)), (TCP, tcp(50000, 4789)),
            (TCP, tcp(50000, 6081)), (MPLS_IN_IP, LABEL))


def tunnels(capture):
    """Each kind over both families, in fragments, cut, with options before; the types that name one themselves."""
    rng = capture.random
    for number in range(12):
        for protocol, payload in insides(number):
            for word in (None, 0, 0x2000, 0x0005):
                for whole in over_both(number, protocol, payload, word, b"\1\1\1\0" if number % 4 == 3 else b""):
                    at = len(whole) - len(payload)
                    capture.add_cut(whole, rng.choice((len(whole), len(whole), at + 4, at + 3, at)))
        for kind in (0x8847, 0x8848, 0x8863, 0x8864):
            payload = b"\x11\0\0\1\0\x22\0\x57" if kind >= 0x8863 else LABEL
            payload += ipv6(address(7, number), address(8, number), UDP, udp(9, 9))
            for to in (mac(number), BROADCAST):
                capture.add(ethernet(to, mac(number + 1), kind, payload + noise(rng, 4)))
