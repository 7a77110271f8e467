"""The totals that tshark prints of a capture, against the sums of what it tells of each frame."""

import collections
import re
import socket
import subprocess

import tshark_view
from counting.text import ipv6_text


NETWORK = ("eth", "vlan", "ieee8021ad", "llc", "ip", "ipv6", "arp", "tcp", "udp", "icmp", "icmpv6", "gre", "vxlan",
           "geneve", "mpls", "pppoes", "pppoed")


def complaints(path, views):
    """Damaged frames may be missing in the tables, and in the lists of addresses some others; the rest is there."""
    printed = sections(path)
    sure = [view for view in views if view.is_listed_surely()]
    for about, found, least, most in (
            ("conv,ipv6", conversations(printed["IPv6 Conversations"]), pairs(sure), pairs(views)),
            ("endpoints,ipv6", endpoints(printed["IPv6 Endpoints"]), ends(sure), ends(views)),
            ("io,phs", hierarchy(printed["Protocol Hierarchy Statistics"]), paths(sure), paths(views))):
        for key in sorted({*found, *least}, key=str):
            low, shown, high = least.get(key, ZEROS), found.get(key, ZEROS), most.get(key, ZEROS)
            if not all(one <= other <= another for one, other, another in zip(low, shown, high)):
                yield f"{about}: {key}: {shown}, but the frames come to {low} to {high}"


def sections(path):
    """The lines of each table by its title."""
    arguments = ["-q", "-z", "conv,ipv6", "-z", "endpoints,ipv6", "-z", "io,phs"]
    text = subprocess.run(tshark_view.command(path, *arguments), check=True, stdout=subprocess.PIPE,
                          stderr=subprocess.DEVNULL, text=True).stdout
    found = {}
    for part in re.split("^=+\n", text, flags=re.MULTILINE):
        lines = part.splitlines()
        if len(lines) > 1:
            found[lines[0]] = lines[1:]
    return found


# ---------------------------------------------------------------- what is printed: numbers by what they are about

ZEROS = (0, 0, 0, 0)


def canonical(text):
    return ipv6_text(socket.inet_pton(socket.AF_INET6, text))


def conversations(lines):
    """Frames from one address to another; bytes are rounded there."""
    found = collections.Counter()
    for line in lines:
        row = re.match(r"(\S+) +<-> (\S+) +(\d+) [\d.]+ \w+ +(\d+) ", line)
        if row:
            one, other = canonical(row[1]), canonical(row[2])
            found[other, one] += int(row[3])
            found[one, other] += int(row[4])
    return {pair: (frames,) for pair, frames in found.items()}


def endpoints(lines):
    """(frames sent, bytes sent, frames received, bytes received) by address."""
    found = {}
    for line in lines:
        row = re.match(r"(\S+:\S*) +(\d+) +(\d+) +(\d+) +(\d+) +(\d+) +(\d+)", line)
        if row:
            found[canonical(row[1])] = tuple(map(int, row.groups()[3:]))
    return found


def hierarchy(lines):
    """(frames, bytes) by the names on the way down, as far as networks go."""
    found, way = {}, []
    for line in lines:
        row = re.match(r"( *)(\S+) +frames:(\d+) bytes:(\d+)", line)
        if row:
            way = [*way[:len(row[1]) // 2], row[2]]
            if is_compared(way):
                found[tuple(way)] = (int(row[3]), int(row[4]))
    return found


# ---------------------------------------------------------------- what the frames come to


def pairs(views):
    found = collections.Counter()
    for view in views:
        found.update(view.all_pairs())
    return {pair: (frames,) for pair, frames in found.items()}


def ends(views):
    found = collections.defaultdict(lambda: (0, 0, 0, 0))
    for view in views:
        for source, destination in view.all_pairs():
            size = view.wire_length
            found[source] = added(found[source], (1, size, 0, 0))
            found[destination] = added(found[destination], (0, 0, 1, size))
    return found


def paths(views):
    found = collections.defaultdict(lambda: (0, 0))
    for view in views:
        ways = [tuple(view.path[:depth]) for depth in range(1, len(view.path) + 1)]
        for way in filter(is_compared, ways):
            found[way] = added(found[way], (1, view.wire_length))
    return found


def is_compared(way):
    """As far as networks go; what is inside of MPLS tshark guesses, and now one way, now another."""
    return all(name in NETWORK for name in way) and "mpls" not in way[:-1]


def added(numbers, others):
    return tuple(map(sum, zip(numbers, others)))
