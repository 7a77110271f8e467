"""A name that doesn't resolve."""

import signal
import socket
import time

from stage import until


def silent_resolver(stage, figures, _):
    space = stage.space()
    with space.entered():
        resolver = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        resolver.bind(("127.0.0.1", 53))
    stage.later(resolver.close)
    resolver.setblocking(False)
    with open(stage.path("resolv.conf"), "w", encoding="ascii") as file:
        file.write("nameserver 127.0.0.1\noptions timeout:30 attempts:5\n")
    with open(stage.path("nsswitch.conf"), "w", encoding="ascii") as file:
        file.write("hosts: dns\n")
    console = stage.start(
        "unshare", "--mount", "sh", "-c",
        'mount --bind "$1" /etc/resolv.conf; [ ! -e /etc/nsswitch.conf ] || mount --bind "$2" /etc/nsswitch.conf; '
        'shift 2; exec "$@"', "sh", stage.path("resolv.conf"), stage.path("nsswitch.conf"), stage.tools.ketmon,
        "console", "--plain", "agent.example:7290", space=space)

    def asked():
        try:
            return resolver.recv(1000)
        except BlockingIOError:
            return None
    until(asked, 20, "the name is asked for")
    time.sleep(0.3)
    begin = time.monotonic()
    console.signal(signal.SIGINT)
    figures.must("exit status behind Ctrl-C", console.ends(20), "0", console.process.returncode == 0)
    figures.within("until it ends", time.monotonic() - begin, 1)


ALONE = []
BESIDE = [("a name that doesn't resolve", silent_resolver)]
