#!/usr/bin/env python3
"""Holds `ketmon read` against the independent count over capture files: the whole tree, `--tree --json`, against
count.py, and the figures with what every table gave up, `--json`, against figures.py.

    check.py [--trees N] FILE_OR_FOLDER COMMAND...      the capture named, or those in the folder
    check.py [--trees N] --generate COMMAND...          captures made by generate.py

COMMAND runs ketmon, which shows N trees; TREES in counting/command.py unless it is told.

Exit 0 if every file counts alike, 1 if not. A run that compares nothing fails.
"""

import json
import pathlib
import subprocess
import sys
import tempfile
from itertools import islice

import compare
import count
import figures
from counting.command import count_file, parse_arguments, trees_told

HERE = pathlib.Path(__file__).resolve().parent

# With which options a file is counted: all with none, and some with wide port ranges or few groups too.
WIDE = ["--tcp-ports", "0-65535", "--udp-ports", "0-65535"]
SPEED = ["--link-speed", "100000000"]
VARIANTS = {
    "wide-ports": [[], WIDE, ["--tcp-ports", "80-80", "--udp-ports", "1025-65535"]],
    "internet-mixed": [[], WIDE, ["--enable", "1.5"], ["--enable", "1.7", "--enable", "1.8"], ["--enable", "none"],
                       SPEED],
    "offload-directory": [[], SPEED],
    "nanosecond-big-endian": [[], ["--link-speed", "1000000007"]],
    "empty": [[], SPEED],
    "jumbo-ssh": [[], ["--link-speed", "7"], ["--link-speed", "2147483647"]],
    "flood": [[], ["--enable", "1.6", "--enable", "1.8"]],
}

# The same where the second tree is shown too.
VARIANTS_OF_THE_SECOND = {
    "ipv6-ports": [[], WIDE, ["--tcp-ports", "80-80", "--udp-ports", "1025-65535"]],
    "ipv6-anything": [[], *[["--enable", f"2.{group}"] for group in range(1, 8)], ["--enable", "1.8"]],
    "neighbours": [[], ["--enable", "2.5"], ["--enable", "2.6"]],
}

# How many rows the tables keep. The count has the library's limits unless it is told, ketmon those of its own.
USUAL = ["--rows", "all=16384"]
STANDARD = ["--rows", "standard"]
TIGHT = ["--rows", "all=7", "--rows", "station_tcp_ports=3", "--rows", "station_udp_ports=2"]
MIXED = ["--rows", "standard", "--rows", "stations=1", "--rows", "ip_traffic=65534", "--rows", "arp=2",
         "--rows", "udp_ports=1", "--rows", "mac_traffic=1000"]
LIMITS = [(STANDARD, STANDARD), ([], USUAL), (TIGHT, TIGHT), (MIXED, MIXED)]


def run(command):
    result = subprocess.run(command, capture_output=True, text=True)
    if result.returncode != 0:
        raise RuntimeError(f"{' '.join(command)}: exit {result.returncode}: {result.stderr.strip()}")
    return result.stdout


def expectations(capture, trees, options):
    """What must come out in each of the forms, by the same words."""
    arguments = parse_arguments(["--trees", str(trees), str(capture), *options])
    counter, second, stamps = count_file(arguments)
    # The latter fills the trees in.
    yield ["--json"], "tables", figures.Document(counter, second, arguments, stamps).whole()
    yield ["--tree", "--json"], "statistics", count.document(counter, second, arguments, stamps)


def differences(ketmon, capture, trees, options, expected_options):
    for form, held, expected in expectations(capture, trees, expected_options):
        if not expected[held]:
            raise RuntimeError(f"{capture}: nothing was counted")
        counted = compare.parsed(run([*ketmon, "read", "-q", *form, str(capture), *options]))
        found = list(islice(compare.differences("$", counted, compare.parsed(json.dumps(expected))), compare.SHOWN))
        if found:
            return "\n".join([" ".join(form), *found])
    return ""


def captures(path):
    if path.is_dir():
        return sorted(file for file in path.iterdir() if file.suffix in (".pcap", ".pcapng"))
    return [path]


def main():
    trees, arguments = trees_told(sys.argv[1:])
    if len(arguments) < 2:
        sys.exit(__doc__)
    source, *ketmon = arguments
    all_variants = {**VARIANTS, **(VARIANTS_OF_THE_SECOND if trees == 2 else {})}

    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        path = pathlib.Path(source)
        if source == "--generate":
            path = folder / "generated"
            run([sys.executable, str(HERE / "generate.py"), str(path)])
        compared = failed = 0
        for capture in captures(path):
            variants = all_variants.get(capture.stem, [[]])
            # Other limits change nothing of what the options do, so one of these is enough.
            runs = [(options + limits, options + expected) for options in variants[-1:] for limits, expected in LIMITS]
            runs += [(options + STANDARD, options + STANDARD) for options in variants[:-1]]
            for options, expected in runs:
                found = differences(ketmon, capture, trees, options, expected)
                compared += 1
                if found:
                    failed += 1
                    print(f"{capture.name} {' '.join(options)}\n{found}")
        print(f"{compared} counts compared, {failed} differ")
        return 0 if compared and not failed else 1


if __name__ == "__main__":
    sys.exit(main())
