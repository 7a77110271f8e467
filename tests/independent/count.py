#!/usr/bin/env python3
"""Counts an Ethernet capture straight from the bytes of its frames.

This is the reference that the library is tested against, so it is kept plain:
one short function a step, no shortcuts for speed, and nothing in common with
the library but the numbers that must come out.

    count.py FILE [--tcp-ports LOW-HIGH] [--udp-ports LOW-HIGH] [--enable OID]...
             [--link-speed BITS] [--rows TABLE=N]...

FILE is a classic pcap file (either byte order, microseconds or nanoseconds) or
a pcapng file, link type Ethernet. On stdout comes one JSON object,
{"frames": N, "statistics": {...}}, with every group of the tree as a console
shows it after one sample that spans the capture. What only a driver or a
filter knows is 0; what isn't finite is null. --rows sets how many rows a
table keeps: TABLE is its name as in the other form, figures.py; "all" is each
but those of the stations' ports, and "standard" brings back the usual ones.

Exit code 2, with one line on stderr, if FILE can't be read to its end.
"""

import argparse
import json
import math
import struct
import sys
from collections import OrderedDict, namedtuple

ETHERNET = 1
OVERHEAD = 4  # the frame check sequence, which captures leave out

VLAN_TAGS = (0x8100, 0x88A8, 0x9100)
LOWEST_ETHERNET_TYPE = 0x0600  # what is below is an 802.3 length
IP, ARP, IPX = 0x0800, 0x0806, 0x8137
TCP, UDP = 6, 17
ARP_REQUEST, ARP_REPLY = 1, 2

ETHERNET_II, RAW_IPX, LLC, SNAP, TAGGED_ETHERNET_II, TAGGED_802_3 = 1, 2, 3, 4, 6, 7


class CaptureError(Exception):
    pass


# ---------------------------------------------------------------- the frame


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


IPPacket = namedtuple("IPPacket", "source destination protocol source_port destination_port")


def read_ip(frame, header):
    """Version, fragments and a header length below 5 aren't looked at: what
    stands where the ports would be is taken as ports."""
    transport = header + (frame.byte(header) & 0x0F) * 4
    return IPPacket(frame.bytes(header + 12, 4), frame.bytes(header + 16, 4),
                    frame.byte(header + 9), frame.word(transport), frame.word(transport + 2))


# ---------------------------------------------------------------- the tree


class Ledger:
    """What the rows of a table had counted that it gave up."""

    def __init__(self):
        self.rows = 0
        self.columns = dict.fromkeys(
            ("Frames transmitted", "Data transmitted", "Frames received", "Data received"), 0)

    def take(self, row):
        self.rows += 1
        for name in self.columns:
            self.columns[name] += row.get(name, 0)
        # What is in a row goes with it.
        for table in row.values():
            if isinstance(table, Table):
                for below in table.rows.values():
                    table.ledger.take(below)


class Table:
    """Rows by key, held in update order from the oldest to the newest.

    One row fewer than the limit fits. Ids run upwards from 1; a row that is
    evicted gives its id to the row that takes its place.
    """

    def __init__(self, limit, new_row, ledger=None):
        self.limit = limit
        self.new_row = new_row  # columns of a fresh row for a key, in order
        self.ledger = Ledger() if ledger is None else ledger  # of all tables of a kind
        self.rows = OrderedDict()
        self.free_id = None

    def find_or_create(self, key):
        """The row of the key; a new row in a full table evicts the oldest one.
        Finding a row doesn't move it."""
        if key not in self.rows and self.is_full():
            self.delete_oldest()
        return self.create_if_new(key)

    def create_if_new(self, key, *arguments):
        """The row of the key as it stands or a new one; None if there is none
        and the table is full."""
        if key in self.rows:
            return self.rows[key]
        if self.is_full():
            return None
        row = {"id": self.take_id(), **self.new_row(key, *arguments)}
        self.rows[key] = row
        return row

    def renew(self, key):
        self.rows.move_to_end(key)

    def delete_oldest(self):
        _, row = self.rows.popitem(last=False)
        self.ledger.take(row)
        self.free_id = row["id"]

    def is_full(self):
        return len(self.rows) + 1 >= self.limit

    def take_id(self):
        if self.free_id is None:
            return len(self.rows) + 1
        taken, self.free_id = self.free_id, None
        return taken


