#!/usr/bin/env python3
"""Holds the text of IPv6 addresses that the independent count writes against Python's and the system's.

Neither is the last word alone: for an IPv4-mapped address the former has hexadecimal words in older versions, and for
an address that begins with twelve zero bytes the latter has a dotted end, which RFC 5952 leaves to known prefixes.
"""

import ipaddress
import random
import socket
import sys

from counting.text import ipv6_text

# By hand, from the rules and the examples of RFC 5952.
EXAMPLES = {
    "::": "::",
    "::1": "::1",
    "1::": "1::",
    "2001:0db8::0001": "2001:db8::1",
    "2001:db8:0:0:0:0:2:1": "2001:db8::2:1",
    "2001:db8:0:1:1:1:1:1": "2001:db8:0:1:1:1:1:1",
    "2001:0:0:1:0:0:0:1": "2001:0:0:1::1",
    "2001:db8:0:0:1:0:0:1": "2001:db8::1:0:0:1",
    "2001:DB8::ABCD": "2001:db8::abcd",
    "0:0:1:0:0:0:0:0": "0:0:1::",
    "0:1:0:1:0:1:0:1": "0:1:0:1:0:1:0:1",
    "ff02::1:ff00:0": "ff02::1:ff00:0",
    "::ffff:192.0.2.1": "::ffff:192.0.2.1",
    "::ffff:0.0.0.0": "::ffff:0.0.0.0",
    "::ffff:0:192.0.2.1": "::ffff:0:c000:201",
    "::192.0.2.1": "::c000:201",
    "64:ff9b::192.0.2.33": "64:ff9b::c000:221",
}


def samples(rng):
    """Words that are zero by every chance, so that all runs come about."""
    for zeros in range(256):
        yield b"".join(bytes(2) if zeros >> word & 1 else rng.randbytes(2) for word in range(8))
        yield b"".join(bytes(2) if zeros >> word & 1 else bytes((0, rng.randrange(1, 256))) for word in range(8))
    for _ in range(2000):
        yield rng.randbytes(16)
        yield bytes(10) + b"\xff\xff" + rng.randbytes(4)


def complaints():
    for written, expected in EXAMPLES.items():
        if ipv6_text(socket.inet_pton(socket.AF_INET6, written)) != expected:
            yield f"{written}: {ipv6_text(socket.inet_pton(socket.AF_INET6, written))} instead of {expected}"
    for address in samples(random.Random("addresses")):
        text = ipv6_text(address)
        if ipaddress.IPv6Address(text).packed != address:
            yield f"{address.hex()}: {text} is another address"
        mapped = address[:12] == bytes(10) + b"\xff\xff"
        if not mapped and text != str(ipaddress.IPv6Address(address)):
            yield f"{address.hex()}: {text} instead of {ipaddress.IPv6Address(address)}"
        if address[:12] != bytes(12) and text != socket.inet_ntop(socket.AF_INET6, address):
            yield f"{address.hex()}: {text} instead of {socket.inet_ntop(socket.AF_INET6, address)}"


if __name__ == "__main__":
    found = list(complaints())
    print("\n".join([*found[:20], f"{len(found)} complaints"]))
    sys.exit(1 if found else 0)
