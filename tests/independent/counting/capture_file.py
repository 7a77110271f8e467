"""Frames out of capture files: classic pcap and pcapng, link type Ethernet."""

import struct
from collections import namedtuple

from counting.frame import Frame

ETHERNET = 1


class CaptureError(Exception):
    pass


class Reader:
    """Reads exact numbers of bytes; falling short is an error."""

    def __init__(self, data):
        self.data = data
        self.position = 0

    def at_end(self):
        return self.position == len(self.data)

    def take(self, count):
        piece = self.data[self.position:self.position + count]
        if len(piece) < count:
            raise CaptureError("the file ends inside a record")
        self.position += count
        return piece

    def unpack(self, form):
        return struct.unpack(form, self.take(struct.calcsize(form)))


PCAP_MAGICS = {
    b"\xd4\xc3\xb2\xa1": ("<", False),
    b"\xa1\xb2\xc3\xd4": (">", False),
    b"\x4d\x3c\xb2\xa1": ("<", True),  # nanoseconds
    b"\xa1\xb2\x3c\x4d": (">", True),
}
SECTION_MAGIC = b"\x0a\x0d\x0d\x0a"  # reads the same in both byte orders


def read_frames(data):
    if data[:4] in PCAP_MAGICS:
        return read_pcap(Reader(data), *PCAP_MAGICS[data[:4]])
    if data[:4] == SECTION_MAGIC:
        return read_pcapng(Reader(data))
    raise CaptureError("not a capture file")


def require_ethernet(link_type):
    if link_type != ETHERNET:
        raise CaptureError("link type %d isn't Ethernet" % link_type)


def read_pcap(reader, order, nanoseconds):
    _, _, _, _, _, _, link_type = reader.unpack(order + "IHHiIII")
    require_ethernet(link_type & 0xFFFF)
    while not reader.at_end():
        seconds, fraction, captured_length, wire_length = reader.unpack(order + "iIII")
        ticks = seconds * 10**7 + (fraction // 100 if nanoseconds else fraction * 10)
        yield Frame(reader.take(captured_length), wire_length, ticks)


class Interface(namedtuple("Interface", "snap_length units_per_second offset_seconds")):
    def ticks(self, high, low):
        stamp = high << 32 | low
        return self.offset_seconds * 10**7 + stamp * 10**7 // self.units_per_second


STAMP_RESOLUTION, STAMP_OFFSET = 9, 14


def stamp_options(body, order):
    """The units of a stamp in a second, and the seconds to add."""
    units, offset = 10**6, 0
    while not body.at_end():
        code, length = body.unpack(order + "HH")
        value = body.take((length + 3) & ~3)[:length]
        if code == 0:
            break
        if code == STAMP_RESOLUTION:
            units = 2 ** (value[0] & 0x7F) if value[0] & 0x80 else 10 ** value[0]
        elif code == STAMP_OFFSET:
            offset, = struct.unpack(order + "q", value)
    return units, offset


SECTION_HEADER, INTERFACE, PACKET, SIMPLE_PACKET, ENHANCED_PACKET = 0x0A0D0D0A, 1, 2, 3, 6


def read_pcapng(reader):
    order = None
    interfaces = []
    while not reader.at_end():
        start = reader.take(8)
        if start[:4] == SECTION_MAGIC:
            order = section_order(reader.take(4))
            reader.position -= 4
            interfaces = []  # interfaces belong to their section
        kind, total = struct.unpack(order + "II", start)
        if total < 12 or total % 4:
            raise CaptureError("a block has the length %d" % total)
        body = Reader(reader.take(total - 12))
        if reader.unpack(order + "I") != (total,):
            raise CaptureError("the two lengths of a block differ")

        if kind == INTERFACE:
            link_type, _, snap_length = body.unpack(order + "HHI")
            require_ethernet(link_type)
            interfaces.append(Interface(snap_length, *stamp_options(body, order)))
        elif kind == ENHANCED_PACKET:
            interface, high, low, captured_length, wire_length = body.unpack(order + "IIIII")
            require_interface(interface, interfaces)
            yield Frame(body.take(captured_length), wire_length, interfaces[interface].ticks(high, low))
        elif kind == PACKET:
            interface, _, high, low, captured_length, wire_length = body.unpack(order + "HHIIII")
            require_interface(interface, interfaces)
            yield Frame(body.take(captured_length), wire_length, interfaces[interface].ticks(high, low))
        elif kind == SIMPLE_PACKET:
            wire_length, = body.unpack(order + "I")
            require_interface(0, interfaces)
            # No captured length is written: it is the wire length, cut to the
            # snap length, of which 0 means none.
            length = min(wire_length, interfaces[0].snap_length or wire_length)
            yield Frame(body.take(length), wire_length, 0)  # it has no stamp either


def section_order(magic):
    for order in "<>":
        if magic == struct.pack(order + "I", 0x1A2B3C4D):
            return order
    raise CaptureError("a section has no byte order")


def require_interface(number, interfaces):
    if number >= len(interfaces):
        raise CaptureError("a frame names an interface that isn't there")