def mac_text(address):
    return "-".join("%02X" % byte for byte in address)


def ip_text(address):
    return ".".join(str(byte) for byte in address) if any(address) else "[others]"


def id_text(number):
    return "0x%X" % number


STANDARD_LIMITS = {
    "stations": 200,
    "protocols": 200,
    "mac_traffic": 200,
    "ip_traffic": 1000,
    "arp": 200,
    "ip_protocols": 200,
    "tcp_ports": 1000,
    "udp_ports": 1000,
    "station_tcp_ports": 200,
    "station_udp_ports": 200,
}


def station_row(address, limits, ledgers):
    return {
        "Station": mac_text(address),
        "Data transmitted": 0,
        "Frames transmitted": 0,
        "Data received": 0,
        "Frames received": 0,
        "Percentage": 0.0,
        "TCP ports": Table(limits["station_tcp_ports"], tcp_port_row, ledgers["tcp"]),
        "UDP ports": Table(limits["station_udp_ports"], udp_port_row, ledgers["udp"]),
        "VLAN ID": "",
    }


def protocol_row(protocol):
    return {
        "Protocol ID": id_text(protocol),
        "Data transmitted": 0,
        "Frames transmitted": 0,
        "Average frame size": 0,
        "Percentage": 0.0,
    }


def connection_row(source, destination):
    return {
        "Source": source,
        "Destination": destination,
        "Data transmitted": 0,
        "Frames transmitted": 0,
        "Average frame size": 0,
        "Percentage": 0.0,
    }


def mac_connection_row(pair):
    return connection_row(*map(mac_text, pair))


def ip_connection_row(pair):
    return connection_row(*map(ip_text, pair))


def arp_row(ip, mac):
    return {"MAC address": mac_text(mac), "IP address": ip_text(ip)}


def subprotocol_row(protocol):
    return {
        "IP subprotocol ID": id_text(protocol),
        "Data transmitted": 0,
        "Frames transmitted": 0,
    }


def port_row(name, port):
    return {
        name: id_text(port),
        "Data transmitted": 0,
        "Frames transmitted": 0,
        "Data received": 0,
        "Frames received": 0,
    }


def tcp_port_row(port):
    return port_row("TCP port", port)


def udp_port_row(port):
    return port_row("UDP port", port)


def frame_table(names):
    return {name: {"Name": name, "Frames": 0, "Data": 0, "Percentage": 0.0} for name in names}


def new_tree(limits, station_ledgers):
    """The whole tree in the order of its ids, all counters zero."""
    return {
        "Global statistics": {
            "Sample number": 0,
            "Global transmitted data": 0,
            "Global transmitted frames": 0,
            "Current network utilisation": 0.0,
            "Average network utilisation": 0.0,
            "Peak network utilisation": 0.0,
        },
        "Global errors": {
            "Hardware overflows": 0,
            "Software overflows": 0,
            "Accuracy": 0.0,
            "CRC errors": 0,
            "Alignment errors": 0,
            "Single collisions": 0,
            "Multiple collisions": 0,
            "Deferred": 0,
            "Max collisions": 0,
            "Receive overruns": 0,
            "Hartbeat failure": 0,
            "Carrier lost": 0,
            "Late collisions": 0,
        },
        "Global filter": {
            "Filtered frames": 0,
            "Accepted frames": 0,
            "Rejected frames": 0,
            "Accepted frames in last sample": 0,
            "Rejected frames in last sample": 0,
        },
        "Frame tables": {
            "Frame types": frame_table(("Broadcast", "Multicast", "Unicast")),
            "Frame sizes": frame_table(("<= 64 B", "64 - 128 B", "128 - 256 B", "256 - 512 B",
                                        "512 - 1024 B", "> 1024 B")),
        },
        "Network stations": Table(limits["stations"],
                                  lambda address: station_row(address, limits, station_ledgers)),
        "Network protocols": Table(limits["protocols"], protocol_row),
        "MAC traffic": Table(limits["mac_traffic"], mac_connection_row),
        "IP traffic": Table(limits["ip_traffic"], ip_connection_row),
        "ARP connections": Table(limits["arp"], arp_row),
        "IP subprotocols": Table(limits["ip_protocols"], subprotocol_row),
        "IP ports": {
            "TCP ports": Table(limits["tcp_ports"], tcp_port_row),
            "UDP ports": Table(limits["udp_ports"], udp_port_row),
        },
    }


