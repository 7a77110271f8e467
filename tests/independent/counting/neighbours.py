"""The bindings of addresses that neighbour messages teach (RFC 4861)."""

from counting.ipv6 import HEADER, read_addresses

ICMPV6 = 58
ROUTER_ADVERTISEMENT, SOLICITATION, ADVERTISEMENT = 134, 135, 136
SOURCE_ADDRESS, TARGET_ADDRESS = 1, 2  # the options that hold a MAC
HOP_LIMIT = 255  # no router lets it pass
NO_ADDRESS = bytes(16)


def learned(packet, walk):
    """The (address, MAC) that the packet teaches; None if it is no such message, or one that makes no sense."""
    if walk.number != ICMPV6 or walk.payload is None or walk.fragment_header:
        return None
    at = walk.payload
    if packet.byte(7) != HOP_LIMIT or packet.byte(at + 1) != 0:
        return None
    length = packet.word(4) + HEADER - at
    if at + length > packet.captured_length():
        return None
    source, _ = read_addresses(packet)
    if packet.byte(at) == SOLICITATION:
        return from_solicitation(packet, at, length, source)
    if packet.byte(at) == ADVERTISEMENT:
        return from_advertisement(packet, at, length)
    if packet.byte(at) == ROUTER_ADVERTISEMENT:
        return from_router(packet, at, length, source)
    return None


def from_solicitation(packet, at, length, source):
    if length < 24 or is_multicast(source) or is_multicast(packet.bytes(at + 8, 16)):
        return None
    return binding(source, options(packet, at + 24, at + length), SOURCE_ADDRESS)


def from_advertisement(packet, at, length):
    target = packet.bytes(at + 8, 16)
    if length < 24 or is_multicast(target):
        return None
    return binding(target, options(packet, at + 24, at + length), TARGET_ADDRESS)


def from_router(packet, at, length, source):
    if length < 16 or not is_link_local(source):
        return None
    return binding(source, options(packet, at + 16, at + length), SOURCE_ADDRESS)


def options(packet, at, end):
    """(type, value) of each; None if one of them has no length or goes beyond the end."""
    found = []
    while at < end:
        size = packet.byte(at + 1) * 8
        if at + 2 > end or size == 0 or at + size > end:
            return None
        found.append((packet.byte(at), packet.bytes(at + 2, size - 2)))
        at += size
    return found


def binding(address, found, wanted):
    """The first option of the kind counts, and has room for a MAC and nothing else."""
    values = [value for kind, value in found or () if kind == wanted]
    if not values or len(values[0]) != 6 or address == NO_ADDRESS:
        return None
    return address, values[0]


def is_multicast(address):
    return address[0] == 0xFF


def is_link_local(address):
    return address[0] == 0xFE and address[1] & 0xC0 == 0x80
