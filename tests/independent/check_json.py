#!/usr/bin/env python3
"""Checks the JSON that ketmon writes against docs/json.schema.json and against totals.

    check_json.py [--trees N] FILE_OR_FOLDER COMMAND...     the capture named, or those in the folder
    check_json.py [--trees N] --generate COMMAND...         captures made by generate.py
    check_json.py --lines          lines of `ketmon console --json` on the standard input: schema alone

COMMAND runs ketmon, which shows N trees; TREES in counting/command.py unless it is told. Of every capture
`read --json` is checked, with the usual rows and with so few that tables give rows up, and what `show --json` makes of
its snapshot. The totals are worked out here from the bytes of the file, and for every table what its rows show and what
it gave up must come to them. Where a folder has expected/NAME.json, the totals of another tool are held against them
too.

Exit 0 if all is as it must be, 1 if not. A run that checks nothing fails.
"""

import json
import pathlib
import subprocess
import sys
import tempfile

import jsonschema

from another_tool import differences, expectation
from counting import transport
from counting.capture_file import read_frames
from counting.command import trees_told
from counting.figures import moment
from counting.first_pass import TCP, UDP, read_ip
from counting.frame import IP, IPV6, OVERHEAD, Packet, analyze_media
from counting.second_tree import TUNNELS
from counting.signals import tunnel
from counting.vlans import outer_and_inner

HERE = pathlib.Path(__file__).resolve().parent
SCHEMA = HERE.parent.parent / "docs" / "json.schema.json"

LIMITS = [[], ["--rows", "standard"], ["--rows", "all=5", "--rows", "station_tcp_ports=1"]]
PORTS = range(1, 1025)

WAYS = (("frames_sent", "bytes_sent"), ("frames_received", "bytes_received"))


class Sum:
    """Frames and their bytes."""

    def __init__(self, frames=0, size=0):
        self.frames = frames
        self.bytes = size

    def add(self, size):
        self.frames += 1
        self.bytes += size

    def __eq__(self, other):
        return (self.frames, self.bytes) == (other.frames, other.bytes)

    def __repr__(self):
        return f"{self.frames} frames, {self.bytes} bytes"


class Totals:
    """What is in a capture, without any table."""

    def __init__(self, path):
        self.all = Sum()
        self.unicast = Sum()
        self.ip = Sum()
        self.ports = no_ports()
        self.second = SecondTotals()
        stamps = []
        for frame in read_frames(path.read_bytes()):
            stamps.append(frame.ticks)
            self.take(frame)
        self.first = moment(min(stamps, default=None))
        self.last = moment(max(stamps, default=None))

    def take(self, frame):
        media = analyze_media(frame)
        size = (frame.wire_length & 0xFFFF) + OVERHEAD
        self.all.add(size)
        self.second.take(frame, media, size)
        if media.destination[0] & 1:
            return
        self.unicast.add(size)
        if media.protocol != IP:
            return
        self.ip.add(size)
        packet = read_ip(frame, media.network_offset)
        add_ports(self.ports, packet.protocol, (packet.source_port, packet.destination_port), size)


class SecondTotals:
    def __init__(self):
        self.ipv6 = Sum()
        self.ports = no_ports()
        self.outer = Sum()
        self.inner = Sum()
        self.tunnels = {text: Sum() for text in TUNNELS.values()}

    def take(self, frame, media, size):
        packet = Packet(frame, media.network_offset)
        carried = transport.read(packet, media.protocol)
        for identifier, total in zip(outer_and_inner(frame), (self.outer, self.inner)):
            if identifier is not None:
                total.add(size)
        kind = tunnel(packet, media.protocol, carried)
        if kind is not None:
            self.tunnels[TUNNELS[kind]].add(size)
        if media.protocol != IPV6 or media.destination[0] & 1:
            return
        self.ipv6.add(size)
        if carried.payload is not None and packet.has(carried.payload, 4):
            ports = (packet.word(carried.payload), packet.word(carried.payload + 2))
            add_ports(self.ports, carried.number, ports, size)


def no_ports():
    return {(kind, way): Sum() for kind in (TCP, UDP) for way in (0, 1)}


def add_ports(sums, kind, ports, size):
    for way, port in enumerate(ports):
        if kind in (TCP, UDP) and port in PORTS:
            sums[kind, way].add(size)


def shown(rows, given_up, columns):
    """What rows show together with what their table gave up."""
    frames, size = columns
    result = Sum(given_up[frames], given_up[size])
    for row in rows:
        result.frames += row[frames]
        result.bytes += row[size]
    return result


def sums(document, totals):
    """(what it is about, what is shown, what must be)"""
    tables = document["tables"]
    one_way = ("frames", "bytes")
    nothing = dict.fromkeys(one_way, 0)
    yield "totals", Sum(document["totals"]["frames"], document["totals"]["bytes"]), totals.all
    for name, expected in (("frame_types", totals.all), ("frame_sizes", totals.all), ("protocols", totals.all),
                           ("mac_traffic", totals.unicast), ("ip_traffic", totals.ip), ("ip_protocols", totals.ip)):
        yield name, shown(tables[name]["rows"], tables[name].get("given_up", nothing), one_way), expected
    stations = tables["stations"]
    for way, (columns, expected) in enumerate(zip(WAYS, (totals.all, totals.unicast))):
        yield f"stations {columns[0]}", shown(stations["rows"], stations["given_up"], columns), expected
        for key, kind in (("tcp_ports", TCP), ("udp_ports", UDP)):
            expected_ports = totals.ports[kind, way]
            yield f"{key} {columns[0]}", shown(tables[key]["rows"], tables[key]["given_up"], columns), expected_ports
            rows = [port for row in stations["rows"] for port in row[key]]
            yield (f"stations {key} {columns[0]}", shown(rows, stations[key + "_given_up"], columns), expected_ports)
    # Both ways together are what they are alone.
    for name in ("stations", "tcp_ports", "udp_ports"):
        gone = tables[name]["given_up"]
        yield (f"{name} given_up", Sum(gone["frames"], gone["bytes"]),
               Sum(gone["frames_sent"] + gone["frames_received"], gone["bytes_sent"] + gone["bytes_received"]))


