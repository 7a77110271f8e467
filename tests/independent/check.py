#!/usr/bin/env python3
"""Holds `ketmon read --json` against the independent count of count.py, whole trees, over capture files.

    check.py FILE_OR_FOLDER COMMAND...      the capture named, or those in the folder
    check.py --generate COMMAND...          captures made by generate.py

COMMAND runs ketmon.

Exit 0 if every file counts alike, 1 if not. A run that compares nothing fails.
"""

import json
import pathlib
import subprocess
import sys
import tempfile

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


def run(command):
    result = subprocess.run(command, capture_output=True, text=True)
    if result.returncode != 0:
        raise RuntimeError(f"{' '.join(command)}: exit {result.returncode}: {result.stderr.strip()}")
    return result.stdout


def differences(ketmon, capture, options, folder):
    counted = folder / "counted.json"
    expected = folder / "expected.json"
    counted.write_text(run([*ketmon, "read", "--json", "--quiet", "--rows", "standard", str(capture), *options]))
    expected.write_text(run([sys.executable, str(HERE / "count.py"), str(capture), *options]))
    if not json.loads(expected.read_text())["statistics"]:
        raise RuntimeError(f"{capture}: nothing was counted")
    result = subprocess.run([sys.executable, str(HERE / "compare.py"), str(counted), str(expected)],
                            capture_output=True, text=True)
    return "" if result.returncode == 0 else result.stdout + result.stderr


def captures(path):
    if path.is_dir():
        return sorted(file for file in path.iterdir() if file.suffix in (".pcap", ".pcapng"))
    return [path]


def main():
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    source, *ketmon = sys.argv[1:]

    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        path = pathlib.Path(source)
        if source == "--generate":
            path = folder / "generated"
            run([sys.executable, str(HERE / "generate.py"), str(path)])
        compared = failed = 0
        for capture in captures(path):
            for options in VARIANTS.get(capture.stem, [[]]):
                found = differences(ketmon, capture, options, folder)
                compared += 1
                if found:
                    failed += 1
                    print(f"{capture.name} {' '.join(options)}\n{found}")
        print(f"{compared} counts compared, {failed} differ")
        return 0 if compared and not failed else 1


if __name__ == "__main__":
    sys.exit(main())
