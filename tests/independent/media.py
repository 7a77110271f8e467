#!/usr/bin/env python3
"""Frames of other media than Ethernet, taken apart and counted by themselves, and `ketmon read` held against that.

    media.py FILE_OR_FOLDER COMMAND...      the capture named, or those in the folder

COMMAND runs ketmon. IP traffic is held against conversations.json in the folder, too, if that is there. Exit 0 if every file counts alike, 1 if not. A run that compares nothing fails.

`analyze` gives what a medium tells of a frame, for whoever counts more of it.
"""

import collections
import ipaddress
import json
import pathlib
import struct
import subprocess
import sys

import jsonschema

SCHEMA = pathlib.Path(__file__).resolve().parent.parent.parent / "docs" / "json.schema.json"
UNICAST, MULTICAST, BROADCAST = "unicast", "multicast", "broadcast"
IPV4, IPV6, IPX, ARP = 0x0800, 0x86DD, 0x8137, 0x0806
TAGS = (0x8100, 0x88A8, 0x9100)
NAMES = {0: "null", 9: "ppp", 50: "ppp_hdlc", 101: "raw", 108: "loop", 113: "linux_sll", 228: "ipv4", 229: "ipv6",
         276: "linux_sll2"}

# The protocol as a number, 0 for none; where its header begins; to whom the frame goes; the sender, or None.
Medium = collections.namedtuple("Medium", "protocol network_offset cast source")


class Bytes:
    """Those that were captured; zeros behind them."""

    def __init__(self, captured):
        self.captured = captured

    def take(self, offset, count):
        return self.captured[offset:offset + count].ljust(count, b"\0")

    def number(self, offset, count):
        return int.from_bytes(self.take(offset, count), "big")


def link_type_of(number):
    """Raw IP has two more numbers on some systems."""
    return 101 if number in (12, 14) else number


def of_length(data, payload):
    """Protocol and header behind what would be the length of an 802.3 frame."""
    if data.take(payload, 2) == b"\xff\xff":
        return IPX, payload
    if data.take(payload, 3) == b"\xaa\xaa\x03":
        return data.number(payload + 6, 2), payload + 8
    return data.number(payload, 1), payload + 3


def cooked(data, packet_type, hardware, address_length, address, protocol, payload):
    cast = {1: BROADCAST, 2: MULTICAST}.get(packet_type, UNICAST)
    source = data.take(address, 6) if address_length == 6 else None
    if hardware in (770, 803, 824):  # frame relay, radio headers, netlink
        return Medium(0, payload, cast, source)
    tagged = protocol in TAGS
    while protocol in TAGS:
        protocol = data.number(payload + 2, 2)
        payload += 4
    if protocol < 0x600:
        if tagged or protocol == 4:
            protocol, payload = of_length(data, payload)
        else:
            protocol = IPX if protocol == 1 else 0
    return Medium(protocol, payload, cast, source)


def linux_sll(data):
    return cooked(data, data.number(0, 2), data.number(2, 2), data.number(5, 1), 6, data.number(14, 2), 16)


def linux_sll2(data):
    return cooked(data, data.number(10, 1), data.number(8, 2), data.number(11, 1), 12, data.number(0, 2), 20)


def loopback(data):
    families = {struct.pack(order + "I", family): protocol
                for order in "<>" for family, protocol in ((2, IPV4), (24, IPV6), (28, IPV6), (30, IPV6))}
    return Medium(families.get(data.take(0, 4), 0), 4, UNICAST, None)


def ppp(data):
    place = 2 if data.take(0, 2) == b"\xff\x03" else 0
    size = 1 if data.number(place, 1) % 2 else 2
    protocol = {0x21: IPV4, 0x57: IPV6}.get(data.number(place, size), 0)
    return Medium(protocol, place + size, UNICAST, None)