def add(row, frames_column, data_column, size):
    """Frame counts wrap at 32 bits unsigned, data at 64 bits signed."""
    row[frames_column] = (row[frames_column] + 1) & 0xFFFFFFFF
    row[data_column] = (row[data_column] + size + 2**63) % 2**64 - 2**63


def add_transmitted(row, size):
    add(row, "Frames transmitted", "Data transmitted", size)


def add_received(row, size):
    add(row, "Frames received", "Data received", size)


# ---------------------------------------------------------------- the pass


class Counter:
    """Takes frame after frame into one tree.

    `enabled` holds the numbers of the enabled groups, 1 to 9. `port_ranges`
    has one inclusive (low, high) for TCP and one for UDP.

    Stations, protocols and both connection tables are renewed by every frame
    that they count, so they lose the row that was idle longest. Ports,
    sub-protocols and ARP keep the order of creation and lose their first row.
    """

    def __init__(self, enabled, port_ranges, limits=None):
        self.enabled = enabled
        self.port_ranges = port_ranges
        self.frames = 0
        self.limits = STANDARD_LIMITS if limits is None else limits
        # Of the ports of all stations, those that were given up included.
        self.station_ledgers = {"tcp": Ledger(), "udp": Ledger()}
        self.tree = new_tree(self.limits, self.station_ledgers)

    def count(self, frame):
        media = analyze_media(frame)
        size = (frame.wire_length & 0xFFFF) + OVERHEAD
        broadcast = media.destination == b"\xff" * 6
        unicast = not media.destination[0] & 1
        packet = None

        self.frames += 1
        self.count_globally(size)
        if 4 in self.enabled:
            self.count_type(broadcast, unicast, size)
            self.count_size(size)
        if 6 in self.enabled:
            self.count_protocol(media, size)
        if 8 in self.enabled and unicast and media.protocol == IP:
            packet = read_ip(frame, media.network_offset)
            self.count_ip_connection(packet, size)
            self.count_subprotocol(packet, size)
            self.count_ports(packet, size)
        if 5 in self.enabled:
            self.count_source_station(media, packet, size)
        if 5 in self.enabled and unicast:
            self.count_destination_station(media, packet, size)
        if (5 in self.enabled or 7 in self.enabled) and unicast:
            self.count_mac_connection(media, size)
        if packet is None and media.protocol == ARP:
            self.learn_from_arp(frame, media.network_offset)

    def count_globally(self, size):
        add(self.tree["Global statistics"], "Global transmitted frames", "Global transmitted data",
            size)

    def count_type(self, broadcast, unicast, size):
        name = "Unicast" if unicast else "Broadcast" if broadcast else "Multicast"
        add(self.tree["Frame tables"]["Frame types"][name], "Frames", "Data", size)

    def count_size(self, size):
        limits = ((64, "<= 64 B"), (128, "64 - 128 B"), (256, "128 - 256 B"),
                  (512, "256 - 512 B"), (1024, "512 - 1024 B"))
        name = next((name for limit, name in limits if size <= limit), "> 1024 B")
        add(self.tree["Frame tables"]["Frame sizes"][name], "Frames", "Data", size)

    def count_protocol(self, media, size):
        """Every frame has a row here, whatever its protocol."""
        self.count_renewing("Network protocols", media.protocol, size)

    def count_ip_connection(self, packet, size):
        self.count_renewing("IP traffic", (packet.source, packet.destination), size)

    def count_mac_connection(self, media, size):
        self.count_renewing("MAC traffic", (media.source, media.destination), size)

    def count_renewing(self, table_name, key, size):
        table = self.tree[table_name]
        add_transmitted(table.find_or_create(key), size)
        table.renew(key)

    def count_subprotocol(self, packet, size):
        add_transmitted(self.tree["IP subprotocols"].find_or_create(packet.protocol), size)

    def count_ports(self, packet, size):
        self.count_source_port(self.tree["IP ports"], packet, size)
        self.count_destination_port(self.tree["IP ports"], packet, size)

    def count_source_station(self, media, packet, size):
        """Group addresses have a real sender too, so every frame comes here."""
        stations = self.tree["Network stations"]
        station = stations.find_or_create(media.source)
        add_transmitted(station, size)
        if media.format in (TAGGED_ETHERNET_II, TAGGED_802_3):
            # The low byte of the VLAN number only; a later untagged frame leaves it.
            station["VLAN ID"] = str(media.vlan_tag[1])
        stations.renew(media.source)
        if packet is not None:
            self.count_source_port(station, packet, size)

    def count_destination_station(self, media, packet, size):
        stations = self.tree["Network stations"]
        station = stations.find_or_create(media.destination)
        add_received(station, size)
        stations.renew(media.destination)
        if packet is not None:
            self.count_destination_port(station, packet, size)

    def count_source_port(self, owner, packet, size):
        ports = self.port_table(owner, packet.protocol, packet.source_port)
        if ports is not None:
            add_transmitted(ports.find_or_create(packet.source_port), size)

    def count_destination_port(self, owner, packet, size):
        ports = self.port_table(owner, packet.protocol, packet.destination_port)
        if ports is not None:
            add_received(ports.find_or_create(packet.destination_port), size)

    def port_table(self, owner, protocol, port):
        """The table of the owner that takes the port; None if no table does."""
        if protocol not in self.port_ranges:
            return None
        low, high = self.port_ranges[protocol]
        if not low <= port <= high:
            return None
        return owner["TCP ports" if protocol == TCP else "UDP ports"]

    def learn_from_arp(self, frame, header):
        """The lengths in the header place the addresses, but six bytes of a
        hardware address and four of a protocol address are taken always."""
        hlen, plen = frame.byte(header + 4), frame.byte(header + 5)
        opcode = frame.word(header + 6)
        if frame.word(header + 2) != IP or opcode not in (ARP_REQUEST, ARP_REPLY):
            return
        sender = header + 8
        target = sender + hlen + plen
        sender_ip = frame.bytes(sender + hlen, 4)
        if any(sender_ip):  # 0 is a probe for an address
            self.learn_binding(sender_ip, frame.bytes(sender, 6))
        if opcode == ARP_REPLY:  # a request asks for the target, a reply knows it
            self.learn_binding(frame.bytes(target + hlen, 4), frame.bytes(target, 6))

    def learn_binding(self, ip, mac):
        """The first binding seen for an address stays."""
        table = self.tree["ARP connections"]
        if table.create_if_new(ip, mac) is None:
            table.delete_oldest()
            table.create_if_new(ip, mac)


