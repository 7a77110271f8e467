"""Cables that are cut, and interfaces that go."""

import json
import signal
import time

from stage import pair, until, watched

AGENT = "10.1.0.1:7290"


def samples(console):
    return [json.loads(line) for _, line in console.lines if line.startswith("{")]


def agent_and_console(stage):
    here, there = pair(stage)
    far = watched(stage, here)
    stage.flood(far, "far0", 600, 200, 20)
    agent = stage.agent("-i", "mon0", "--listen", AGENT, "--plain", space=here)
    console = stage.console("--json", "--plain", "--select", "totals", AGENT, space=there)
    console.says("^{", 30)
    return here, there, agent, console


def cut(stage, figures, space_of, mended_after):
    here, there, agent, console = agent_and_console(stage)
    space = space_of(here, there)
    heard = len(console.lines)
    space.ip("link", "set", "eth0", "down")
    begin = time.monotonic()
    _, when, _ = console.says("nothing was heard|doesn't answer|hung up|lost|unreachable|[Oo]ut of reach", 60,
                              errors=True)
    figures.within("until the console says that the agent is out of reach", when - begin, 15)
    _, when, _ = agent.says(r"lost: |dropped: ", 60, errors=True)
    figures.within("until the agent gives the console up", when - begin, 20)
    time.sleep(max(0.0, mended_after - (time.monotonic() - begin)))

    heard = len(console.lines)
    space.ip("link", "set", "eth0", "up")
    begin = time.monotonic()
    _, when, _ = console.says('"gap"', 90, behind=heard)
    figures.within("until the console follows again once the link is back", when - begin, 45)
    gap = next(sample["gap"] for sample in samples(console) if "gap" in sample)
    figures.must("gap that it tells", f"{gap['from']} to {gap['to']}", "told", gap["from"] < gap["to"])
    console.stop()
    agent.stop()


def cut_at_agent(stage, figures, long):
    cut(stage, figures, lambda here, _: here, 40 if long else 13)


def cut_at_console(stage, figures, long):
    cut(stage, figures, lambda _, there: there, 40 if long else 13)


def cut_one_way(stage, figures, long, space_of):
    """Nothing arrives from one side, and the link stays up."""
    here, there, agent, console = agent_and_console(stage)
    space = space_of(here, there)
    # A neighbour that is known wrongly is sent frames that nobody takes.
    address = "10.1.0.2" if space is here else "10.1.0.1"
    space.ip("neighbour", "replace", address, "lladdr", "02:00:00:00:00:99", "dev", "eth0", "nud", "permanent")
    begin = time.monotonic()
    _, when, _ = console.says("nothing was heard|doesn't answer|hung up|lost|closed|reset", 60, errors=True)
    figures.within("until the console says that the agent is out of reach", when - begin, 15)
    _, when, _ = agent.says(r"lost: |dropped: ", 60, errors=True)
    figures.within("until the agent gives the console up", when - begin, 20)
    heard = len(console.lines)
    space.ip("neighbour", "delete", address, "dev", "eth0")
    begin = time.monotonic()
    _, when, _ = console.says('"gap"', 90, behind=heard)
    figures.within("until the console follows again once the link is back", when - begin, 45)
    console.stop()
    agent.stop()


def deaf_console(stage, figures, long):
    cut_one_way(stage, figures, long, lambda here, _: here)


def deaf_agent(stage, figures, long):
    cut_one_way(stage, figures, long, lambda _, there: there)


def interface_removed(stage, figures, _):
    here, _, agent, console = agent_and_console(stage)
    here.ip("link", "delete", "mon0")
    begin = time.monotonic()
    figures.must("exit status of the agent", agent.ends(20), "3", agent.process.returncode == 3)
    figures.within("until it ends", time.monotonic() - begin, 10)
    figures.must("exit status of the console", console.ends(20), "1", console.process.returncode == 1)
    end = samples(console)[-1].get("end", {})
    figures.must("reason that it tells", end.get("reason"), "interface_gone",
                 end.get("reason") == "interface_gone")


def interface_renamed(stage, figures, _):
    here, _, agent, console = agent_and_console(stage)
    here.ip("link", "set", "mon0", "down")
    here.ip("link", "set", "mon0", "name", "other0")
    here.ip("link", "set", "other0", "up")
    agent.says("is called other0 now", 20, errors=True)
    then = samples(console)[-1]["totals"]["frames"]
    _, took = until(lambda: samples(console)[-1]["totals"]["frames"] > then + 100, 30, "frames are counted on")
    figures.within("until 100 frames are counted under the new name", took, 30)
    agent.signal(signal.SIGHUP)
    time.sleep(0.5)
    figures.must("after SIGHUP it is", "there" if agent.alive() else "gone", "there", agent.alive())
    agent.stop()
    console.ends(20, 0)


ALONE = []
BESIDE = [("link cut at the agent", cut_at_agent), ("link cut at the console", cut_at_console),
          ("nothing reaches the console", deaf_console), ("nothing reaches the agent", deaf_agent),
          ("interface removed", interface_removed), ("interface renamed", interface_renamed)]
