"""The options that count.py and figures.py share, and the road from a file to counted trees."""

import argparse

from counting import first_tree, second_tree
from counting.capture_file import read_frames
from counting.first_pass import TCP, UDP, Counter
from counting.second_pass import SecondPass

TREES = 2  # how many ketmon shows

STANDARD_LIMITS = {**first_tree.STANDARD_LIMITS, **second_tree.STANDARD_LIMITS}
OIDS = ["1.%d" % group for group in range(1, 10)] + ["2.%d" % group for group in range(1, 8)]


def trees_told(arguments):
    """How many trees a check is told to look at, and its other arguments."""
    if arguments[:1] == ["--trees"] and arguments[1:2] in (["1"], ["2"]):
        return int(arguments[1]), arguments[2:]
    return TREES, arguments


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
    apart = ("station_tcp_ports", "station_udp_ports", "vlans", "inner_vlans")
    return {table: int(count) + 1 if table == name or name == "all" and table not in apart else limit
            for table, limit in limits.items()}


def parse_arguments(words=None):
    parser = argparse.ArgumentParser(description="Count an Ethernet capture.")
    parser.add_argument("file", metavar="FILE")
    parser.add_argument("--trees", type=int, choices=(1, 2), default=TREES)
    parser.add_argument("--tcp-ports", type=port_range, default=(1, 1024), metavar="LOW-HIGH")
    parser.add_argument("--udp-ports", type=port_range, default=(1, 1024), metavar="LOW-HIGH")
    parser.add_argument("--enable", action="append", metavar="OID", choices=[*OIDS, "none"],
                        help="1.1 to 1.9 and 2.1 to 2.7, may be repeated, or none; all by default")
    parser.add_argument("--link-speed", type=int, default=0, metavar="BITS")
    parser.add_argument("--rows", action="append", default=[], metavar="TABLE=N")
    arguments = parser.parse_args(words)
    arguments.limits = dict(STANDARD_LIMITS)
    for text in arguments.rows:
        arguments.limits = rows_of(arguments.limits, text)
    enabled = OIDS if arguments.enable is None else [oid for oid in arguments.enable if oid != "none"]
    arguments.enabled = {int(oid[2:]) for oid in enabled if oid.startswith("1.")}
    arguments.enabled_second = {int(oid[2:]) for oid in enabled if oid.startswith("2.")}
    return arguments


def count_file(arguments):
    """What counted the first tree, what counted the second, and the stamps of all frames from the first to the
    last."""
    port_ranges = {TCP: arguments.tcp_ports, UDP: arguments.udp_ports}
    counter = Counter(arguments.enabled, port_ranges, arguments.limits)
    second = SecondPass(arguments.enabled_second, port_ranges, arguments.limits)
    with open(arguments.file, "rb") as file:
        data = file.read()
    stamps = []
    for frame in read_frames(data):
        stamps.append(frame.ticks)
        counter.count(frame)
        if arguments.trees == 2:
            second.count(frame, counter.changed_bindings)
    return counter, second, stamps
