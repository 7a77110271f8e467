#!/usr/bin/env python3
"""Holds the independent count of the second tree against what another tool made of the bundled captures.

    another_tool.py FOLDER      with captures, and expected/second/NAME.json for each

Exit 0 if all is alike, 1 if not. A run that compares nothing fails.
"""

import json
import pathlib
import subprocess
import sys

HERE = pathlib.Path(__file__).resolve().parent

# Of a row: its key in the expected form, and what is expected of it.
ONE_WAY = ("frames", "bytes")
BOTH_WAYS = ("frames_sent", "bytes_sent", "frames_received", "bytes_received")
FORMS = {
    "ipv6_traffic": (("source", "destination"), ONE_WAY),
    "ipv6_protocols": (("protocol",), ONE_WAY),
    "ipv6_tcp_ports": (("port",), BOTH_WAYS),
    "ipv6_udp_ports": (("port",), BOTH_WAYS),
    "vlans": (("vlan",), ONE_WAY),
    "inner_vlans": (("vlan",), ONE_WAY),
    "neighbours": (("address",), ("mac_address",)),
    "tunnels": (("type",), ONE_WAY),
}


def expected_form(document):
    """What a document has of the second tree in the form of expected/second."""
    tables = document["tables"]
    found = {"signals": dict(document["signals"])}
    for name, (key, columns) in FORMS.items():
        rows = {}
        for row in tables[name]["rows"]:
            values = [row[column] for column in columns]
            rows[" ".join(str(row[part]) for part in key)] = values if len(values) > 1 else values[0]
        found[name] = rows
    del found["signals"]["changed_bindings"]  # depends on the tables, which the other tool doesn't have
    return found


def differences(theirs, document):
    ours = expected_form(document)
    for name in sorted({*ours, *theirs}):
        for key in sorted({*ours.get(name, {}), *theirs.get(name, {})}):
            found, wanted = ours.get(name, {}).get(key), theirs.get(name, {}).get(key)
            if found != wanted:
                yield f"{name}: {key}: {found} instead of {wanted}"


def expectation(capture):
    """What the other tool found; None if it wasn't asked."""
    path = capture.parent / "expected" / "second" / (capture.stem + ".json")
    return json.loads(path.read_text()) if path.exists() else None


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    compared = failed = 0
    for capture in sorted(pathlib.Path(sys.argv[1]).glob("*.pcap*")):
        counted = subprocess.run([sys.executable, str(HERE / "figures.py"), "--trees", "2", str(capture),
                                  "--rows", "all=65534"], check=True, capture_output=True, text=True).stdout
        theirs = expectation(capture)
        found = ["nothing is expected"] if theirs is None else list(differences(theirs, json.loads(counted)))
        compared += 1
        failed += bool(found)
        for complaint in found[:20]:
            print(f"{capture.name}: {complaint}")
    print(f"{compared} captures compared, {failed} differ")
    return 0 if compared and not failed else 1


if __name__ == "__main__":
    sys.exit(main())
