#!/usr/bin/env python3
"""Writes captures that push every table and every header field to its limits.

    generate.py OUTDIR

The files are the same on every run: each has a random generator of its own,
seeded with the name of the file. Every one is pcap with link type Ethernet and
the snap length 262144.
"""

import os
import sys

from generating import anything, arp, ip, ipv6, ipv6_tables, media, neighbour_messages, signals, tables
from generating.capture import Capture

CAPTURES = (
    ("flood", tables.flood),
    ("one-busy-pair", tables.one_busy_pair),
    ("revisits", tables.revisits),
    ("ip-protocols", tables.ip_protocols),
    ("protocol-flood", tables.protocol_flood),
    ("wide-ports", tables.wide_ports),
    ("station-ports", tables.station_ports),
    ("arp-requests", arp.arp_requests),
    ("arp-replies", arp.arp_replies),
    ("arp-flood", arp.arp_flood),
    ("arp-cuts", arp.arp_cuts),
    ("vlan-tags", media.vlan_tags),
    ("tag-cuts", media.tag_cuts),
    ("llc-snap-ipx", media.llc_snap_ipx),
    ("ip-headers", ip.ip_headers),
    ("cuts", ip.cuts),
    ("wire-lengths", ip.wire_lengths),
    ("group-addresses", ip.group_addresses),
    ("damaged", anything.damaged),
    ("random-bytes", anything.random_bytes),
    ("ipv6-chains", ipv6.chains),
    ("ipv6-chain-lengths", ipv6.chain_lengths),
    ("ipv6-chain-cuts", ipv6.chain_cuts),
    ("ipv6-fragments", ipv6.fragments),
    ("ipv6-icmp", ipv6.icmp_kinds),
    ("ipv6-random-numbers", ipv6.random_numbers),
    ("ipv6-traffic", ipv6_tables.traffic),
    ("ipv6-close-pairs", ipv6_tables.pairs_that_differ_little),
    ("ipv6-protocols", ipv6_tables.protocols),
    ("ipv6-ports", ipv6_tables.ports),
    ("ipv6-group-addresses", ipv6_tables.group_addresses),
    ("ipv6-anything", ipv6_tables.anything),
    ("vlan-ids", ipv6_tables.vlans),
    ("neighbours", neighbour_messages.neighbours),
    ("neighbour-cuts", neighbour_messages.neighbour_cuts),
    ("neighbour-flood", neighbour_messages.neighbour_flood),
    ("tcp-flags", signals.tcp_flags),
    ("icmp-kinds", signals.icmp_kinds),
    ("arp-bindings", signals.arp_bindings),
    ("told-lengths", signals.told_lengths),
    ("tunnels", signals.tunnels),
)

# Every other capture is little-endian with microseconds.
FORMATS = {"wire-lengths": (">", True), "cuts": (">", False), "group-addresses": ("<", True)}


def main():
    if len(sys.argv) != 2:
        print("usage: generate.py OUTDIR", file=sys.stderr)
        return 2
    os.makedirs(sys.argv[1], exist_ok=True)
    for name, fill in CAPTURES:
        capture = Capture(name, *FORMATS.get(name, ("<", False)))
        fill(capture)
        capture.write(sys.argv[1])
    return 0


if __name__ == "__main__":
    sys.exit(main())
