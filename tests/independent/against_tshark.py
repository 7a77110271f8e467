#!/usr/bin/env python3
"""Holds the independent count of the second tree against tshark, frame by frame and in totals.

    against_tshark.py FILE_OR_FOLDER|--generate...      --generate: captures made by generate.py

Every frame is asked for its IPv6 addresses, protocol, ports, tags, binding, signals and tunnel, and tshark too. Where
they differ, tshark_reasons.py must know why, and its reason must hold for the bytes of that frame. The totals of
`-z conv,ipv6`, `-z endpoints,ipv6` and `-z io,phs` must then be the sums of what tshark told of the frames, so that
nothing escapes that isn't among these.

Printed is how often each reason was needed. Exit 0 if all is explained, 1 if not. A run that compares nothing fails.
"""

import collections
import pathlib
import subprocess
import sys
import tempfile

import tshark_totals
import tshark_view
from counting.capture_file import read_frames
from counting.facts import facts
from tshark_reasons import reason

HERE = pathlib.Path(__file__).resolve().parent


def compared(path, reasons):
    """What nothing explains, as lines; how often each reason was needed goes into `reasons`."""
    frames = list(read_frames(path.read_bytes()))
    views = list(tshark_view.frames(path))
    if len(frames) != len(views):
        yield f"{len(views)} frames instead of {len(frames)}"
    for number, (frame, view) in enumerate(zip(frames, views), 1):
        ours, theirs = facts(frame), view.facts()
        for key in ours:
            if ours[key] == theirs[key]:
                continue
            why = reason(frame, view, key)
            reasons[why, key] += 1
            if why is None:
                yield f"frame {number}: {key} {ours[key]}, but tshark {theirs[key]}"
    yield from tshark_totals.complaints(path, views)


def captures(argument):
    path = pathlib.Path(argument)
    if path.is_dir():
        return sorted(file for file in path.iterdir() if file.suffix in (".pcap", ".pcapng"))
    return [path]


def main():
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    files = failed = 0
    with tempfile.TemporaryDirectory() as name:
        arguments = [name if argument == "--generate" else argument for argument in sys.argv[1:]]
        if name in arguments:
            subprocess.run([sys.executable, str(HERE / "generate.py"), name], check=True)
        reasons = collections.Counter()
        for path in (path for argument in arguments for path in captures(argument)):
            complaints = list(compared(path, reasons))
            files += 1
            failed += bool(complaints)
            for complaint in complaints[:20]:
                print(f"{path.name}: {complaint}")
    for (why, key), count in sorted(reasons.items(), key=str):
        print(f"{count:7} {key:8} {why}")
    print(f"{files} captures compared, {failed} with differences that nothing explains")
    return 0 if files and not failed else 1


if __name__ == "__main__":
    sys.exit(main())
