"""The bytes of a frame, and what its Ethernet header says."""

from collections import namedtuple

OVERHEAD = 4  # the frame check sequence, which captures leave out

VLAN_TAGS = (0x8100, 0x88A8, 0x9100)
LOWEST_ETHERNET_TYPE = 0x0600  # what is below is an 802.3 length
IP, ARP, IPV6, IPX = 0x0800, 0x0806, 0x86DD, 0x8137

ETHERNET_II, RAW_IPX, LLC, SNAP, TAGGED_ETHERNET_II, TAGGED_802_3 = 1, 2, 3, 4, 6, 7


class Frame:
    """The captured bytes of one frame and its length on the wire.

    A byte at or beyond the captured length reads as zero, so every header
    field can be asked for, whatever the frame holds.
    """

    def __init__(self, captured, wire_length, ticks):
        self.captured = captured
        self.wire_length = wire_length
        self.ticks = ticks  # when it came, in units of 100 ns

    def bytes(self, offset, count):
        return self.captured[offset:offset + count].ljust(count, b"\0")

    def byte(self, offset):
        return self.bytes(offset, 1)[0]

    def word(self, offset):
        return int.from_bytes(self.bytes(offset, 2), "big")


class Packet:
    """What of a frame stands from its network header on, read by the offset from there; a byte that wasn't captured
    reads as zero."""

    def __init__(self, frame, start):
        self.frame = frame
        self.start = start

    def captured_length(self):
        return max(len(self.frame.captured) - self.start, 0)

    def has(self, offset, count):
        """These bytes were captured."""
        return offset + count <= self.captured_length()

    def bytes(self, offset, count):
        return self.frame.bytes(self.start + offset, count)

    def byte(self, offset):
        return self.frame.byte(self.start + offset)

    def word(self, offset):
        return self.frame.word(self.start + offset)


Media = namedtuple("Media", "destination source format protocol network_offset vlan_tag")


def analyze_media(frame):
    """Reads the Ethernet header.

    Ids of one and of two bytes are compared as numbers: an LLC access point
    0x42 and a SNAP protocol 0x0042 are the same protocol.
    """
    type_offset = 12
    vlan_tag = None
    while frame.word(type_offset) in VLAN_TAGS:
        if vlan_tag is None:
            vlan_tag = frame.bytes(type_offset + 2, 2)  # the outermost tag names the VLAN
        type_offset += 4
    payload = type_offset + 2

    if frame.word(type_offset) >= LOWEST_ETHERNET_TYPE:
        plain, protocol, network = ETHERNET_II, frame.word(type_offset), payload
    elif frame.bytes(payload, 2) == b"\xff\xff":
        plain, protocol, network = RAW_IPX, IPX, payload
    elif frame.bytes(payload, 3) == b"\xaa\xaa\x03":
        plain, protocol, network = SNAP, frame.word(payload + 6), payload + 8
    else:
        plain, protocol, network = LLC, frame.byte(payload), payload + 3

    tagged = TAGGED_ETHERNET_II if plain == ETHERNET_II else TAGGED_802_3
    return Media(frame.bytes(0, 6), frame.bytes(6, 6), plain if vlan_tag is None else tagged,
                 protocol, network, vlan_tag)
