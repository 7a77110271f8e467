"""Neighbour messages, right and hostile."""

import struct

from generating.frames import mac
from generating.ipv6 import (DESTINATION_OPTIONS, FRAGMENT, HOP_BY_HOP, ICMPV6, NO_ADDRESS, address, chain, frame, icmp,
                             ipv6, link_local, solicited)

ROUTER_SOLICITATION, ROUTER_ADVERTISEMENT, SOLICITATION, ADVERTISEMENT, REDIRECT = 133, 134, 135, 136, 137
KINDS = (ROUTER_SOLICITATION, ROUTER_ADVERTISEMENT, SOLICITATION, ADVERTISEMENT, REDIRECT)
ALL_NODES = b"\xff\x02" + bytes(13) + b"\1"
TO_ALL = b"\x33\x33\0\0\0\1"


def option(kind, value, units=None):
    return bytes((kind, (len(value) + 2) // 8 if units is None else units)) + value


def source_mac(number):
    return option(1, mac(number))


def target_mac(number):
    return option(2, mac(number))


def body(kind, target, options):
    """The message behind its checksum."""
    if kind == ROUTER_ADVERTISEMENT:
        return struct.pack(">BBHII", 64, 0, 1800, 0, 0) + options
    if kind == ROUTER_SOLICITATION:
        return bytes(4) + options
    if kind == REDIRECT:
        return bytes(4) + target + address(9, 9) + options
    return b"\x60\0\0\0" + target + options


def message(kind, source, target, options, number=1, hop_limit=255, code=0, kinds=(), length=None, to=None, word=0):
    first, packet = chain(list(kinds), ICMPV6, icmp(kind, code, body(kind, target, options)), word=lambda: word)
    destination = solicited(target) if kind == SOLICITATION else ALL_NODES
    return frame(number, ipv6(source, destination, first, packet, hop_limit, length), to)


def wanted(kind, number):
    return target_mac(number) if kind in (ADVERTISEMENT, REDIRECT) else source_mac(number)


def neighbours(capture):
    """Each check of each kind of message, passed and failed; every message is about an address of its own."""
    count = 0

    def add(kind, options=None, source=None, target=None, cut=None, **others):
        nonlocal count
        count += 1
        whole = message(kind, link_local(count) if source is None else source,
                        address(5, count) if target is None else target,
                        wanted(kind, count) if options is None else options, number=count, **others)
        capture.add_cut(whole, len(whole) if cut is None else cut)

    for kind in KINDS:
        for to in (None, TO_ALL, b"\xff" * 6):
            add(kind, to=to)
        for hop_limit in (0, 1, 64, 254):
            add(kind, hop_limit=hop_limit)
        for code in (1, 255):
            add(kind, code=code)
        for source in (NO_ADDRESS, ALL_NODES, address(6, 1), b"\xfe\xbf" + bytes(13) + b"\1",
                       b"\xfe\xc0" + bytes(13) + b"\1", b"\xfe\x7f" + bytes(13) + b"\1", b"\xff" + bytes(15)):
            add(kind, source=source)
        for target in (NO_ADDRESS, ALL_NODES, b"\xff" + bytes(15), link_local(7), bytes(15) + b"\1"):
            add(kind, target=target)
        for kinds, word in (([HOP_BY_HOP], 0), ([HOP_BY_HOP, DESTINATION_OPTIONS], 0), ([FRAGMENT], 0), ([FRAGMENT], 1),
                            ([FRAGMENT], 8), ([DESTINATION_OPTIONS] * 16, 0), ([DESTINATION_OPTIONS] * 17, 0)):
            add(kind, kinds=kinds, word=word)
        for options in option_lists(count):
            add(kind, options=options)


def option_lists(number):
    """Right, none, more than one, of no length, beyond the end, of wrong lengths, and with bytes left behind."""
    source, target, other = source_mac(number), target_mac(number), option(5, b"\0\0\0\0\5\xdc")
    return (b"", source, target, source + target, target + source, other + source + target, other + target + source,
            source + source_mac(9999) + target + target_mac(9999), source + option(1, b"", 0),
            target + option(2, b"", 0), option(1, bytes(6), 0), option(2, bytes(6), 0), option(1, mac(number), 2),
            option(2, mac(number), 2), option(1, mac(number) + bytes(8)), option(2, mac(number) + bytes(8)),
            option(1, mac(number) + bytes(8)) + source + target, source + target + option(14, bytes(6), 255),
            source + target + b"\1", source + target + b"\1\1", source + target + bytes(8), source + target + other[:7],
            other * 20 + source + target, option(25, bytes(2038)) + source + target, b"\1\1", b"\2\1" + bytes(5),
            option(1, bytes(6)) + option(2, bytes(6)), option(1, b"\xff" * 6) + option(2, b"\xff" * 6))


def neighbour_cuts(capture):
    """Messages cut at every byte, and told to be longer and shorter than they are."""
    for number, kind in enumerate(KINDS):
        for cut in range(14, 14 + 40 + 60):
            count = 100 * number + cut
            whole = message(kind, link_local(count), address(5, count), wanted(kind, count) + source_mac(3), count)
            capture.add_cut(whole, cut)
        size = len(whole) - 14 - 40
        for length in (*range(size + 10), 65535):
            for cut in (len(whole), 14 + 40 + length):
                count = 1000 * number + length % 1000
                told = message(kind, link_local(count + 1), address(5, count), wanted(kind, count) + source_mac(3),
                               count, length=length)
                capture.add_cut(told + bytes(16), cut)


def neighbour_flood(capture):
    """More neighbours than rows, and known ones with other MACs, now by one kind of message, now by another."""
    rng = capture.random
    for _ in range(3000):
        number = int(500 * rng.random() ** 2)
        kind = rng.choice((ROUTER_ADVERTISEMENT, SOLICITATION, ADVERTISEMENT))
        shown = number + (1000 if rng.randrange(10) == 0 else 0)
        whole = message(kind, link_local(number + 1), link_local(rng.randrange(500) + 1), wanted(kind, shown), number,
                        to=rng.choice((None, TO_ALL)))
        capture.add(whole)
