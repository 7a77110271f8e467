"""Signals and tunnels: what a frame tells by its mere headers, each by the name that the library's member has."""

from counting.first_pass import ARP_REPLY, ARP_REQUEST, TCP, UDP
from counting.frame import ARP, IP, IPV6

FIN, SYN, RST, ACK = 0x01, 0x02, 0x04, 0x10
ICMP, ICMPV6 = 1, 58
IP_IN_IP, IPV6_IN_IP, GRE = 4, 41, 47
FRAGMENTATION_NEEDED = 4

ICMP_ERRORS = {3: "unreachable", 4: "sourceQuench", 5: "redirects", 11: "timeExceeded", 12: "parameterProblem"}
ICMPV6_ERRORS = {1: "unreachable", 2: "packetTooBig", 3: "timeExceeded", 4: "parameterProblem", 137: "redirects"}

TUNNEL_PORTS = {4789: "vxlan", 6081: "geneve"}
TUNNEL_TYPES = {0x8863: "pppoe", 0x8864: "pppoe", 0x8847: "mpls", 0x8848: "mpls"}


def signals(packet, protocol, carried, room):
    """The names of all that the frame signals but changed bindings, which depend on what came before. `room` is what
    the frame had on the wire for the packet."""
    if protocol == ARP:
        return arp_signals(packet)
    if carried is None:
        return []
    found = []
    if carried.payload is not None and carried.number == TCP:
        found += tcp_signals(packet, carried.payload)
    if carried.payload is not None and (carried.family, carried.number) == (IP, ICMP):
        found += icmp_signals(packet, carried.payload)
    if carried.payload is not None and (carried.family, carried.number) == (IPV6, ICMPV6):
        found += icmpv6_signals(packet, carried.payload)
    if carried.fragment:
        found.append("fragments")
    if carried.length > max(room, 0):
        found.append("overlongPackets")
    return found


def tcp_signals(packet, at):
    flags = packet.byte(at + 13)
    found = []
    if flags & SYN:
        found.append("tcpAccepted" if flags & ACK else "tcpRequested")
    if flags & FIN:
        found.append("tcpEnded")
    if flags & RST:
        found.append("tcpReset")
    if not flags & (SYN | FIN | RST) and packet.has(at, 16) and packet.word(at + 14) == 0:
        found.append("zeroWindows")
    return found


def icmp_signals(packet, at):
    kind, code = packet.byte(at), packet.byte(at + 1)
    if kind == 3 and code == FRAGMENTATION_NEEDED:
        return ["packetTooBig"]
    return [ICMP_ERRORS[kind]] if kind in ICMP_ERRORS else []


def icmpv6_signals(packet, at):
    kind = packet.byte(at)
    return [ICMPV6_ERRORS[kind]] if kind in ICMPV6_ERRORS else []


def arp_signals(packet):
    """The lengths in the header place the addresses."""
    hardware, protocol = packet.byte(4), packet.byte(5)
    opcode = packet.word(6)
    if packet.word(2) != IP or opcode not in (ARP_REQUEST, ARP_REPLY):
        return []
    sender = packet.bytes(8 + hardware, 4)
    target = packet.bytes(8 + 2 * hardware + protocol, 4)
    found = ["arpRequests" if opcode == ARP_REQUEST else "arpReplies"]
    if sender == target and any(sender):
        found.append("gratuitousArps")
    return found


def tunnel(packet, protocol, carried):
    """The name of the kind of tunnel, or None."""
    if carried is None:
        return TUNNEL_TYPES.get(protocol)
    if carried.number == IP_IN_IP:
        return "ipInIp"
    if carried.number == IPV6_IN_IP:
        return "sixInFour" if carried.family == IP else "ipInIp"
    if carried.number == GRE:
        return "gre"
    if carried.number == UDP and carried.payload is not None and packet.has(carried.payload, 4):
        return TUNNEL_PORTS.get(packet.word(carried.payload + 2))
    return None