# ---------------------------------------------------------------- the sample

LEAST_TIME = 10 * 10000  # ticks: a sample is never taken earlier after the zero point
TICKS_PER_MILLISECOND = 10000


def derive(tree, link_speed, start, end):
    """Fills in what one sample of the whole capture and its reader work out.

    The doubles must come out to the last bit, so the order of multiplying and
    dividing matters.
    """
    derive_global(tree["Global statistics"], link_speed, start, max(end, start + LEAST_TIME))
    frames = tree["Global statistics"]["Global transmitted frames"]
    # Nothing was lost; a capture that saw nothing has the accuracy 0.
    tree["Global errors"]["Accuracy"] = 100.0 if frames else 0.0
    if frames == 0:
        return

    base = float(frames)
    for table in tree["Frame tables"].values():
        for row in table.values():
            row["Percentage"] = stored_percentage(row["Frames"] * 100.0 / base)
    for row in tree["Network stations"].rows.values():
        both = (row["Frames transmitted"] + row["Frames received"]) & 0xFFFFFFFF
        row["Percentage"] = stored_percentage(both * 100.0 / base)
    for row in tree["Network protocols"].rows.values():
        # Divided first, unlike the others.
        row["Percentage"] = stored_percentage(row["Frames transmitted"] / base * 100.0)
        row["Average frame size"] = average_size(row)
    for name in ("MAC traffic", "IP traffic"):
        for row in tree[name].rows.values():
            row["Percentage"] = stored_percentage(row["Frames transmitted"] * 100.0 / base)
            row["Average frame size"] = average_size(row)


