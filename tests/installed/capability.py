#!/usr/bin/env python3
"""Installs a build, and follows what its ketmon says to whoever may not capture: capability.py CMAKE BUILD

The program is then started by nobody, in a network of its own, and has to count what passes. Exits with 77 where this
can't be tried.
"""

import ctypes
import fcntl
import os
import re
import shlex
import shutil
import socket
import struct
import subprocess
import sys
import tempfile

SKIPPED = 77
NOBODY = 65534
PATIENCE = 120  # seconds; nothing takes that long
CLONE_NEWNET = 0x40000000
SIOCSIFFLAGS = 0x8914
IFF_UP = 1
PORT = 4000


def skip(why):
    print("skipped:", why)
    sys.exit(SKIPPED)


def enter_own_network():
    if ctypes.CDLL(None, use_errno=True).unshare(CLONE_NEWNET) != 0:
        skip("no right to a network of its own")
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as handle:
        fcntl.ioctl(handle, SIOCSIFFLAGS, struct.pack("16sH14x", b"lo", IFF_UP))


def start(program):
    return subprocess.Popen(
        [program, "agent", "-i", "lo", "-f", f"udp dst port {PORT}", "-c", "2", "--listen", "127.0.0.1:0"],
        stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, user=NOBODY, group=NOBODY, extra_groups=[])


def main():
    cmake, build = sys.argv[1:]
    if os.geteuid() != 0:
        skip("only root can give capabilities")
    if not shutil.which("setcap"):
        skip("there is no setcap")
    enter_own_network()
    with tempfile.TemporaryDirectory() as folder:
        os.chmod(folder, 0o755)
        subprocess.run([cmake, "--install", build, "--prefix", folder], check=True, stdout=subprocess.DEVNULL)
        program = os.path.join(folder, "bin", "ketmon")

        _, errors = start(program).communicate(timeout=PATIENCE)
        advice = re.search(r"'(setcap [^']*)'", errors)
        assert advice, f"no advice in: {errors}"
        command = shlex.split(advice[1])
        assert command[-1] == os.path.realpath(program), command
        assert command[1] == "cap_net_raw=ep", f"more than capturing takes: {command}"
        if subprocess.run(command).returncode != 0:
            skip("files here take no capabilities")

        agent = start(program)
        try:
            first = agent.stdout.readline()
            assert first.startswith("listening on "), first + agent.stderr.read()
            with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as sender:
                for _ in range(2):
                    sender.sendto(b"counted", ("127.0.0.1", PORT))
            _, errors = agent.communicate(timeout=PATIENCE)
        finally:
            agent.kill()
            agent.wait()
        assert agent.returncode == 0, errors
        assert "2 frames counted" in errors, errors


main()
