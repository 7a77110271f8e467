"""Clients that misbehave."""

import random
import select
import socket
import struct
import threading
import time

import protocol


class Crowd(threading.Thread):
    """So many clients of a kind at a time, in a network namespace; one that is turned away comes again.

    mute: says nothing. stalled: says hello and heartbeats, and never reads. slow: the same, but reads a byte a second.
    garbage: sends bytes that mean nothing. storm: says hello and hangs up at once.
    """

    def __init__(self, kind, count, space, address, fingerprint, selection=()):
        super().__init__(daemon=True)
        self.kind, self.count, self.space, self.address = kind, count, space, address
        self.hello = protocol.hello(fingerprint, selection)
        self.random = random.Random(kind)
        self.done = threading.Event()
        self.connections = 0
        self.start()

    def run(self):
        clients = {}  # with when each acts next
        with self.space.entered():
            while not self.done.is_set():
                # Not all at once: there are others in this program.
                for _ in range(min(20, self.count - len(clients))):
                    client = self.connected()
                    if client:
                        clients[client] = time.monotonic()
                for client in list(clients):
                    if self.done.is_set():
                        break
                    if clients[client] <= time.monotonic():
                        clients[client] = time.monotonic() + 1
                        if not self.acts(client):
                            del clients[client]
                            client.close()
                self.done.wait(0.05)
        for client in clients:
            client.close()

    def connected(self):
        client = socket.socket()
        client.settimeout(0.5)
        if self.kind in ("stalled", "slow"):
            client.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 2048)
        try:
            client.connect(self.address)
            if self.kind in ("stalled", "slow", "storm"):
                client.sendall(self.hello)
        except OSError:
            client.close()
            return None
        self.connections += 1
        client.setblocking(False)
        return client

    def acts(self, client):
        """False once there is nothing left to do for it."""
        try:
            if self.kind == "storm":
                client.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
                return False
            if self.kind == "garbage":
                client.send(self.random.randbytes(2000))
            if self.kind in ("stalled", "slow"):
                client.send(protocol.encoded(protocol.HEARTBEAT))
            if self.kind == "stalled":
                return self.connected_still(client)
            return client.recv(1 if self.kind == "slow" else 65536) != b""
        except BlockingIOError:
            return True
        except OSError:
            return False

    @staticmethod
    def connected_still(client):
        poll = select.poll()
        poll.register(client, select.POLLHUP | select.POLLERR)
        return not poll.poll(0)

    def stop(self):
        self.done.set()
        self.join(30)