def derive_global(group, link_speed, start, end):
    """Utilisation as a fraction of the link; the clock tells whole milliseconds."""
    milliseconds = end // TICKS_PER_MILLISECOND - start // TICKS_PER_MILLISECOND
    seconds = float(milliseconds * TICKS_PER_MILLISECOND) * 1e-07
    data = float(group["Global transmitted data"])
    group["Sample number"] = 1
    if link_speed:
        utilisation = data / float(link_speed) / seconds
    else:
        utilisation = None  # a division by 0
    for name in ("Current", "Average", "Peak"):
        group[name + " network utilisation"] = utilisation


def stored_percentage(value):
    """A percentage that doesn't differ by a hundredth from the 0 it replaces stays 0."""
    return value if math.trunc(value * 100.0) != 0 else 0.0


def average_size(row):
    frames, data = row["Frames transmitted"], row["Data transmitted"]
    if frames == 0:
        return 0
    size = abs(data) // frames
    return (size if data >= 0 else -size) & 0xFFFFFFFF


def plain(node):
    """The tree as JSON takes it: tables become arrays, oldest row first."""
    if isinstance(node, Table):
        return [plain(row) for row in node.rows.values()]
    if isinstance(node, dict):
        return {name: plain(child) for name, child in node.items()}
    return node


# ---------------------------------------------------------------- capture files


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


# ---------------------------------------------------------------- the command


def port_range(text):
    low, dash, high = text.partition("-")
    if not (dash and low.isdigit() and high.isdigit()):
        raise argparse.ArgumentTypeError("%r isn't LOW-HIGH" % text)
    return int(low), int(high)


def rows_of(limits, text):
    """The limits with what one --rows says; a limit is one more than the rows."""
    if text == "standard":
        return dict(STANDARD_LIMITS)
    name, sign, count = text.partition("=")
    if not (sign and count.isdigit() and 1 <= int(count) <= 65534):
        raise argparse.ArgumentTypeError("%r isn't TABLE=N" % text)
    if name != "all" and name not in limits:
        raise argparse.ArgumentTypeError("there is no table %r" % name)
    return {table: int(count) + 1 if table == name or name == "all" and not table.startswith("station_") else limit
            for table, limit in limits.items()}


def parse_arguments():
    parser = argparse.ArgumentParser(description="Count an Ethernet capture.")
    parser.add_argument("file", metavar="FILE")
    parser.add_argument("--tcp-ports", type=port_range, default=(1, 1024), metavar="LOW-HIGH")
    parser.add_argument("--udp-ports", type=port_range, default=(1, 1024), metavar="LOW-HIGH")
    parser.add_argument("--enable", action="append", metavar="OID",
                        choices=["1.%d" % group for group in range(1, 10)] + ["none"],
                        help="1.1 to 1.9, may be repeated, or none; all by default")
    parser.add_argument("--link-speed", type=int, default=0, metavar="BITS")
    parser.add_argument("--rows", action="append", default=[], metavar="TABLE=N")
    arguments = parser.parse_args()
    arguments.limits = dict(STANDARD_LIMITS)
    for text in arguments.rows:
        arguments.limits = rows_of(arguments.limits, text)
    if arguments.enable is None:
        arguments.enabled = set(range(1, 10))
    else:
        arguments.enabled = {int(oid[2:]) for oid in arguments.enable if oid != "none"}
    return arguments


def count_file(arguments):
    """The counter, and the stamps of all frames from the first to the last."""
    counter = Counter(arguments.enabled, {TCP: arguments.tcp_ports, UDP: arguments.udp_ports},
                      arguments.limits)
    with open(arguments.file, "rb") as file:
        data = file.read()
    stamps = []
    for frame in read_frames(data):
        stamps.append(frame.ticks)
        counter.count(frame)
    return counter, stamps


def main():
    arguments = parse_arguments()
    try:
        counter, stamps = count_file(arguments)
    except (OSError, CaptureError) as error:
        print("count.py: %s: %s" % (arguments.file, error), file=sys.stderr)
        return 2
    # The link's bytes per second stand in 32 bits.
    derive(counter.tree, min(arguments.link_speed // 8, 2**31 - 1), stamps[0] if stamps else 0,
           stamps[-1] if stamps else 0)
    json.dump({"frames": counter.frames, "statistics": plain(counter.tree)}, sys.stdout)
    print()
    return 0


if __name__ == "__main__":
    sys.exit(main())
