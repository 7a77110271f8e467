"""What tshark tells of each frame, in the terms of counting/facts.py.

Only the outermost network header is asked, as there, and what stands directly behind it. Parts of packets are looked
at one by one, without reassembly.
"""

import itertools
import socket
import subprocess
import xml.etree.ElementTree

from counting.first_pass import ARP_REPLY, ARP_REQUEST
from counting.signals import ICMP_ERRORS, ICMPV6_ERRORS
from counting.text import ipv6_text

PREFERENCES = ("ip.defragment:FALSE", "ipv6.defragment:FALSE", "tcp.desegment_tcp_streams:FALSE")
LINK = ("geninfo", "frame", "eth", "vlan", "ieee8021ad", "llc")
# Only these are written out. What carries a network header, or stands behind one, is among them.
WRITTEN = "geninfo eth vlan ieee8021ad llc ip ipv6 arp tcp udp icmp icmpv6 ah mipv6"

NEXT_HEADERS = ("ipv6.nxt", "ipv6.hopopts.nxt", "ipv6.routing.nxt", "ipv6.fraghdr.nxt", "ipv6.dstopts.nxt",
                "ah.next_header")
TAGS = ("vlan.id", "ieee8021ad.id", "ieee8021ad.svid", "ieee8021ad.cvid")
FIN, SYN, RST, ACK = 0x01, 0x02, 0x04, 0x10


def command(path, *arguments):
    preferences = [word for preference in PREFERENCES for word in ("-o", preference)]
    return ["tshark", "-n", *preferences, "-r", str(path), *arguments]


def frames(path):
    """A View of each frame."""
    process = subprocess.Popen(command(path, "-T", "pdml", "-J", WRITTEN), stdout=subprocess.PIPE,
                               stderr=subprocess.DEVNULL)
    for _, element in xml.etree.ElementTree.iterparse(process.stdout):
        if element.tag == "packet":
            yield View(element)
            element.clear()
    if process.wait() != 0:
        raise RuntimeError("tshark can't read %s" % path)


class Proto:
    """A header, and its fields by name in the order of the frame."""

    def __init__(self, element):
        self.name = element.get("name")
        self.position = int(element.get("pos") or 0)
        self.fields = [(field.get("name"), field.get("show")) for field in element.iter("field")]

    def all(self, *names):
        return [show for name, show in self.fields if name in names]

    def number(self, name):
        """None if the header has no such field."""
        shown = self.all(name)
        return int(shown[0], 0) if shown and shown[0] else None

    def text(self, name):
        shown = self.all(name)
        return shown[0] if shown else None


def is_protocol(name):
    """Bytes that nobody claims, and complaints, are none."""
    return not name.startswith("_ws.") and name not in ("data", "fake-field-wrapper")


def address(proto, name):
    """tshark writes a dotted end behind twelve zero bytes too, so the address counts, not its text."""
    text = proto.text(name)
    return None if text is None else ipv6_text(socket.inet_pton(socket.AF_INET6, text))


