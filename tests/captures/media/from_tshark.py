#!/usr/bin/env python3
"""What tshark says of the conversations in the captures of this folder: from_tshark.py > conversations.json

For each file, by source and destination: frames and bytes. Those that tshark shows as broadcast or multicast by the packet
type of their medium are left out, as they are in the table of IP traffic.
"""

import json
import pathlib
import subprocess


def conversations(path):
    command = ["tshark", "-n", "-r", str(path), "-T", "fields", "-E", "occurrence=f", "-e", "ip.src", "-e", "ip.dst",
               "-e", "frame.len", "-e", "sll.pkttype"]
    output = subprocess.run(command, check=True, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True).stdout
    counted = {}
    for line in output.splitlines():
        source, destination, length, packet_type = line.split("\t")
        if source and packet_type not in ("1", "2"):
            row = counted.setdefault(source + " " + destination, [0, 0])
            row[0] += 1
            row[1] += int(length)
    return counted


def main():
    folder = pathlib.Path(__file__).resolve().parent
    files = sorted(file for file in folder.iterdir() if file.suffix in (".pcap", ".pcapng"))
    rows = [f"  {json.dumps(file.name)}: {json.dumps(conversations(file))}" for file in files]
    print("{\n" + ",\n".join(rows) + "\n}")


if __name__ == "__main__":
    main()
