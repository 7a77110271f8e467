"""The IPv6 header and the extension headers behind it.

The version isn't looked at, and what was captured bounds the reading, never the payload length.
"""

from collections import namedtuple

HEADER = 40
HOP_BY_HOP, ROUTING, FRAGMENT, AUTHENTICATION, DESTINATION_OPTIONS, MOBILITY = 0, 43, 44, 51, 60, 135
EXTENSIONS = (HOP_BY_HOP, ROUTING, FRAGMENT, AUTHENTICATION, DESTINATION_OPTIONS, MOBILITY)
MOST_EXTENSIONS = 16


def read_addresses(packet):
    """Source and destination."""
    return packet.bytes(8, 16), packet.bytes(24, 16)


# number: the upper-layer protocol, or the header at which the walk ended
# payload: where the header of that protocol stands; None if the walk doesn't reach it
# fragment: a fragment header tells that this is one of several parts
# fragment_header: there is one, of a packet in one part too
Walk = namedtuple("Walk", "number payload fragment fragment_header")


def walk(packet):
    """From header to header. A header that isn't captured whole counts by its own number, and so does the one behind
    the sixteenth."""
    number, at = packet.byte(6), HEADER
    fragment = fragment_header = False
    for _ in range(MOST_EXTENSIONS):
        if number not in EXTENSIONS:
            break
        length = extension_length(packet, number, at)
        if at + length > packet.captured_length():
            return Walk(number, None, fragment, fragment_header)
        if number == FRAGMENT:
            fragment_header = True
            offset, more = packet.word(at + 2) >> 3, packet.word(at + 2) & 1
            fragment = fragment or offset != 0 or more == 1
            if offset != 0:
                return Walk(packet.byte(at), None, fragment, fragment_header)
        number = packet.byte(at)
        at += length
    if number in EXTENSIONS:
        return Walk(number, None, fragment, fragment_header)
    return Walk(number, at, fragment, fragment_header)


def extension_length(packet, number, at):
    if number == FRAGMENT:
        return 8
    if number == AUTHENTICATION:
        return (packet.byte(at + 1) + 2) * 4
    return (packet.byte(at + 1) + 1) * 8