def raw(data):
    return Medium({4: IPV4, 6: IPV6}.get(data.number(0, 1) // 16, 0), 0, UNICAST, None)


MEDIA = {0: loopback, 9: ppp, 50: ppp, 101: raw, 108: loopback, 113: linux_sll, 276: linux_sll2,
         228: lambda data: Medium(IPV4, 0, UNICAST, None), 229: lambda data: Medium(IPV6, 0, UNICAST, None)}


def analyze(link_type, captured):
    return MEDIA[link_type_of(link_type)](Bytes(captured))


# ---------------------------------------------------------------- files


def frames(content):
    """Link type, captured bytes and length on the wire of every frame."""
    return blocks(content) if content[:4] == b"\n\r\r\n" else records(content)


def records(content):
    order = "<" if content[:4] in (b"\xd4\xc3\xb2\xa1", b"\x4d\x3c\xb2\xa1") else ">"
    link_type = struct.unpack_from(order + "I", content, 20)[0] & 0xFFFF
    place = 24
    while place < len(content):
        captured, length = struct.unpack_from(order + "II", content, place + 8)
        yield link_type, content[place + 16:place + 16 + captured], length
        place += 16 + captured


def blocks(content):
    order = "<" if content[8:12] == b"\x4d\x3c\x2b\x1a" else ">"
    interfaces = []
    place = 0
    while place < len(content):
        kind, size = struct.unpack_from(order + "II", content, place)
        if kind == 1:
            interfaces.append(struct.unpack_from(order + "H", content, place + 8)[0])
        elif kind == 6:
            interface, captured, length = struct.unpack_from(order + "I8xII", content, place + 8)
            yield interfaces[interface], content[place + 28:place + 28 + captured], length
        place += size


# ---------------------------------------------------------------- counting


class Counts:
    def __init__(self):
        self.tables = collections.defaultdict(lambda: collections.defaultdict(lambda: [0, 0]))
        self.arp = {}

    def add(self, table, key, size):
        row = self.tables[table][key]
        row[0] += 1
        row[1] += size

    def count(self, link_type, captured, length):
        data = Bytes(captured)
        medium = analyze(link_type, captured)
        size = length % 65536
        self.add("totals", "", size)
        self.add("frame_types", medium.cast, size)
        limits = (("<= 64 B", 64), ("64 - 128 B", 128), ("128 - 256 B", 256), ("256 - 512 B", 512),
                  ("512 - 1024 B", 1024))
        self.add("frame_sizes", next((name for name, limit in limits if size <= limit), "> 1024 B"), size)
        self.add("protocols", medium.protocol, size)
        if medium.protocol == IPV4:
            if medium.cast == UNICAST:
                self.count_ip(data, medium.network_offset, size)
        elif medium.protocol == ARP:
            self.learn(data, medium.network_offset)

    def count_ip(self, data, header, size):
        def address(place):
            return str(ipaddress.IPv4Address(data.take(header + place, 4)))

        self.add("ip_traffic", (address(12), address(16)), size)
        number = data.number(header + 9, 1)
        self.add("ip_protocols", number, size)
        table = {6: "tcp_ports", 17: "udp_ports"}.get(number)
        transport = header + data.number(header, 1) % 16 * 4
        for way, place in (("sent", 0), ("received", 2)):
            port = data.number(transport + place, 2)
            if table and 1 <= port <= 1024:
                self.add(table, (port, way), size)

    def learn(self, data, header):
        if data.number(header + 2, 2) != IPV4 or data.number(header + 6, 2) not in (1, 2):
            return
        sender = data.number(header + 4, 1)
        ends = [header + 8] if data.number(header + 6, 2) == 1 else [header + 8, header + 8 + sender + 4]
        for end in ends:
            address = data.take(end + sender, 4)
            if any(address):
                self.arp.setdefault(str(ipaddress.IPv4Address(address)), data.take(end, 6).hex(":"))


def sent(row):
    return [row["frames"], row["bytes"]]


def told(document):
    """What ketmon tells, in the form of the count."""
    tables = document["tables"]
    result = {"totals": {"": [document["totals"]["frames"], document["totals"]["bytes"]]}}
    result["frame_types"] = {row["type"]: sent(row) for row in tables["frame_types"]["rows"] if row["frames"]}
    result["frame_sizes"] = {row["name"]: sent(row) for row in tables["frame_sizes"]["rows"] if row["frames"]}
    result["protocols"] = {row["protocol"]: sent(row) for row in tables["protocols"]["rows"]}
    result["ip_traffic"] = {(row["source"], row["destination"]): sent(row) for row in tables["ip_traffic"]["rows"]}
    result["ip_protocols"] = {row["protocol"]: sent(row) for row in tables["ip_protocols"]["rows"]}
    for name in ("tcp_ports", "udp_ports"):
        result[name] = {(row["port"], way): [row["frames_" + way], row["bytes_" + way]]
                        for row in tables[name]["rows"] for way in ("sent", "received") if row["frames_" + way]}
    return result


def check(path, ketmon):
    """What differs, a line each."""
    counts = Counts()
    link_types = []
    for link_type, captured, length in frames(path.read_bytes()):
        counts.count(link_type, captured, length)
        link_types.append(link_type_of(link_type))
    output = subprocess.run([*ketmon, "read", "-q", "--json", str(path)], check=True, capture_output=True, text=True)
    document = json.loads(output.stdout)
    jsonschema.validate(document, json.loads(SCHEMA.read_text()))
    theirs = told(document)
    found = []
    for name in theirs:
        ours = {key: list(row) for key, row in counts.tables[name].items()}
        if ours != theirs[name]:
            found.append(f"{name}: counted {ours}, told {theirs[name]}")
    bindings = {row["address"]: row["mac_address"] for row in document["tables"]["arp"]["rows"]}
    if bindings != counts.arp:
        found.append(f"arp: counted {counts.arp}, told {bindings}")
    beside = path.parent / "conversations.json"  # what tshark says of it
    if beside.exists():
        pairs = {" ".join(pair): row for pair, row in theirs["ip_traffic"].items()}
        expected = json.loads(beside.read_text())[path.name]
        if pairs != expected:
            found.append(f"ip_traffic: tshark has {expected}, told {pairs}")
    for name in ("stations", "mac_traffic", "vlans", "inner_vlans"):
        if document["tables"][name]["rows"] is not None:
            found.append(f"{name}: has rows, though no medium tells both addresses, and tags count of Ethernet alone")
    if document["source"]["link_type"] != NAMES[link_types[0]]:
        found.append(f"link type: {document['source']['link_type']} instead of {NAMES[link_types[0]]}")
    return len(link_types), found


def main():
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    path, ketmon = pathlib.Path(sys.argv[1]), sys.argv[2:]
    files = [path] if path.is_file() else sorted(file for file in path.iterdir() if file.suffix in (".pcap", ".pcapng"))
    compared = failed = 0
    for file in files:
        count, found = check(file, ketmon)
        compared += count
        failed += bool(found)
        for line in found:
            print(f"{file.name}: {line}")
    print(f"{compared} frames of {len(files)} captures counted, {failed} captures differ")
    return 0 if compared and not failed else 1


if __name__ == "__main__":
    sys.exit(main())