def sums_of_the_second(document, totals):
    tables, second = document["tables"], totals.second
    one_way = ("frames", "bytes")
    for name, expected in (("ipv6_traffic", second.ipv6), ("ipv6_protocols", second.ipv6), ("vlans", second.outer),
                           ("inner_vlans", second.inner)):
        yield name, shown(tables[name]["rows"], tables[name]["given_up"], one_way), expected
    for name, kind in (("ipv6_tcp_ports", TCP), ("ipv6_udp_ports", UDP)):
        for way, columns in enumerate(WAYS):
            table = tables[name]
            yield f"{name} {columns[0]}", shown(table["rows"], table["given_up"], columns), second.ports[kind, way]
    for row in tables["tunnels"]["rows"]:
        yield f"tunnels {row['name']}", Sum(row["frames"], row["bytes"]), second.tunnels[row["name"]]


def outside(document):
    """Tables with more rows than they may have, and rows out of count."""
    for name, table in document["tables"].items():
        if len(table["rows"]) != table["row_count"] or len(table["rows"]) > table.get("limit", 17):
            yield f"{name} has {len(table['rows'])} rows, and says {table['row_count']}"


def complaints(document, totals, validator, trees):
    for error in validator.iter_errors(document):
        yield f"{'/'.join(map(str, error.absolute_path))}: {error.message}"
        return
    wanted = list(sums(document, totals))
    if trees == 2:
        wanted += sums_of_the_second(document, totals)
    for about, found, expected in wanted:
        if found != expected:
            yield f"{about}: {found} instead of {expected}"
    for key, expected in (("zero", totals.first), ("time", totals.last)):
        if document[key] != expected:
            yield f"{key}: {document[key]} instead of {expected}"
    yield from outside(document)


def against_another_tool(capture, document, trees):
    second = expectation(capture)
    # With few rows some are given up, and not shown.
    given_up = [table["given_up"]["rows"] for table in document["tables"].values() if "given_up" in table]
    if trees == 2 and second is not None and not any(given_up):
        yield from differences(second, document)
    expected = capture.parent / "expected" / (capture.stem + ".json")
    if not expected.exists():
        return
    theirs = json.loads(expected.read_text())
    ours = {"frames": document["totals"]["frames"], "bytes": document["totals"]["bytes"]}
    for key, table in (("types", "frame_types"), ("sizes", "frame_sizes")):
        ours[key] = {row["name"]: [row["frames"], row["bytes"]] for row in document["tables"][table]["rows"]}
    if ours != theirs:
        yield f"{ours} instead of {theirs}"


def checked(capture, ketmon, validator, trees, folder):
    """(options, complaint) for each that there is."""
    totals = Totals(capture)
    saved = folder / "snapshot"
    for limits in LIMITS:
        read = json.loads(run([*ketmon, "read", "-q", "--json", str(capture), "--save-snapshot", str(saved), *limits]))
        show = json.loads(run([*ketmon, "show", "--json", str(saved)]))
        for complaint in [*complaints(read, totals, validator, trees), *against_another_tool(capture, read, trees)]:
            yield limits, complaint
        for complaint in complaints(show, totals, validator, trees):
            yield ["show", *limits], complaint
        if read["tables"] != show["tables"]:
            yield ["show", *limits], "the tables differ from what was read"


def run(command):
    result = subprocess.run(command, capture_output=True, text=True)
    if result.returncode != 0:
        raise RuntimeError(f"{' '.join(command)}: exit {result.returncode}: {result.stderr.strip()}")
    return result.stdout


def check_lines(validator):
    lines = failed = 0
    for lines, line in enumerate(sys.stdin, 1):
        for error in validator.iter_errors(json.loads(line)):
            failed += 1
            print(f"line {lines}: {'/'.join(map(str, error.absolute_path))}: {error.message}")
            break
    print(f"{lines} lines checked, {failed} are wrong")
    return 0 if lines and not failed else 1


def main():
    schema = json.loads(SCHEMA.read_text())
    jsonschema.Draft202012Validator.check_schema(schema)
    validator = jsonschema.Draft202012Validator(schema)
    if sys.argv[1:] == ["--lines"]:
        return check_lines(validator)
    trees, arguments = trees_told(sys.argv[1:])
    if len(arguments) < 2:
        sys.exit(__doc__)
    source, *ketmon = arguments
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        path = pathlib.Path(source)
        if source == "--generate":
            path = folder / "generated"
            run([sys.executable, str(HERE / "generate.py"), str(path)])
        captures = [path]
        if path.is_dir():
            captures = sorted(file for file in path.iterdir() if file.suffix in (".pcap", ".pcapng"))
        failed = 0
        for capture in captures:
            for options, complaint in checked(capture, ketmon, validator, trees, folder):
                failed += 1
                print(f"{capture.name} {' '.join(options)}: {complaint}")
        print(f"{len(captures)} captures checked, {failed} complaints")
        return 0 if captures and not failed else 1


if __name__ == "__main__":
    sys.exit(main())
