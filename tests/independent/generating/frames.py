"""The bytes of frames, from the Ethernet header to ports and ARP."""

import struct

IP, ARP, IPV6 = 0x0800, 0x0806, 0x86DD
TCP, UDP = 6, 17
TAG_TYPES = (0x8100, 0x88A8, 0x9100)
BROADCAST = b"\xff" * 6
MULTICAST = b"\x01\x00\x5e\x01\x02\x03"


def mac(number):
    return b"\x02" + number.to_bytes(5, "big")


def ip(network, number):
    return bytes((network,)) + number.to_bytes(3, "big")


def noise(rng, count):
    return bytes(rng.randrange(256) for _ in range(count))


def tag(kind, value):
    return struct.pack(">HH", kind, value)


def ethernet(destination, source, kind, payload, tags=b""):
    return destination + source + tags + struct.pack(">H", kind) + payload


def ieee(destination, source, payload, tags=b""):
    """802.3: a length stands where the type would."""
    return ethernet(destination, source, len(payload), payload, tags)


def snap(protocol, payload, organisation=b"\0\0\0"):
    return b"\xaa\xaa\x03" + organisation + struct.pack(">H", protocol) + payload


def ipv4(source, destination, protocol, payload, words=5, version=4, options=b""):
    header = struct.pack(">BBHHHBBH", version << 4 | words, 0, 20 + len(options) + len(payload),
                         0, 0, 64, protocol, 0)
    return header + source + destination + options + payload


def ports(source, destination):
    return struct.pack(">HHHH", source, destination, 8, 0)


def packet(source, destination, protocol, source_port, destination_port):
    return ipv4(source, destination, protocol, ports(source_port, destination_port))


def arp(opcode, sender_mac, sender_ip, target_mac, target_ip, protocol=IP, hlen=6, plen=4):
    return struct.pack(">HHBBH", 1, protocol, hlen, plen, opcode) + \
        sender_mac + sender_ip + target_mac + target_ip
