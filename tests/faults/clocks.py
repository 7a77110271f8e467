"""A clock that is set back and forth."""

import os
import struct
import subprocess
import sys
import time

from clients import greatest_gap
from links import samples
from stage import watched

PORT = 7290
HOUR = 3600
YEAR = 365 * 24 * HOUR
STEPS = (1, 0, -1, 0, HOUR, 0, -HOUR, 0, 10 * YEAR, -10 * YEAR, 0)
CHECK = os.path.join(os.path.dirname(__file__), "..", "independent", "check_json.py")
RATE = 1000


def stepped(stage, figures, long):
    space = stage.space()
    far = watched(stage, space)
    stage.flood(far, "far0", 600, RATE, 50)
    clock = stage.path("clock")

    def shift(seconds):
        with open(clock, "r+b" if os.path.exists(clock) else "wb") as file:
            file.write(struct.pack("<q", seconds))
    shift(0)
    agent = stage.agent("-i", "mon0", "--listen", f"127.0.0.1:{PORT}", "--interval", "0.5", "--link-speed", "10000000",
                        space=space, env={**os.environ, "LD_PRELOAD": stage.tools.shifted_clock,
                                          "SHIFTED_CLOCK": clock})
    console = stage.console("--json", f"127.0.0.1:{PORT}", space=space)
    tree = stage.console("--json", "--tree", "--select", "totals", f"127.0.0.1:{PORT}", space=space)
    console.says("^{", 30)
    begin = time.monotonic()
    for seconds in STEPS * (10 if long else 1):
        shift(seconds)
        time.sleep(1.7)
    end = time.monotonic()
    agent.stop()
    console.ends(20, 0)
    tree.ends(20, 0)

    found = samples(console)
    seen = {sample["time"][:4] for sample in found}
    figures.must("years that samples tell", ", ".join(sorted(seen)), "at least 3", len(seen) >= 3)
    numbers = [sample["sample"] for sample in found]
    figures.must("samples, one behind the other", len(numbers), "all", numbers[:-1] == list(range(1, len(numbers))))
    figures.must("greatest time between two, due each 0.5 s", f"{greatest_gap(console, begin, end):.1f} s",
                 "at most 4 s", greatest_gap(console, begin, end) <= 4)
    intervals = [sample["interval_seconds"] for sample in found if sample["interval_seconds"] is not None]
    figures.must("intervals, from and to", f"{min(intervals):.3f} s, {max(intervals):.3f} s", "0 to 5 s",
                 0 < min(intervals) and max(intervals) <= 5)
    figures.must("samples without an interval", len(found) - len(intervals), "1, the first",
                 len(found) - len(intervals) == 1)
    rates = [sample["rates"]["frames_per_second"] for sample in found if sample["sample"] > 2]
    known = [rate for rate in rates if rate is not None]
    figures.must(f"frames a second, of {RATE}", f"{min(known):.0f} to {max(known):.0f}",
                 f"{RATE // 10} to {RATE * 10}", min(known) >= RATE / 10 and max(known) <= RATE * 10)
    used = [sample["totals"]["utilisation"][kind] for sample in found[2:] for kind in ("current", "average", "peak")]
    used = [part for part in used if part is not None]
    figures.must("utilisation of a link of 10 Mbit/s, about 0.16", f"{min(used):.3g} to {max(used):.3g}", "0.01 to 1",
                 0.01 <= min(used) and max(used) <= 1)
    durations = [sample["duration_seconds"] for sample in found if sample["duration_seconds"] is not None]
    last = durations[-1]
    figures.must("duration that the last sample tells", f"{last:.1f} s", f"{end - begin:.1f} s, or 10 s more",
                 end - begin - 2 <= last <= end - begin + 10)
    figures.must("durations that go on", "all" if durations == sorted(durations) else "not all", "all",
                 durations == sorted(durations))
    try:
        import jsonschema  # pylint: disable=unused-import,import-outside-toplevel
    except ImportError:
        figures.tell("the schema of the JSON", "not looked at: there is no jsonschema")
        return
    lines = "\n".join(line for _, line in console.lines) + "\n"
    checked = subprocess.run([sys.executable, CHECK, "--lines"], input=lines.encode(), stdout=subprocess.PIPE,
                             stderr=subprocess.STDOUT, timeout=120)
    figures.must("the schema of the JSON", checked.stdout.decode(errors="replace")[-300:].strip() or "holds", "holds",
                 checked.returncode == 0)


ALONE = []
BESIDE = [("clock that is set", stepped)]
