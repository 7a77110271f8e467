"""What the count takes from one frame, without any table: what another tool is asked for as well."""

from counting import ipv6, transport
from counting.first_pass import TCP, UDP
from counting.frame import IPV6, Packet, analyze_media
from counting.neighbours import learned
from counting.signals import signals, tunnel
from counting.text import ipv6_text, mac_text
from counting.vlans import outer_and_inner


def facts(frame):
    """By name; None for what a frame doesn't have."""
    media = analyze_media(frame)
    packet = Packet(frame, media.network_offset)
    carried = transport.read(packet, media.protocol)
    found = dict.fromkeys(("pair", "number", "ports", "binding"))
    if media.protocol == IPV6:
        found["pair"] = tuple(map(ipv6_text, ipv6.read_addresses(packet)))
        found["number"] = carried.number
        found["ports"] = ports(packet, carried)
        found["binding"] = binding(packet, carried)
    found["vlans"] = outer_and_inner(frame)
    found["signals"] = tuple(sorted(signals(packet, media.protocol, carried,
                                            frame.wire_length - media.network_offset)))
    found["tunnel"] = tunnel(packet, media.protocol, carried)
    return found


def ports(packet, carried):
    if carried.number not in (TCP, UDP) or carried.payload is None or not packet.has(carried.payload, 4):
        return None
    return packet.word(carried.payload), packet.word(carried.payload + 2)


def binding(packet, carried):
    taught = learned(packet, carried.walk)
    return None if taught is None else (ipv6_text(taught[0]), mac_text(taught[1]))
