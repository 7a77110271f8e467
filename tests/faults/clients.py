"""A good console among clients that misbehave."""

import time

from crowd import Crowd
from links import samples
from report import megabytes, thousands
from stage import connect, until, watched

KINDS = ("mute", "stalled", "slow", "garbage", "storm")
PORT = 7290


def greatest_gap(console, begin, end):
    times = [begin] + [when for when, line in console.lines if line.startswith("{") and begin < when < end] + [end]
    return max(after - before for before, after in zip(times, times[1:]))


def crowded(stage, figures, long):
    space, good, bad = stage.space(), stage.space(), stage.space()
    connect(space, "good0", "10.1.0.1/24", good, "eth0", "10.1.0.2/24")
    connect(space, "bad0", "10.2.0.1/24", bad, "eth0", "10.2.0.2/24")
    far = watched(stage, space)
    stage.flood(far, "far0", 3600, 2000, 2000 if long else 200)
    with open(stage.path("log"), "wb") as log:
        agent = stage.agent("-i", "mon0", "--listen", f"0.0.0.0:{PORT}", "--plain", space=space, stderr=log)
    console = stage.console("--json", "--plain", "--select", "totals", f"10.1.0.1:{PORT}", space=good)
    console.says("^{", 30)
    time.sleep(2)
    descriptors, resident = agent.descriptors(), agent.resident()

    begin = time.monotonic()
    crowds = [Crowd(kind, 200, bad, ("10.2.0.1", PORT), stage.tools.fingerprint) for kind in KINDS]
    time.sleep(5)
    late = stage.console("--json", "--plain", "--select", "totals", f"10.1.0.1:{PORT}", space=good)
    _, when, _ = late.says("^{", 30)
    figures.within("until another console gets its first sample among them", when - begin - 5, 10)
    time.sleep(120 if long else 12)
    most = agent.resident()
    for crowd in crowds:
        crowd.stop()
    end = time.monotonic()
    for crowd in crowds:
        figures.must(f"connections, {crowd.kind}", thousands(crowd.connections), "at least 50",
                     crowd.connections >= 50)
    figures.must("greatest time between two samples, due each second",
                 f"{greatest_gap(console, begin, end):.1f} s", "at most 5 s", greatest_gap(console, begin, end) <= 5)
    figures.must("gaps that consoles tell", sum("gap" in sample for sample in samples(console) + samples(late)), "0",
                 not any("gap" in sample for sample in samples(console) + samples(late)))
    _, took = until(lambda: agent.descriptors() <= descriptors + 2, 60, "the agent lets go of all that are gone")
    figures.within("until the last of them is let go", took, 30)
    figures.tell("resident memory before, among them, and behind",
                 ", ".join(map(megabytes, (resident, most, agent.resident()))))
    with open(stage.path("log"), "rb") as log:
        lines = log.read().count(b"\n")
    # A burst, and then a line a second of its own and of what others cause.
    most_lines = 220 + 2 * (time.monotonic() - begin)
    figures.must("lines in the log", lines, f"at most {most_lines:.0f}", lines <= most_lines)
    agent.stop()
    console.ends(20, 0)
    late.ends(20, 0)


ALONE = []
BESIDE = [("clients that misbehave", crowded)]
