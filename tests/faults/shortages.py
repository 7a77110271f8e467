"""An agent that gets no descriptors, or no memory."""

import resource
import socket
import subprocess
import time

from links import samples
from memory import ADDRESS, PORT, full_agent, joined
from protocol import hello
from report import megabytes
from stage import until, watched

MIB = 1 << 20


def served(stage, space, seconds):
    """Waits until another client is served."""
    def one():
        try:
            company, _ = joined(stage, space, 1, ("1.1",))
        except OSError:
            return False
        company.leave()
        return len(company) > 0
    return until(one, seconds, "another console is served")[1]


def goes_on(figures, console, agent):
    before = samples(console)[-1]["totals"]["frames"]
    heard = len(console.lines)
    console.says("^{", 20, behind=heard + 1)
    frames = samples(console)[-1]["totals"]["frames"] - before
    figures.must("the agent is", "there" if agent.alive() else "gone", "there", agent.alive())
    figures.must("frames counted meanwhile", frames, "more than 0", frames > 0)


def no_descriptors(stage, figures, _):
    space = stage.space()
    far = watched(stage, space)
    stage.flood(far, "far0", 600, 500, 20)
    agent = stage.agent("-i", "mon0", "--listen", f"127.0.0.1:{PORT}", space=space)
    console = stage.console("--json", "--select", "totals", f"127.0.0.1:{PORT}", space=space)
    console.says("^{", 30)
    most = agent.descriptors() + 10
    resource.prlimit(agent.pid, resource.RLIMIT_NOFILE, (most, most))
    clients = []
    with space.entered():
        for _ in range(40):
            client = socket.create_connection(ADDRESS, timeout=20)
            client.sendall(hello(stage.tools.fingerprint, ("1.1",)))
            clients.append(client)
    agent.says("can't take a console in", 20, errors=True)
    figures.must("descriptors of the agent, of which it may have so many", f"{agent.descriptors()} of {most}",
                 "all but a few", agent.descriptors() >= most - 2)
    goes_on(figures, console, agent)
    computed = agent.computed()
    time.sleep(2)
    figures.must("processor time over 2 s without descriptors", f"{agent.computed() - computed:.2f} s", "at most 1 s",
                 agent.computed() - computed <= 1)
    for client in clients:
        client.close()
    figures.within("until another console is served once they are gone", served(stage, space, 60), 30)
    agent.stop()
    console.ends(20, 0)


def crowded_out(stage, figures, space, agent, count, most_lost):
    """Has consoles with everything come until there is no memory left, and go again."""
    console = stage.console("--json", "--select", "totals", f"127.0.0.1:{PORT}", space=space)
    console.says("^{", 30)
    company, refusals = joined(stage, space, count)
    figures.tell("resident memory with as many consoles as there is memory for", megabytes(agent.resident()))
    figures.must("consoles with all tables that are served, and refused", f"{len(company)}, {len(refusals)}",
                 "some of both", company and refusals)
    told = sorted(set(refusals))
    figures.must("what they are told", "; ".join(told) or "nothing", "about memory",
                 told and all("memory" in text for text in told))
    goes_on(figures, console, agent)
    time.sleep(2)
    figures.must("consoles that are served, and turned away later", len(company.lost), f"at most {most_lost}",
                 len(company.lost) <= most_lost)
    company.leave()
    figures.within("until another console is served once they are gone", served(stage, space, 60), 30)
    agent.stop()
    console.ends(20, 0)


def no_memory(stage, figures, _):
    space, far, agent = full_agent(stage)
    stage.flood(far, "far0", 600, 500, 20)
    with open(f"/proc/{agent.pid}/statm", encoding="ascii") as status:
        size = int(status.read().split()[0]) * resource.getpagesize()
    resource.prlimit(agent.pid, resource.RLIMIT_AS, (size + 200 * MIB, size + 200 * MIB))
    crowded_out(stage, figures, space, agent, 90, 0)


def ceiling(stage, figures, _):
    """The agent's own."""
    told = subprocess.run([stage.tools.ketmon, "agent", "--help"], stdout=subprocess.PIPE, check=True, timeout=60)
    if b"--memory" not in told.stdout:
        figures.tell("memory ceiling", "this ketmon has no --memory")
        return
    most = 160
    space, far, agent = full_agent(stage, "--memory", str(most))
    stage.flood(far, "far0", 600, 500, 20)
    # What the others take beside their samples may grow.
    crowded_out(stage, figures, space, agent, 90, 3)


ALONE = [("no memory", no_memory), ("--memory", ceiling)]
BESIDE = [("no descriptors", no_descriptors)]
