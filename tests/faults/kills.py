"""Processes that are killed at any moment."""

import random
import time

from links import samples
from stage import until, watched


def killed(stage, figures, long):
    chance = random.Random(7)
    space = stage.space()
    far = watched(stage, space)
    stage.flood(far, "far0", 3600, 1000, 50)
    where = "unix:" + stage.path("socket")

    def agent():
        return stage.agent("-i", "mon0", "--listen", where, "--interval", "0.2", space=space)

    def console():
        return stage.console("--json", "--select", "totals", where, space=space)

    serving = agent()
    steady = console()
    steady.says("^{", 30)
    longest = 0.0
    agents = consoles = 0
    end = time.monotonic() + (300 if long else 25)
    while time.monotonic() < end or agents < 2 or consoles < 2:
        time.sleep(chance.random())
        if chance.random() < 0.5:
            other = console()
            time.sleep(chance.random() * 0.5)
            other.kill()
            consoles += 1
            continue
        serving.kill()
        agents += 1
        heard = len(steady.lines)
        begin = time.monotonic()
        serving = agent()  # where the socket of the one before lies
        _, when, _ = steady.says("^{", 90, behind=heard)
        longest = max(longest, when - begin)
    figures.must("agents killed", agents, "at least 2", agents >= 2)
    figures.must("consoles killed", consoles, "at least 2", consoles >= 2)
    figures.within("longest until the console follows the next agent", longest, 60)
    gaps = sum("gap" in sample for sample in samples(steady))
    figures.must("gaps that it tells", gaps, str(agents), gaps == agents)
    until(lambda: serving.descriptors() < 40, 20, "the agent lets go of consoles that were killed")
    serving.stop()
    steady.ends(20, 0)


ALONE = []
BESIDE = [("agent and consoles killed", killed)]
