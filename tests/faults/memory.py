"""What consoles take, and whether it comes back; and an agent that is left alone among all of it."""

import contextlib
import csv
import random
import signal
import threading
import time

import floods
from crowd import Crowd
from links import samples
from protocol import Client, Company
from report import megabytes, slope, spark, thousands
from stage import Failed, until, watched

PORT = 7290
ADDRESS = ("127.0.0.1", PORT)


def full_agent(stage, *options):
    """An agent whose tables are full of rows that came and went."""
    space = stage.space()
    far = watched(stage, space)
    agent = stage.agent("-i", "mon0", "--listen", f"127.0.0.1:{PORT}", "-q", *options, space=space)
    floods.sent_by(stage.flood(far, "far0", 3, 20000, 30000), 60)
    floods.idle(agent)
    return space, far, agent


def joined(stage, space, count, selection=()):
    """So many clients with their full samples taken, and what they were told who weren't served."""
    company, refusals = Company(), []
    stage.later(company.leave)
    with space.entered():
        for _ in range(count):
            client = Client(ADDRESS, stage.tools.fingerprint, selection)
            refusal = client.begun()
            if refusal is None:
                company.add(client)
            else:
                refusals.append(refusal)
                client.close()
    return company, refusals


def settled(agent, most):
    """The seconds until the agent has no more memory than that, 15 if it keeps it."""
    begin = time.monotonic()
    while agent.resident() > most and time.monotonic() - begin < 15:
        time.sleep(0.1)
    return time.monotonic() - begin


def come_and_go(stage, figures, long):
    space, _, agent = full_agent(stage)
    rounds, count = (10, 100) if long else (3, 30)
    before, descriptors = agent.resident(), agent.descriptors()
    most, slowest, behind = 0, 0.0, []
    for _ in range(rounds):
        company, _ = joined(stage, space, count)
        most = max(most, agent.resident())
        company.leave()
        until(lambda: agent.descriptors() <= descriptors, 60, "the agent lets go of all")
        slowest = max(slowest, settled(agent, 1.2 * before))
        behind.append(agent.resident())
    figures.tell("resident memory with full tables and no console", megabytes(before))
    figures.tell(f"the most with {count} consoles", megabytes(most))
    figures.must(f"behind {rounds} rounds", megabytes(behind[-1]), f"at most {megabytes(1.2 * before)}, 20 % more",
                 behind[-1] <= 1.2 * before)
    figures.within("longest until it came back when they left", slowest, 10)
    figures.tell("behind each round", spark(behind) + " " + ", ".join(map(megabytes, behind)))

    # What the agent takes once for any console isn't what one more of them takes.
    time.sleep(2)
    first, _ = joined(stage, space, 5, ("1.1",))
    before = agent.resident()
    company, _ = joined(stage, space, count, ("1.1",))
    each = (agent.resident() - before) / count
    figures.must("for a console that selects 1.1", f"{each / 1000:.0f} kB", "at most 300 kB", each <= 300e3)
    first.leave()
    company.leave()
    agent.stop()


class Watch(threading.Thread):
    """Resident memory of an agent, once a second, with whether nothing out of the way went on then."""

    def __init__(self, agent):
        super().__init__(daemon=True)
        self.agent = agent
        self.points = []
        self.done = threading.Event()
        self.troubled_until = 0.0
        self.start()

    @contextlib.contextmanager
    def troubled(self):
        """What it takes while that lasts, and until it has given it back, says nothing about growth."""
        self.troubled_until = float("inf")
        try:
            yield
        finally:
            self.troubled_until = time.monotonic() + 3

    def run(self):
        begin = time.monotonic()
        while not self.done.wait(1) and self.agent.alive():
            calm = time.monotonic() > self.troubled_until
            self.points.append((time.monotonic() - begin, self.agent.resident(), calm))

    def growth(self):
        """Over the last half of its time, by a line of least squares, in bytes and as a share of the mean."""
        middle = self.points[-1][0] / 2
        calm = [(at, size) for at, size, calm in self.points if calm and at >= middle]
        if len(calm) < 3:
            raise Failed("there was no time to see whether memory grows")
        grown = slope(calm) * (calm[-1][0] - calm[0][0])
        return grown, grown / (sum(size for _, size in calm) / len(calm))

    def stop(self):
        self.done.set()
        self.join(10)


