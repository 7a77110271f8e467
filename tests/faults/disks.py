"""Outputs that take nothing."""

import os
import subprocess
import time

from crowd import Crowd
from links import samples
from stage import watched

CAPTURE = os.path.join(os.path.dirname(__file__), "..", "captures", "internet-mixed.pcap")
PORT = 7290


def agent_that_logs(stage, figures, stderr):
    """Has clients cause lines in a log that can't be written, and a console that follows."""
    space = stage.space()
    far = watched(stage, space)
    stage.flood(far, "far0", 600, 500, 20)
    agent = stage.agent("-i", "mon0", "--listen", f"127.0.0.1:{PORT}", space=space, stderr=stderr)
    console = stage.console("--json", "--select", "totals", f"127.0.0.1:{PORT}", space=space)
    console.says("^{", 30)
    crowds = [Crowd(kind, 30, space, ("127.0.0.1", PORT), stage.tools.fingerprint) for kind in ("garbage", "storm")]
    time.sleep(4)
    for crowd in crowds:
        crowd.stop()
    heard = len(console.lines)
    before = samples(console)[-1]["totals"]["frames"]
    console.says("^{", 20, behind=heard + 1)
    frames = samples(console)[-1]["totals"]["frames"] - before
    figures.must("frames counted behind it", frames, "more than 0", frames > 0)
    agent.stop()
    figures.must("exit status of agent and console", f"0 and {console.ends(20)}", "0 and 0",
                 console.process.returncode == 0)


def log_on_full_disk(stage, figures, _):
    disk = stage.tmpfs("full", "16k")
    with open(os.path.join(disk, "log"), "ab", buffering=0) as log:
        with open(os.path.join(disk, "fill"), "wb", buffering=0) as fill:
            try:
                while True:
                    fill.write(bytes(512))
            except OSError:
                pass
        agent_that_logs(stage, figures, log)
        figures.must("bytes in the log", os.fstat(log.fileno()).st_size, "0", os.fstat(log.fileno()).st_size == 0)


def log_to_nobody(stage, figures, _):
    """A pipe that nobody reads any more."""
    reading, writing = os.pipe()
    os.close(reading)
    with open(writing, "wb", buffering=0) as log:
        agent_that_logs(stage, figures, log)


def log_that_is_not_read(stage, figures, _):
    reading, writing = os.pipe()
    stage.later(lambda: os.close(reading))
    with open(writing, "wb", buffering=0) as log:
        agent_that_logs(stage, figures, log)


def snapshot_on_full_disk(stage, figures, _):
    disk = stage.tmpfs("small", "4k")
    where = os.path.join(disk, "snapshot")
    reading = stage.start(stage.tools.ketmon, "read", "--save-snapshot", where, CAPTURE)
    figures.must("exit status of ketmon read", reading.ends(60), "1", reading.process.returncode == 1)
    figures.must("what it says", reading.last(), "that it can't be written", "No space left" in reading.last())
    figures.must("files left there", os.listdir(disk), "none", not os.listdir(disk))


def status(command, redirections):
    """The exit status of a command with the streams that a shell gives it."""
    return subprocess.run(["bash", "-c", f'"$@" {redirections}', "bash", *command], stdin=subprocess.DEVNULL,
                          stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, timeout=60).returncode


def closed_outputs(stage, figures, _):
    ketmon = stage.tools.ketmon
    agent = [ketmon, "agent", "-r", CAPTURE, "--pace", "0", "--listen", f"unix:{stage.path('socket')}"]
    for what, command, redirections, expected in (
            ("read, errors closed", [ketmon, "read", CAPTURE], "2>&-", 0),
            ("read, output closed", [ketmon, "read", CAPTURE], ">&-", 1),
            ("read, output full", [ketmon, "read", CAPTURE], ">/dev/full", 1),
            ("read of no file, all closed", [ketmon, "read", "/nonexistent"], "<&- >&- 2>&-", 2),
            ("agent, errors closed", agent, "2>&-", 0),
            ("agent, errors full", agent, "2>/dev/full", 0),
            ("agent, output full", agent, ">/dev/full", 1),
            ("agent, all closed", agent, "<&- >&- 2>&-", 1)):
        found = status(command, redirections)
        figures.must(f"exit status of {what}", found, str(expected), found == expected)


ALONE = []
BESIDE = [("log on a full disk", log_on_full_disk), ("log into a closed pipe", log_to_nobody),
          ("log that isn't read", log_that_is_not_read), ("snapshot on a full disk", snapshot_on_full_disk),
          ("closed outputs", closed_outputs)]
