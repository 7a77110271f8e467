#!/usr/bin/env python3
"""Counts an Ethernet capture straight from the bytes of its frames.

This is the reference that the library is tested against, so it is kept plain:
one short function a step, no shortcuts for speed, and nothing in common with
the library but the numbers that must come out. The steps are in counting/.

    count.py FILE [--trees N] [--tcp-ports LOW-HIGH] [--udp-ports LOW-HIGH]
             [--enable OID]... [--link-speed BITS] [--rows TABLE=N]...

FILE is a classic pcap file (either byte order, microseconds or nanoseconds) or
a pcapng file, link type Ethernet. On stdout comes one JSON object,
{"frames": N, "statistics": {...}}, with every group of the first tree as a
console shows it after one sample that spans the capture; with --trees 2 those
of the second tree stand beside it, as "extended". What only a driver or a filter knows is
0; what isn't finite is null. --rows sets how many rows a table keeps: TABLE is
its name as in the other form, figures.py; "all" is each but those of the
stations' ports, and "standard" brings back the usual ones.

Exit code 2, with one line on stderr, if FILE can't be read to its end.
"""

import json
import sys

from counting.capture_file import CaptureError
from counting.command import count_file, parse_arguments
from counting.sample import derive, derive_second, plain


def document(counter, second, arguments, stamps):
    """What is printed. The trees are filled in for it."""
    # The link's bytes per second stand in 32 bits.
    derive(counter.tree, min(arguments.link_speed // 8, 2**31 - 1), stamps[0] if stamps else 0,
           stamps[-1] if stamps else 0)
    result = {"frames": counter.frames, "statistics": plain(counter.tree)}
    if arguments.trees == 2:
        derive_second(second.tree, counter.frames)
        result["extended"] = plain(second.tree)
    return result


def main():
    arguments = parse_arguments()
    try:
        counter, second, stamps = count_file(arguments)
    except (OSError, CaptureError) as error:
        print("count.py: %s: %s" % (arguments.file, error), file=sys.stderr)
        return 2
    json.dump(document(counter, second, arguments, stamps), sys.stdout)
    print()
    return 0


if __name__ == "__main__":
    sys.exit(main())
