"""The namespaces and processes of one fault.

All of it runs in mount, network and process namespaces of its own, which scripts/test-faults makes: whatever is left
when the first process of them ends goes with it, however it ends.
"""

import contextlib
import ctypes
import itertools
import os
import re
import shutil
import signal
import subprocess
import tempfile
import threading
import time

CLONE_NEWNET = 0x40000000
LIBC = ctypes.CDLL(None, use_errno=True)
NUMBERS = itertools.count(1)
TICK = 0.02


class Failed(Exception):
    """What had to hold doesn't."""


def run(*command):
    done = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          timeout=60)
    if done.returncode != 0:
        raise Failed(f"{' '.join(command)}: {done.stdout.decode(errors='replace').strip()}")
    return done.stdout.decode()


def until(condition, seconds, what):
    """Waits for the condition to give something, which it gives back with the seconds that it took."""
    begin = time.monotonic()
    while True:
        result = condition()
        took = time.monotonic() - begin
        if result:
            return result, took
        if took > seconds:
            raise Failed(f"{what}: not within {seconds:g} s")
        time.sleep(TICK)


class Space:
    """A network namespace."""

    def __init__(self):
        self.name = f"f{next(NUMBERS)}"
        run("ip", "netns", "add", self.name)
        # No frames of the system's own, which looks for neighbours and routers.
        with self.entered(), contextlib.suppress(OSError):
            for kind in ("all", "default"):
                with open(f"/proc/sys/net/ipv6/conf/{kind}/disable_ipv6", "w", encoding="ascii") as setting:
                    setting.write("1")
        self.ip("link", "set", "lo", "up")

    def ip(self, *arguments):
        return run("ip", "-n", self.name, *arguments)

    @contextlib.contextmanager
    def entered(self):
        """Sockets that this thread makes within are in this namespace, and stay there."""
        with open("/proc/thread-self/ns/net", "rb") as before, open(f"/run/netns/{self.name}", "rb") as own:
            if LIBC.setns(own.fileno(), CLONE_NEWNET) != 0:
                raise OSError(ctypes.get_errno(), "setns")
            try:
                yield
            finally:
                LIBC.setns(before.fileno(), CLONE_NEWNET)

    def counter(self, interface, name):
        for line in subprocess.run(["ip", "netns", "exec", self.name, "cat",
                                    f"/sys/class/net/{interface}/statistics/{name}"],
                                   stdout=subprocess.PIPE, check=True, timeout=30).stdout.split():
            return int(line)
        raise Failed(f"{interface} has no {name}")

    def remove(self):
        subprocess.run(["ip", "netns", "del", self.name], stderr=subprocess.DEVNULL, timeout=60)


def connect(one, name, address, other, other_name, other_address):
    """A cable between two namespaces."""
    one.ip("link", "add", "name", name, "type", "veth", "peer", "name", other_name, "netns", other.name)
    for space, interface, own in ((one, name, address), (other, other_name, other_address)):
        if own:
            space.ip("address", "add", own, "dev", interface)
        space.ip("link", "set", interface, "up")


