"""What consoles take, and whether it comes back; and an agent that is left alone among all of it."""

import csv
import random
import signal
import threading
import time

import floods
from crowd import Crowd
from links import samples
from protocol import Client
from report import megabytes, slope, spark, thousands
from stage import until, watched

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
    clients, refusals = [], []
    with space.entered():
        for _ in range(count):
            client = Client(ADDRESS, stage.tools.fingerprint, selection)
            refusal = client.begun()
            if refusal is None:
                clients.append(client)
            else:
                refusals.append(refusal)
                client.close()
    return clients, refusals


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
        clients, _ = joined(stage, space, count)
        most = max(most, agent.resident())
        for client in clients:
            client.close()
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
    clients, _ = joined(stage, space, count, ("1.1",))
    each = (agent.resident() - before) / count
    figures.must("for a console that selects 1.1", f"{each / 1000:.0f} kB", "at most 300 kB", each <= 300e3)
    for client in first + clients:
        client.close()
    agent.stop()


class Watch(threading.Thread):
    """Resident memory of an agent, once a second."""

    def __init__(self, agent):
        super().__init__(daemon=True)
        self.agent = agent
        self.points = []
        self.done = threading.Event()
        self.start()

    def run(self):
        begin = time.monotonic()
        while not self.done.wait(1) and self.agent.alive():
            self.points.append((time.monotonic() - begin, self.agent.resident()))

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
        clients, _ = joined(stage, space, 10)
        time.sleep(1)
        for client in clients:
            client.close()
    elif kind == "kill":
        console.kill()
        return kind, stage.console("--json", "--select", "totals", f"127.0.0.1:{PORT}", space=space)
    else:
        console.signal(signal.SIGINT)
        console.ends(20, 0)
        return kind, stage.console("--json", "--select", "stations", "--top", "5", f"127.0.0.1:{PORT}", space=space)
    return kind, console


def left_alone(stage, figures, long):
    duration = stage.tools.duration if long else 20
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
        if time.monotonic() - begin < duration - 8:
            _, other = trouble(stage, space, chance, other)
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

    half = [(at, size) for at, size in watch.points if at >= watch.points[-1][0] / 2]
    mean = sum(size for _, size in half) / len(half)
    growth = slope(half) * (half[-1][0] - half[0][0])
    most = 0.05 if long else 0.25
    sizes = [size for _, size in watch.points]
    figures.tell("resident memory, least, last and most",
                 ", ".join(map(megabytes, (min(sizes), sizes[-1], max(sizes)))))
    figures.tell("resident memory over time", spark(sizes))
    figures.must("growth over the last half, by least squares",
                 f"{growth / 1e6:+.2f} MB, {100 * growth / mean:+.1f} %", f"at most {100 * most:g} %",
                 growth <= most * mean)
    if stage.tools.curve:
        with open(stage.tools.curve, "w", encoding="ascii", newline="") as file:
            writer = csv.writer(file)
            writer.writerow(["seconds", "resident_bytes"])
            writer.writerows([f"{at:.1f}", size] for at, size in watch.points)


ALONE = [("consoles that come and go", come_and_go)]
BESIDE = []
LAST = [("an agent left alone", left_alone)]
