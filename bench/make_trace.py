#!/usr/bin/env python3
"""Builds a large capture to measure with from the frames of the bundled ones.

The output is a classic little-endian microsecond pcap, link type Ethernet.
Runs of consecutive frames are taken in turn from the source captures, chosen
by weight, each source continuing where its last run ended and starting again
at its end. The same captures and options always give the same bytes.

  --frames N   frames to write                                (2000000)
  --seed S     seed of the run order and of the flow choice   (1)
  --flows F    0: addresses stay as captured (default). F > 0: every unicast
               IPv4 frame gets the addresses of one of F directed IP pairs,
               drawn with Zipf weights (pair k has weight 1 / k**zipf), and
               the two MAC addresses that belong to those hosts. Pairs come
               two by two: A to B, then B to A. IP, TCP and UDP checksums are
               adjusted, so a right one stays right and a wrong one wrong.
               Group-addressed, IPv6, ARP and LLC frames stay as captured.
  --ip V       4 or 6, with --flows: nothing but the frames that get a pair,
               without fragments; with 6 an IPv6 header stands in the place of
               the other one, and what follows stays, checksums too. So both
               traces have the same pairs, protocols and ports in one order.
  --out FILE   file to write
"""
import argparse
import bisect
import hashlib
import itertools
import math
import os
import random
import struct
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
CAPTURES = os.path.join(HERE, "..", "tests", "captures")

# Source capture -> share of the runs.
WEIGHTS = [
    ("internet-mixed.pcap", 60),
    ("jumbo-ssh.pcap", 8),
    ("file-service-fragments.pcap", 8),
    ("truncated-snaplen.pcap", 6),
    ("many-connections.pcap", 6),
    ("offload-directory.pcapng", 4),
    ("llc-snap-ipx-vlan.pcap", 3),
    ("multicast-ip-options.pcap", 3),
    ("many-stations-arp.pcap", 2),
]
RUN_MIN, RUN_MAX = 8, 64
START = 1577836800 * 1000000        # 2020-01-01T00:00:00Z in microseconds
SNAPLEN = 65535
VLAN_TYPES = (0x8100, 0x88A8, 0x9100)


def read_pcap(data):
    magics = {b"\xd4\xc3\xb2\xa1": "<", b"\x4d\x3c\xb2\xa1": "<",
              b"\xa1\xb2\xc3\xd4": ">", b"\xa1\xb2\x3c\x4d": ">"}
    end = magics[data[:4]]
    if struct.unpack_from(end + "I", data, 20)[0] & 0xFFFF != 1:
        raise ValueError("link type is not Ethernet")
    at = 24
    while at + 16 <= len(data):
        _, _, cap, wire = struct.unpack_from(end + "IIII", data, at)
        at += 16
        yield wire, data[at:at + cap]
        at += cap


def read_pcapng(data):
    at, end, links = 0, "<", []
    while at + 12 <= len(data):
        if data[at:at + 4] == b"\x0a\x0d\x0d\x0a":
            end = "<" if data[at + 8:at + 12] == b"\x4d\x3c\x2b\x1a" else ">"
            links = []
        kind, size = struct.unpack_from(end + "II", data, at)
        if kind == 1:
            links.append(struct.unpack_from(end + "H", data, at + 8)[0])
        elif kind == 6:
            iface, _, _, cap, wire = struct.unpack_from(end + "IIIII", data, at + 8)
            if links[iface] == 1:
                yield wire, data[at + 28:at + 28 + cap]
        at += size


def read_frames(path):
    with open(path, "rb") as file:
        data = file.read()
    reader = read_pcapng if data[:4] == b"\x0a\x0d\x0d\x0a" else read_pcap
    return [(wire, frame[:SNAPLEN]) for wire, frame in reader(data)
            if len(frame) >= 14 and wire <= SNAPLEN]