class Program:
    """A process, with what it says, line by line, and when it said it."""

    def __init__(self, command, space=None, stdout=None, stderr=None, **options):
        if space:
            command = ["ip", "netns", "exec", space.name, *command]
        self.lines = []
        self.errors = []
        self.process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=stdout or subprocess.PIPE,
                                        stderr=stderr or subprocess.PIPE, start_new_session=True, **options)
        self.threads = [self.reads(stream, lines) for stream, lines in
                        ((self.process.stdout, self.lines), (self.process.stderr, self.errors)) if stream]

    @staticmethod
    def reads(stream, lines):
        def read():
            for line in stream:
                lines.append((time.monotonic(), line.decode(errors="replace").rstrip("\n")))
        thread = threading.Thread(target=read, daemon=True)
        thread.start()
        return thread

    @property
    def pid(self):
        return self.process.pid

    def alive(self):
        return self.process.poll() is None

    def said(self, pattern, behind=0, errors=False):
        """The first line behind so many that has the pattern: its number, time, and match."""
        lines = self.errors if errors else self.lines
        for number in range(behind, len(lines)):
            match = re.search(pattern, lines[number][1])
            if match:
                return number, lines[number][0], match
        return None

    def says(self, pattern, seconds, behind=0, errors=False):
        def found():
            line = self.said(pattern, behind, errors)
            if not line and not self.alive():
                self.finish()
                line = self.said(pattern, behind, errors)
                if not line:
                    raise Failed(f"it ended with {self.process.returncode} without '{pattern}': {self.last()}")
            return line
        return until(found, seconds, f"'{pattern}' (last: {self.last()})")[0]

    def last(self):
        return " / ".join(line for _, line in (self.lines[-1:] + self.errors[-3:]))[-600:]

    def signal(self, number):
        with contextlib.suppress(ProcessLookupError):
            self.process.send_signal(number)

    def finish(self):
        for thread in self.threads:
            thread.join(5)

    def ends(self, seconds, status=None):
        """Waits for its end; its exit status must be this."""
        try:
            self.process.wait(seconds)
        except subprocess.TimeoutExpired:
            raise Failed(f"it doesn't end within {seconds:g} s: {self.last()}") from None
        self.finish()
        if status is not None and self.process.returncode != status:
            raise Failed(f"its exit status is {self.process.returncode} and not {status}: {self.last()}")
        return self.process.returncode

    def stop(self, seconds=20, status=0):
        self.signal(signal.SIGTERM)
        return self.ends(seconds, status)

    def kill(self):
        self.signal(signal.SIGKILL)
        self.process.wait(20)

    def resident(self):
        """Bytes of memory that it has."""
        with open(f"/proc/{self.pid}/status", encoding="ascii") as status:
            for line in status:
                if line.startswith("VmRSS:"):
                    return int(line.split()[1]) * 1024
        raise Failed("it is gone")

    def computed(self):
        """Seconds of processor time that it took."""
        with open(f"/proc/{self.pid}/stat", encoding="ascii", errors="replace") as status:
            fields = status.read().rpartition(")")[2].split()
        return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")

    def descriptors(self):
        return len(os.listdir(f"/proc/{self.pid}/fd"))


class Stage:
    """What one fault makes, and how it goes again."""

    def __init__(self, tools):
        self.tools = tools
        self.folder = tempfile.mkdtemp(prefix="ketmon-fault-")
        os.chmod(self.folder, 0o755)
        self.programs = []
        self.spaces = []
        self.mounts = []
        self.undone = []

    def space(self):
        self.spaces.append(Space())
        return self.spaces[-1]

    def path(self, name):
        return os.path.join(self.folder, name)

    def start(self, *command, **options):
        self.programs.append(Program([str(part) for part in command], **options))
        return self.programs[-1]

    def flood(self, space, interface, seconds, rate, stations, length=200):
        return self.start(self.tools.flood, interface, seconds, rate, stations, length, space=space)

    def agent(self, *arguments, space, seconds=30, **options):
        agent = self.start(self.tools.ketmon, "agent", *arguments, space=space, **options)
        if not options.get("stdout"):
            agent.says("^listening on ", seconds)
        return agent

    def console(self, *arguments, space, **options):
        return self.start(self.tools.ketmon, "console", *arguments, space=space, **options)

    def tmpfs(self, name, size):
        path = self.path(name)
        os.mkdir(path)
        run("mount", "-t", "tmpfs", "-o", f"size={size},mode=755", "tmpfs", path)
        self.mounts.append(path)
        return path

    def later(self, undo):
        """To be called when the fault is over."""
        self.undone.append(undo)

    def close(self):
        for undo in self.undone:
            undo()
        for program in self.programs:
            if program.alive():
                program.kill()
        for space in self.spaces:
            space.remove()
        for path in self.mounts:
            subprocess.run(["umount", "-l", path], stderr=subprocess.DEVNULL, timeout=60)
        shutil.rmtree(self.folder, ignore_errors=True)


def pair(stage):
    """An agent's side and a console's, with a cable between: 10.1.0.1 and 10.1.0.2."""
    here, there = stage.space(), stage.space()
    connect(here, "eth0", "10.1.0.1/24", there, "eth0", "10.1.0.2/24")
    return here, there


def watched(stage, space):
    """An interface in the space that an agent watches, mon0, and the far end of its cable, far0."""
    far = stage.space()
    connect(space, "mon0", None, far, "far0", None)
    return far
