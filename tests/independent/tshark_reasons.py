"""Why tshark tells something else of a frame than the count does. Each reason is checked against the bytes of the
frame; what none of them explains is a mistake of one of the two."""

from counting import ipv6, transport
from counting.first_pass import TCP, UDP
from counting.frame import ARP, IP, IPV6, TAGGED_802_3, VLAN_TAGS, Packet, analyze_media
from counting.ipv6 import EXTENSIONS, FRAGMENT, MOBILITY, MOST_EXTENSIONS
from counting.signals import TUNNEL_PORTS

LEAST_HEADERS = {TCP: 20, UDP: 8, 1: 8, 58: 8}
ABOVE = ("number", "ports", "binding", "signals", "tunnel")  # what depends on the headers behind the first


class Case:
    def __init__(self, frame, view):
        self.frame = frame
        self.view = view
        self.media = analyze_media(frame)
        self.packet = Packet(frame, self.media.network_offset)
        self.family = self.media.protocol if self.media.protocol in (IP, IPV6) else None
        self.snap = frame.bytes(self.media.network_offset - 8, 3) == b"\xaa\xaa\x03"
        self.carried = transport.read(self.packet, self.media.protocol)
        self.passed = passed_headers(self.packet) if self.family == IPV6 else []

    def end(self):
        """How far the count read from the network header on."""
        if self.carried.payload is not None:
            return self.carried.payload + LEAST_HEADERS.get(self.carried.number, 4)
        if self.family == IP:
            return (self.packet.byte(0) & 15) * 4
        return self.passed[-1][1] + 8 if self.passed else ipv6.HEADER


def passed_headers(packet):
    """(number, offset) of each extension header as far as any of it was captured, without a limit on their count."""
    number, at, found = packet.byte(6), ipv6.HEADER, []
    while number in EXTENSIONS and packet.has(at, 1):
        found.append((number, at))
        length = ipv6.extension_length(packet, number, at)
        if number == FRAGMENT and packet.word(at + 2) >> 3:
            break
        number, at = packet.byte(at), at + length
    return found


def not_captured(case, key):
    """The count reads what wasn't captured as zero, or does with a part of a header. tshark takes whole headers."""
    return len(case.frame.captured) < case.frame.wire_length and "_ws.short" in case.view.damage


def given_up(case, key):
    """tshark found a header or an option that makes no sense, and says so."""
    return "_ws.malformed" in case.view.damage


def other_version(case, key):
    """The count doesn't look at the version."""
    return case.family is not None and case.packet.byte(0) >> 4 != (4 if case.family == IP else 6)


def mobility_is_the_end(case, key):
    """tshark reads a mobility header as the upper layer, whatever it says stands behind it."""
    return key in ABOVE and any(number == MOBILITY for number, _ in case.passed)


def seventeen_headers(case, key):
    """The count's walk is bounded."""
    return key in ABOVE and len(case.passed) > MOST_EXTENSIONS


def beyond_the_told_length(case, key):
    """tshark ends where the packet says that it ends; the count goes by what was captured."""
    return key in ABOVE and case.family is not None and case.end() > case.carried.length


def cut_extension(case, key):
    """An extension header that isn't captured whole ends the count's walk. tshark takes its number first."""
    if key not in ABOVE or not case.passed or case.carried.payload is not None:
        return False
    number, at = case.passed[-1]
    return not case.packet.has(at, ipv6.extension_length(case.packet, number, at))


def length_behind_provider_tag(case, key):
    """Behind a tag 88A8 (or 9100) tshark looks for types alone, not for the lengths of 802.3."""
    return "ieee8021ad" in case.view.names and case.media.format == TAGGED_802_3


def header_of_no_size(case, key):
    """A header length below 5 ends tshark's reading, of IPv4 as of TCP. The count takes it as it stands, and of TCP it
    isn't looked at."""
    if key not in ABOVE or case.carried is None:
        return False
    at = case.carried.payload
    return (case.family == IP and case.packet.byte(0) & 15 < 5 or
            case.carried.number == TCP and at is not None and case.packet.byte(at + 12) >> 4 < 5)


def tag_in_snap(case, key):
    """tshark takes the type of a tag in SNAP for a tag. To the count it is a protocol."""
    return case.media.protocol in VLAN_TAGS


def organisation(case, key):
    """In SNAP the count doesn't ask whose number the protocol is."""
    return case.snap and any(case.frame.bytes(case.media.network_offset - 5, 3))


def odd_addresses(case, key):
    """tshark shows IPv4 addresses in ARP where the lengths are those of Ethernet and IPv4."""
    return key == "signals" and case.media.protocol == ARP and (case.packet.byte(4), case.packet.byte(5)) != (6, 4)


def later_part(case, key):
    """The protocol of a part that isn't the first counts as a tunnel; tshark sees bytes."""
    return key == "tunnel" and case.carried is not None and case.carried.payload is None and case.carried.fragment


def named_by_its_version(case, key):
    """tshark calls the packet inside by its own version, not by the number that the outer one has for it."""
    if key != "tunnel" or case.carried is None or case.carried.payload is None:
        return False
    inside = case.packet.byte(case.carried.payload) >> 4
    return (case.carried.number, inside) in ((4, 6), (41, 4)) or case.carried.number in (4, 41) and inside not in (4, 6)


def other_port(case, key):
    """tshark takes a tunnel for what its source port says too, and knows VXLAN at 4790, with its extension."""
    if key != "tunnel" or case.carried is None or case.carried.number != UDP or case.carried.payload is None:
        return False
    ports = {case.packet.word(case.carried.payload), case.packet.word(case.carried.payload + 2)}
    return not ports.isdisjoint({*TUNNEL_PORTS, 4790})


def told_length_of_zero(case, key):
    """tshark works a total length of 0 out from the frame, as segmentation by an adapter leaves it."""
    return key == "signals" and case.family == IP and case.packet.word(2) == 0


REASONS = (not_captured, given_up, other_version, seventeen_headers, mobility_is_the_end, cut_extension,
           beyond_the_told_length, header_of_no_size, length_behind_provider_tag, tag_in_snap,
           organisation, odd_addresses, later_part, named_by_its_version, other_port, told_length_of_zero)


def reason(frame, view, key):
    case = Case(frame, view)
    return next((reason.__name__ for reason in REASONS if reason(case, key)), None)