def words(data):
    """Sum of the big-endian 16-bit words."""
    return sum(struct.unpack(">%dH" % (len(data) // 2), data))


def fold(total):
    while total >> 16:
        total = (total & 0xFFFF) + (total >> 16)
    return total


class Template:
    """A frame, and where its addresses and checksums lie (ip < 0: nowhere)."""
    __slots__ = ("wire", "frame", "ip", "sums")

    def __init__(self, wire, frame):
        self.wire, self.frame, self.ip, self.sums = wire, frame, -1, ()
        if frame[0] & 1 or frame[6] & 1:
            return
        at = 12
        while struct.unpack_from(">H", frame, at)[0] in VLAN_TYPES and len(frame) >= at + 6:
            at += 4
        if struct.unpack_from(">H", frame, at)[0] != 0x0800 or len(frame) < at + 22:
            return
        ip = at + 2
        header = (frame[ip] & 15) * 4
        if frame[ip] >> 4 != 4 or header < 20 or frame[ip + 16] >= 224:
            return
        fields = [ip + 10]
        if struct.unpack_from(">H", frame, ip + 6)[0] & 0x1FFF == 0:
            proto = frame[ip + 9]
            if proto == 6:
                fields.append(ip + header + 16)
            elif proto == 17:
                fields.append(ip + header + 6)
        old = words(frame[ip + 12:ip + 20])
        sums = []
        for field in fields:
            if len(frame) < field + 2:
                continue
            value = struct.unpack_from(">H", frame, field)[0]
            if value == 0 and field != ip + 10:
                continue                    # no transport checksum was sent
            # ~HC + the complement of the old addresses; the new ones come later
            sums.append((field, (~value & 0xFFFF) + 8 * 0xFFFF - old))
        self.ip, self.sums = ip, tuple(sums)

    def with_flow(self, macs, addresses, total):
        out = bytearray(self.frame)
        out[0:12] = macs
        out[self.ip + 12:self.ip + 20] = addresses
        for field, base in self.sums:
            value = ~fold(base + total) & 0xFFFF
            if value == 0 and field != self.ip + 10:
                value = 0xFFFF              # 0 would say: no checksum
            struct.pack_into(">H", out, field, value)
        return out


    def is_whole(self):
        """A packet that is no fragment, of a pair."""
        return self.ip >= 0 and struct.unpack_from(">H", self.frame, self.ip + 6)[0] & 0x3FFF == 0


# 2001:db8:: and the address.
PREFIX = bytes((0x20, 0x01, 0x0D, 0xB8)) + bytes(8)
ICMP, ICMPV6 = 1, 58


def as_ipv6(frame, ip):
    """The frame with an IPv6 header in the place of its IPv4 one."""
    header = (frame[ip] & 15) * 4
    length = max(0, struct.unpack_from(">H", frame, ip + 2)[0] - header)
    protocol = ICMPV6 if frame[ip + 9] == ICMP else frame[ip + 9]
    return (bytes(frame[:ip - 2]) + struct.pack(">HIHBB", 0x86DD, 6 << 28, length, protocol, frame[ip + 8])
            + PREFIX + bytes(frame[ip + 12:ip + 16]) + PREFIX + bytes(frame[ip + 16:ip + 20])
            + bytes(frame[ip + header:]))


def make_flows(count, stations):
    """count directed pairs: (destination and source MAC, addresses, word sum)."""
    talks = (count + 1) // 2
    side = stations // 2 if stations else math.isqrt(talks - 1) + 1
    if side * side < talks:
        sys.exit("error: %d stations cannot hold %d IP pairs" % (stations, count))
    if side > 65536:
        sys.exit("error: too many stations")
    flows = []
    for talk in range(talks):
        client = talk % side
        server = (talk // side + client) % side
        hosts = [(struct.pack(">BBI", 2, 0, client), struct.pack(">I", 0x0A010001 + client)),
                 (struct.pack(">BBI", 2, 1, server), struct.pack(">I", 0xAC100001 + server))]
        for source, target in (hosts, hosts[::-1]):
            addresses = source[1] + target[1]
            flows.append((target[0] + source[0], addresses, words(addresses)))
    return flows[:count]


def main():
    parser = argparse.ArgumentParser(description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--frames", type=int, default=2000000)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--flows", type=int, default=0)
    parser.add_argument("--zipf", type=float, default=1.0, help="exponent (1.0)")
    parser.add_argument("--stations", type=int, default=0,
                        help="MAC addresses the flows share (0: about sqrt(2 * flows))")
    parser.add_argument("--snaplen", type=int, default=SNAPLEN,
                        help="cut frames to this many captured bytes (65535)")
    parser.add_argument("--mbps", type=int, default=1000,
                        help="line rate the timestamps follow (1000)")
    parser.add_argument("--exclude", action="append", default=[], metavar="NAME",
                        help="leave a source capture out (may be repeated)")
    parser.add_argument("--captures", default=CAPTURES, help="folder of the source captures")
    parser.add_argument("--ip", type=int, choices=(4, 6), help="nothing but IP of this version (all)")
    parser.add_argument("--out", required=True)
    args = parser.parse_args()
    if args.frames < 0 or args.flows < 0 or args.snaplen < 1 or args.mbps < 1:
        parser.error("--frames and --flows must not be negative, --snaplen and --mbps be at least 1")

    if args.ip and not args.flows:
        parser.error("--ip needs --flows")

    unknown = set(args.exclude) - {name for name, _ in WEIGHTS}
    if unknown:
        parser.error("--exclude: no source is named " + ", ".join(sorted(unknown)))
    weights = [(name, share) for name, share in WEIGHTS if name not in args.exclude]
    if not weights:
        parser.error("--exclude leaves no source")
    sources = []
    for name, _ in weights:
        frames = read_frames(os.path.join(args.captures, name))
        templates = [Template(wire, frame) for wire, frame in frames]
        sources.append([each for each in templates if not args.ip or each.is_whole()])
    if not all(sources):
        parser.error("--ip: a source has no such frames, leave it out with --exclude")
    cursors = [0] * len(sources)
    shares = list(itertools.accumulate(share for _, share in weights))

    # Only random() is used: its sequence is the same in every Python 3.
    order = random.Random(args.seed)
    draw = random.Random(args.seed + 1)
    flows = make_flows(args.flows, args.stations) if args.flows else []
    ranks = list(itertools.accumulate(
        (1.0 / k if args.zipf == 1.0 else k ** -args.zipf) for k in range(1, args.flows + 1)))

    digest = hashlib.sha256()
    now, left, total_wire, total_captured = START, args.frames, 0, 0
    with open(args.out, "wb") as out:
        block = struct.pack("<IHHiIII", 0xA1B2C3D4, 2, 4, 0, 0, SNAPLEN, 1)
        out.write(block)
        digest.update(block)
        while left > 0:
            which = bisect.bisect_right(shares, order.random() * shares[-1])
            run = min(left, RUN_MIN + int(order.random() * (RUN_MAX - RUN_MIN + 1)))
            source, cursor = sources[which], cursors[which]
            parts = []
            for _ in range(run):
                template = source[cursor]
                cursor = cursor + 1 if cursor + 1 < len(source) else 0
                if flows and template.ip >= 0:
                    pick = bisect.bisect_right(ranks, draw.random() * ranks[-1])
                    frame = template.with_flow(*flows[pick])
                else:
                    frame = template.frame
                wire = template.wire
                if args.ip == 6:
                    wire += 40 - (frame[template.ip] & 15) * 4
                    frame = as_ipv6(frame, template.ip)
                if len(frame) > args.snaplen:
                    frame = frame[:args.snaplen]
                parts.append(struct.pack("<IIII", now // 1000000, now % 1000000,
                                         len(frame), wire))
                parts.append(frame)
                total_wire += wire
                total_captured += len(frame)
                # frame, FCS, preamble and gap on the line
                now += max(1, (max(wire, 60) + 24) * 8 // args.mbps)
            cursors[which] = cursor
            left -= run
            block = b"".join(parts)
            out.write(block)
            digest.update(block)

    print("%s: %d frames, %d wire bytes, %d captured bytes, %.3f s of traffic, sha256 %s"
          % (args.out, args.frames, total_wire, total_captured,
             (now - START) / 1e6, digest.hexdigest()))


if __name__ == "__main__":
    main()
