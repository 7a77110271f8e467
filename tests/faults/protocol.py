"""The console's side of the protocol, as far as clients that misbehave need it; docs/protocol.md has it all."""

import socket
import struct
import subprocess
import threading

MAGIC, VERSION = b"KETM", 2
HELLO, WELCOME, REFUSAL, FULL, DELTA, END, HEARTBEAT = range(1, 8)


def encoded(kind, body=b""):
    return struct.pack("<IB", len(body) + 1, kind) + body


def hello(fingerprint, selection=()):
    """With the fingerprints of both trees, one behind the other: who says the second is served both."""
    body = MAGIC + struct.pack("<H", VERSION) + fingerprint[:8] + struct.pack("<H", len(selection))
    for oid in selection:
        body += bytes([len(oid)]) + oid.encode()
    return encoded(HELLO, body + fingerprint[8:])


def received(connection, length):
    data = b""
    while len(data) < length:
        part = connection.recv(min(length - len(data), 1 << 20))
        if not part:
            raise ConnectionError("hung up")
        data += part
    return data


def message(connection):
    """The type and the body of the next message."""
    length, kind = struct.unpack("<IB", received(connection, 5))
    return kind, received(connection, length - 1)


def fingerprint(ketmon):
    """What both trees of a ketmon's statistics are known by, as its console tells a listener."""
    with socket.create_server(("127.0.0.1", 0)) as listener:
        listener.settimeout(30)
        console = subprocess.Popen([ketmon, "console", f"127.0.0.1:{listener.getsockname()[1]}"],
                                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        try:
            connection, _ = listener.accept()
            with connection:
                connection.settimeout(30)
                kind, body = message(connection)
        finally:
            console.kill()
            console.wait(20)
    if kind != HELLO or body[:6] != MAGIC + struct.pack("<H", VERSION):
        raise RuntimeError(f"{ketmon} speaks another version of the protocol")
    return body[6:14] + body[-8:]


class Client:
    """A console that takes what comes, on a blocking socket."""

    def __init__(self, address, own, selection=(), timeout=30):
        self.socket = socket.create_connection(address, timeout=timeout)
        self.socket.sendall(hello(own, selection))

    def next(self):
        """The next message that isn't a heartbeat."""
        while True:
            kind, body = message(self.socket)
            if kind != HEARTBEAT:
                return kind, body

    def begun(self):
        """Takes welcome and full sample; the text of a refusal where it gets that instead, and otherwise nothing."""
        # An agent may find out that it can't serve somebody when it is about to.
        for expected in (WELCOME, FULL):
            kind, body = self.next()
            if kind == REFUSAL:
                return body.decode(errors="replace")
            if kind != expected:
                raise ConnectionError(f"a message of type {kind} came where {expected} was due")
        return None

    def close(self):
        self.socket.close()


class Company(threading.Thread):
    """Clients that stay: each is heard of once a second, and takes what it is sent."""

    def __init__(self):
        super().__init__(daemon=True)
        self.sockets = []
        self.lost = set()
        self.done = threading.Event()
        self.start()

    def __len__(self):
        return len(self.sockets)

    def add(self, client):
        client.socket.setblocking(False)
        self.sockets.append(client.socket)

    def run(self):
        while not self.done.wait(1):
            for connection in list(self.sockets):
                # One that the agent let go of stays among them: it was served.
                try:
                    connection.send(encoded(HEARTBEAT))
                    while connection.recv(1 << 20):
                        pass
                    self.lost.add(connection)
                except BlockingIOError:
                    pass
                except OSError:
                    self.lost.add(connection)

    def leave(self):
        self.done.set()
        self.join(30)
        for connection in self.sockets:
            connection.close()
