#!/usr/bin/env python3
"""Writes frames of captures as the first inputs of the fuzzer: seeds.py DIRECTORY CAPTURE...

Of each capture it takes frames spread over the file, at most PER_CAPTURE, cut to LONGEST bytes: what a frame
holds behind its headers doesn't guide the fuzzer anywhere.
"""

import hashlib
import pathlib
import struct
import sys

PER_CAPTURE = 40
LONGEST = 256

PCAP = {b"\xd4\xc3\xb2\xa1": "<", b"\x4d\x3c\xb2\xa1": "<",  # microseconds, nanoseconds
        b"\xa1\xb2\xc3\xd4": ">", b"\xa1\xb2\x3c\x4d": ">"}
PCAPNG = b"\x0a\x0d\x0d\x0a"
ENHANCED_PACKET = 6


def pcap_frames(content, order):
    at = 24
    while at + 16 <= len(content):
        captured = struct.unpack_from(order + "I", content, at + 8)[0]
        yield content[at + 16:at + 16 + captured]
        at += 16 + captured


def pcapng_frames(content):
    order = "<" if content[8:12] == b"\x4d\x3c\x2b\x1a" else ">"
    at = 0
    while at + 12 <= len(content):
        kind, length = struct.unpack_from(order + "II", content, at)
        if kind == ENHANCED_PACKET:
            captured = struct.unpack_from(order + "I", content, at + 20)[0]
            yield content[at + 28:at + 28 + captured]
        at += max(length, 12)


def frames(path):
    content = path.read_bytes()
    if content[:4] in PCAP:
        return list(pcap_frames(content, PCAP[content[:4]]))
    if content[:4] == PCAPNG:
        return list(pcapng_frames(content))
    raise SystemExit("%s is no capture" % path)


def main(directory, *captures):
    target = pathlib.Path(directory)
    target.mkdir(parents=True, exist_ok=True)
    for capture in captures:
        all_frames = frames(pathlib.Path(capture))
        step = max(1, len(all_frames) // PER_CAPTURE)
        for frame in all_frames[::step][:PER_CAPTURE]:
            seed = frame[:LONGEST]
            (target / hashlib.sha1(seed).hexdigest()).write_bytes(seed)


if __name__ == "__main__":
    if len(sys.argv) < 3:
        raise SystemExit(__doc__)
    main(*sys.argv[1:])
