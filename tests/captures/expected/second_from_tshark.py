#!/usr/bin/env python3
"""Sums what tshark says about a capture for the second tree: second_from_tshark.py CAPTURE > second/NAME.json

README.md beside this file says what is summed and how.
"""

import collections
import json
import pathlib
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "independent"))

import tshark_view  # noqa: E402
from counting.capture_file import read_frames  # noqa: E402
from counting.facts import facts  # noqa: E402
from counting.second_figures import SIGNAL_KEYS, TUNNEL_KEYS  # noqa: E402
from counting.second_tree import SIGNALS, TUNNELS  # noqa: E402
from tshark_reasons import reason  # noqa: E402

PORTS = range(1, 1025)


def add(rows, key, size, at=0, columns=2):
    row = rows.setdefault(str(key), [0] * columns)
    row[at] += 1
    row[at + 1] += size


def told(number, frame, view):
    """What tshark tells, and where that has a known reason to be something else, what the count does. Those frames are
    told on the standard error."""
    found, counted = view.facts(), facts(frame)
    for key in counted:
        if found[key] == counted[key]:
            continue
        why = reason(frame, view, key)
        if why is None:
            raise SystemExit("frame %d: %s is %s, and nothing explains that" % (number, key, found[key]))
        print("frame %d: %s: %s instead of %s: %s" % (number, key, counted[key], found[key], why), file=sys.stderr)
        found[key] = counted[key]
    return found


def sums(capture):
    tables = {name: {} for name in ("ipv6_traffic", "ipv6_protocols", "ipv6_tcp_ports", "ipv6_udp_ports", "vlans",
                                    "inner_vlans", "neighbours")}
    signals = collections.Counter()
    signal_keys = dict(zip(SIGNALS, SIGNAL_KEYS))
    tunnel_keys = dict(zip(TUNNELS, TUNNEL_KEYS))
    tunnels = {key: [0, 0] for key in TUNNEL_KEYS}
    frames = read_frames(pathlib.Path(capture).read_bytes())
    for number, (frame, view) in enumerate(zip(frames, tshark_view.frames(capture), strict=True), 1):
        size = view.wire_length % 65536 + 4
        found = told(number, frame, view)
        if view.is_unicast() and found["pair"]:
            add(tables["ipv6_traffic"], " ".join(found["pair"]), size)
            add(tables["ipv6_protocols"], found["number"], size)
            table = tables["ipv6_tcp_ports" if found["number"] == 6 else "ipv6_udp_ports"]
            for at, port in zip((0, 2), found["ports"] or ()):
                if port in PORTS:
                    add(table, port, size, at, 4)
        for name, identifier in zip(("vlans", "inner_vlans"), found["vlans"]):
            if identifier is not None:
                add(tables[name], identifier, size)
        if found["binding"]:
            address, mac = found["binding"]
            tables["neighbours"].setdefault(address, mac.replace("-", ":").lower())
        signals.update(signal_keys[name] for name in found["signals"])
        if found["tunnel"]:
            add(tunnels, tunnel_keys[found["tunnel"]], size)
    wanted = [key for key in SIGNAL_KEYS if key != "changed_bindings"]
    return {**tables, "signals": {name: signals[name] for name in wanted}, "tunnels": tunnels}


def main(capture):
    tables = [json.dumps(name) + ": {" + ",".join("\n    " + json.dumps(key) + ": " + json.dumps(row)
                                                    for key, row in rows.items()) + ("\n  }" if rows else "}")
              for name, rows in sums(capture).items()]
    print("{\n  " + ",\n  ".join(tables) + "\n}")


if __name__ == "__main__":
    main(sys.argv[1])
