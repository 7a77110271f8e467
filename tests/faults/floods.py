"""Frames as fast as they come, accounted for to the last."""

import json
import re
import time

from report import thousands
from stage import Failed, until, watched

END = r"(\d+) frames? counted, (\d+) dropped by the kernel, (\d+) by the interface"


def end_line(agent):
    """Frames counted, and dropped by kernel and interface, as the agent tells at its end."""
    line = agent.said(END, errors=True)
    if not line:
        raise Failed(f"the agent doesn't tell what it counted: {agent.last()}")
    return tuple(int(number) for number in line[2].groups())


def sent_by(flood, seconds):
    flood.ends(seconds, 0)
    line = flood.said(r"^(\d+) ([\d.]+)$")
    return int(line[2][1]), float(line[2][2])


def idle(agent, seconds=60):
    """Waits until the agent has nothing to do, as its processor time tells."""
    def settled():
        before = agent.computed()
        time.sleep(0.5)
        return agent.computed() - before <= 0.02
    until(settled, seconds, "the agent has counted what waited in its buffer")


def flooded(stage, figures, long, consoles, length):
    space = stage.space()
    far = watched(stage, space)
    agent = stage.agent("-i", "mon0", "--listen", "127.0.0.1:7290", space=space)
    followers = [stage.console("--json", "--select", "totals", "127.0.0.1:7290", space=space)
                 for _ in range(consoles)]
    for follower in followers:
        follower.says("^{", 30)
    lost_before = space.counter("mon0", "rx_dropped") + far.counter("far0", "tx_dropped")

    flood = stage.flood(far, "far0", 60 if long else 4, 0, 1000, length)
    sent, took = sent_by(flood, 120)
    lost = space.counter("mon0", "rx_dropped") + far.counter("far0", "tx_dropped") - lost_before
    idle(agent)
    agent.stop()
    counted, by_kernel, by_interface = end_line(agent)
    figures.tell("frames sent", f"{thousands(sent)}, {thousands(sent / took)} a second of {length} bytes")
    figures.tell("counted", f"{thousands(counted)}, {thousands(counted / took)} a second")
    figures.tell("dropped by the kernel", f"{thousands(by_kernel)}, {100 * by_kernel / max(1, sent):.2f} %")
    unseen = sent - counted - by_kernel - by_interface - lost
    figures.must("frames that nobody accounts for", unseen, "0", unseen == 0)
    if lost:
        figures.tell("lost by the system before the capture", thousands(lost))
    for number, follower in enumerate(followers, 1):
        follower.ends(20, 0)
        last = json.loads(follower.lines[-1][1])
        capture = last["capture"]
        untold = sent - last["totals"]["frames"] - capture["dropped_by_kernel"] - lost
        figures.must(f"frames that console {number} isn't told of", untold, "0", untold == 0)
        figures.must(f"reason of the end at console {number}", last["end"]["reason"], "interrupted",
                     last["end"]["reason"] == "interrupted")


def flood_alone(stage, figures, long):
    flooded(stage, figures, long, 0, 60)


def flood_with_consoles(stage, figures, long):
    flooded(stage, figures, long, 3, 60)


ALONE = [("flood", flood_alone), ("flood with 3 consoles", flood_with_consoles)]
BESIDE = []