def trouble(stage, space, chance, console):
    """One thing that goes wrong; gives the console that follows then."""
    kind = chance.choice(["crowd", "round", "kill", "hangup"])
    if kind == "crowd":
        crowd = Crowd(chance.choice(["mute", "stalled", "slow", "garbage", "storm"]), 60, space, ADDRESS,
                      stage.tools.fingerprint, ("1.1",))
        time.sleep(3)
        crowd.stop()
    elif kind == "round":
        company, _ = joined(stage, space, 10)
        time.sleep(1)
        company.leave()
    elif kind == "kill":
        console.kill()
        return stage.console("--json", "--select", "totals", f"127.0.0.1:{PORT}", space=space)
    else:
        console.signal(signal.SIGINT)
        console.ends(20, 0)
        return stage.console("--json", "--select", "stations", "--top", "5", f"127.0.0.1:{PORT}", space=space)
    return console


def left_alone(stage, figures, long):
    duration = stage.tools.duration if long else 25
    chance = random.Random(11)
    space = stage.space()
    far = watched(stage, space)
    with open(stage.path("log"), "wb") as log:
        agent = stage.agent("-i", "mon0", "--listen", f"127.0.0.1:{PORT}", space=space, stderr=log)
    steady = stage.console("--json", "--select", "totals", f"127.0.0.1:{PORT}", space=space)
    other = stage.console("--json", "--select", "totals", f"127.0.0.1:{PORT}", space=space)
    steady.says("^{", 30)
    watch = Watch(agent)
    rate = 20000 if long else 5000
    flood = stage.flood(far, "far0", duration, rate, 20000)
    begin = time.monotonic()
    troubles = 0
    while flood.alive() and time.monotonic() - begin < duration + 60:
        time.sleep(min(2 + 8 * chance.random(), max(0.1, duration - (time.monotonic() - begin))))
        if time.monotonic() - begin < duration - 12:
            with watch.troubled():
                other = trouble(stage, space, chance, other)
            troubles += 1
    watch.stop()
    sent, took = floods.sent_by(flood, 60)
    floods.idle(agent)
    agent.stop()
    steady.ends(30, 0)

    last = samples(steady)[-1]
    dropped = last["capture"]["dropped_by_kernel"]
    figures.tell("how long", f"{took:.0f} s, with {troubles} troubles")
    figures.tell("frames sent, counted, dropped by the kernel",
                 f"{thousands(sent)}, {thousands(last['totals']['frames'])}, {thousands(dropped)}")
    unseen = sent - last["end"]["frames"] - dropped
    figures.must("frames that nobody accounts for", unseen, "0", unseen == 0)
    missed = last["sample"] - (len(samples(steady)) - 1)
    figures.must("samples, and those of them that didn't come", f"{last['sample']}, {missed}", "none", missed == 0)

    grown, share = watch.growth()
    most = 0.05 if long else 0.25
    sizes = [size for _, size, _ in watch.points]
    figures.tell("resident memory, least, last and most",
                 ", ".join(map(megabytes, (min(sizes), sizes[-1], max(sizes)))))
    figures.tell("resident memory over time", spark(sizes))
    figures.must("growth over the last half, by least squares",
                 f"{grown / 1e6:+.2f} MB, {100 * share:+.1f} %", f"at most {100 * most:g} %", share <= most)
    if stage.tools.curve:
        with open(stage.tools.curve, "w", encoding="ascii", newline="") as file:
            writer = csv.writer(file)
            writer.writerow(["seconds", "resident_bytes", "calm"])
            writer.writerows([f"{at:.1f}", size, int(calm)] for at, size, calm in watch.points)


ALONE = [("consoles that come and go", come_and_go)]
BESIDE = []
LAST = [("an agent left alone", left_alone)]