class View:
    def __init__(self, packet):
        every = [Proto(element) for element in packet.findall("proto")]
        self.damage = {proto.name for proto in every if proto.name.startswith("_ws.")}
        protos = [proto for proto in every if is_protocol(proto.name)]
        self.names = [proto.name for proto in protos]
        self.path = [name for name in self.names if name not in ("geninfo", "frame")]
        # What an ICMP error is about is quoted in it, and isn't listed by tshark.
        listed = itertools.takewhile(lambda proto: proto.name not in ("icmp", "icmpv6"), protos)
        self.every_ipv6 = [proto for proto in listed if proto.name == "ipv6"]
        above = [proto for proto in protos if proto.name not in LINK] + [None] * 3
        self.tags = [proto for proto in protos if proto.name in ("vlan", "ieee8021ad")]
        self.eth = next((proto for proto in protos if proto.name == "eth"), None)
        self.wire_length = protos[0].number("len")
        self.captured = protos[0].number("caplen")
        self.first, self.second, self.third = above[:3]
        self.family = self.first.name if self.first and self.first.name in ("ip", "ipv6") else None

    def is_unicast(self):
        """What is too short for an address is taken as zero."""
        octet = self.eth.text("eth.dst") if self.eth else None
        return octet is None or not int(octet[:2], 16) & 1

    def is_listed_surely(self):
        """tshark's lists of addresses are without some packets that end at their own headers: later parts, mobility
        headers, damage."""
        names = {name for proto in self.every_ipv6 for name, _ in proto.fields}
        later = any(int(offset, 0) for proto in self.every_ipv6 for offset in proto.all("ipv6.fraghdr.offset"))
        return not self.damage and not later and "mip6.proto" not in names

    def facts(self):
        found = dict.fromkeys(("pair", "number", "ports", "binding"))
        if self.family == "ipv6":
            found["pair"] = (address(self.first, "ipv6.src"), address(self.first, "ipv6.dst"))
            found["number"] = self.number()
            found["ports"] = self.ports()
            found["binding"] = self.binding()
        found["vlans"] = self.vlans()
        found["signals"] = tuple(sorted(self.signals()))
        found["tunnel"] = self.tunnel()
        return found

    def all_pairs(self):
        """Source and destination of every IPv6 header, those inside of tunnels too."""
        pairs = [(address(proto, "ipv6.src"), address(proto, "ipv6.dst")) for proto in self.every_ipv6]
        return [pair for pair in pairs if None not in pair]
    def number(self):
        numbers = self.first.all(*NEXT_HEADERS)
        return int(numbers[-1], 0) if numbers else None

    def ports(self):
        if self.second is None or self.second.name not in ("tcp", "udp"):
            return None
        ports = [self.second.number(self.second.name + way) for way in (".srcport", ".dstport")]
        return None if None in ports else tuple(ports)

    def vlans(self):
        numbers = [int(number, 0) for tag in self.tags for number in tag.all(*TAGS)]
        return tuple((numbers + [None] * 2)[:2])

    def signals(self):
        if self.first is not None and self.first.name == "arp":
            return self.arp_signals()
        found = []
        if self.family and self.second is not None:
            found += getattr(self, self.second.name + "_signals", list)()
        if self.family == "ipv6" and self.is_ipv6_fragment() or self.family == "ip" and self.is_ip_fragment():
            found.append("fragments")
        if self.family and self.told_length() > max(self.wire_length - self.first.position, 0):
            found.append("overlongPackets")
        return found

    def is_ipv6_fragment(self):
        return any(int(value, 0) for value in self.first.all("ipv6.fraghdr.offset", "ipv6.fraghdr.more"))

    def is_ip_fragment(self):
        return any(int(value, 0) for value in self.first.all("ip.frag_offset", "ip.flags.mf"))

    def told_length(self):
        if self.family == "ip":
            return self.first.number("ip.len") or 0
        return (self.first.number("ipv6.plen") or 0) + 40

    def tcp_signals(self):
        flags, window = self.second.number("tcp.flags"), self.second.number("tcp.window_size_value")
        if flags is None:
            return []
        found = []
        if flags & SYN:
            found.append("tcpAccepted" if flags & ACK else "tcpRequested")
        if flags & FIN:
            found.append("tcpEnded")
        if flags & RST:
            found.append("tcpReset")
        if not flags & (SYN | FIN | RST) and window == 0:
            found.append("zeroWindows")
        return found

    def icmp_signals(self):
        kind, code = self.second.number("icmp.type"), self.second.number("icmp.code")
        if self.family != "ip":
            return []
        if (kind, code) == (3, 4):
            return ["packetTooBig"]
        return [ICMP_ERRORS[kind]] if kind in ICMP_ERRORS else []

    def icmpv6_signals(self):
        kind = self.second.number("icmpv6.type")
        return [ICMPV6_ERRORS[kind]] if self.family == "ipv6" and kind in ICMPV6_ERRORS else []

    def arp_signals(self):
        opcode = self.first.number("arp.opcode")
        if self.first.number("arp.proto.type") != 0x0800 or opcode not in (ARP_REQUEST, ARP_REPLY):
            return []
        found = ["arpRequests" if opcode == ARP_REQUEST else "arpReplies"]
        source, target = self.first.text("arp.src.proto_ipv4"), self.first.text("arp.dst.proto_ipv4")
        if source == target and source not in (None, "0.0.0.0"):
            found.append("gratuitousArps")
        return found

    def tunnel(self):
        if self.first is None:
            return None
        if self.first.name in ("pppoed", "pppoes", "mpls"):
            return self.first.name.rstrip("ds") if self.first.name != "mpls" else "mpls"
        if not self.family or self.second is None:
            return None
        if (self.family, self.second.name) == ("ip", "ipv6"):
            return "sixInFour"
        if self.second.name in ("ip", "ipv6"):
            return "ipInIp"
        if self.second.name == "udp" and self.third is not None and self.third.name in ("vxlan", "geneve"):
            return self.third.name
        return "gre" if self.second.name == "gre" else None

    def binding(self):
        """By the checks of RFC 4861, from what tshark read of the message."""
        message = self.second
        if message is None or message.name != "icmpv6" or self.first.all("ipv6.fraghdr.nxt"):
            return None
        if self.first.number("ipv6.hlim") != 255 or message.number("icmpv6.code") != 0:
            return None
        kind, source = message.number("icmpv6.type"), self.first.text("ipv6.src")
        target = message.text("icmpv6.nd.ns.target_address") or message.text("icmpv6.nd.na.target_address")
        if kind == 134 and source.startswith(("fe8", "fe9", "fea", "feb")):
            return self.bound(source, 1)
        if kind == 135 and not source.startswith("ff") and target and not target.startswith("ff"):
            return self.bound(source, 1)
        if kind == 136 and target and not target.startswith("ff"):
            return self.bound(target, 2)
        return None

    def bound(self, address, wanted):
        kinds = [int(kind, 0) for kind in self.second.all("icmpv6.opt.type")]
        lengths = [int(length, 0) for length in self.second.all("icmpv6.opt.length")]
        macs = self.second.all("icmpv6.opt.src_linkaddr" if wanted == 1 else "icmpv6.opt.target_linkaddr")
        if address == "::" or wanted not in kinds or 0 in lengths or not macs or self.damage:
            return None
        return (address, macs[0].replace(":", "-").upper()) if lengths[kinds.index(wanted)] == 1 else None
