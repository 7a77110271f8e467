#!/usr/bin/env python3
"""Sums what tshark says about a capture: from_tshark.py CAPTURE > NAME.json

README.md beside this file says what is summed and how.
"""

import json
import re
import subprocess
import sys

SIZES = (("<= 64 B", 64), ("64 - 128 B", 128), ("128 - 256 B", 256), ("256 - 512 B", 512),
         ("512 - 1024 B", 1024), ("> 1024 B", float("inf")))


def tshark(capture, *arguments):
    command = ["tshark", "-n", "-r", capture, *arguments]
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                          text=True).stdout


def frames(capture):
    """(number, wire length, captured length, destination or "") of each frame."""
    lines = tshark(capture, "-T", "fields", "-E", "occurrence=f", "-e", "frame.number",
                   "-e", "frame.len", "-e", "frame.cap_len", "-e", "eth.dst").splitlines()
    for line in lines:
        number, length, captured, destination = line.split("\t")
        yield int(number), int(length), int(captured), destination


def short_destination(capture, number, captured):
    """What was captured of the destination, filled up with zeros."""
    dump = tshark(capture, "-Y", "frame.number == %d" % number, "-x") if captured else ""
    octets = re.findall(r"(?<= )[0-9a-f]{2}(?= )", dump)[:captured]
    if len(octets) != captured:
        raise SystemExit("frame %d isn't in the dump" % number)
    return ":".join(octets + ["00"] * (6 - captured))


def frame_type(destination):
    if destination == "ff:ff:ff:ff:ff:ff":
        return "Broadcast"
    return "Multicast" if int(destination[:2], 16) & 1 else "Unicast"


def main(capture):
    total = [0, 0]
    types = {name: [0, 0] for name in ("Broadcast", "Multicast", "Unicast")}
    sizes = {name: [0, 0] for name, _ in SIZES}
    for number, length, captured, destination in frames(capture):
        if not destination:
            if captured >= 6:
                raise SystemExit("frame %d has no destination" % number)
            destination = short_destination(capture, number, captured)
        size = length % 65536 + 4
        size_class = next(name for name, limit in SIZES if size <= limit)
        for pair in (total, types[frame_type(destination)], sizes[size_class]):
            pair[0] += 1
            pair[1] += size
    rows = ['"frames": %d' % total[0], '"bytes": %d' % total[1],
            '"types": ' + json.dumps(types), '"sizes": ' + json.dumps(sizes)]
    print("{\n  " + ",\n  ".join(rows) + "\n}")


if __name__ == "__main__":
    main(sys.argv[1])
