"""A capture file in the making."""

import os
import random
import struct

FIRST_STAMP = 1577836800  # 2020-01-01 00:00:00 UTC; a frame comes each millisecond


class Capture:
    """Collects records; wire lengths may be anything, captured bytes are kept as they are."""

    def __init__(self, name, order="<", nanoseconds=False):
        self.name = name
        self.order = order
        self.nanoseconds = nanoseconds
        self.random = random.Random(name)
        self.records = []

    def add(self, frame, wire_length=None):
        self.records.append((frame, len(frame) if wire_length is None else wire_length))

    def add_cut(self, frame, captured_length, wire_length=None):
        self.add(frame[:captured_length], len(frame) if wire_length is None else wire_length)

    def write(self, folder):
        magic = 0xA1B23C4D if self.nanoseconds else 0xA1B2C3D4
        unit = 1000000 if self.nanoseconds else 1000
        with open(os.path.join(folder, self.name + ".pcap"), "wb") as file:
            file.write(struct.pack(self.order + "IHHiIII", magic, 2, 4, 0, 0, 262144, 1))
            for number, (frame, wire_length) in enumerate(self.records):
                seconds, thousandths = divmod(number, 1000)
                file.write(struct.pack(self.order + "IIII", FIRST_STAMP + seconds,
                                       thousandths * unit, len(frame), wire_length))
                file.write(frame)
