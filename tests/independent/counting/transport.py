"""What carries what: the protocol that an IP packet of either family has, and where its header stands."""

from collections import namedtuple

from counting import ipv6
from counting.frame import IP, IPV6

# family: IP or IPV6
# number: the protocol, of a part that isn't the first too
# payload: where the protocol's header stands; None in a part that isn't the first, and where a walk doesn't get there
# fragment: this is one of several parts
# walk: of IPv6
# length: what the header says that the packet has
Carried = namedtuple("Carried", "family number payload fragment walk length")


def read(packet, protocol):
    """None for what is neither."""
    if protocol == IP:
        return from_ipv4(packet)
    if protocol == IPV6:
        walk = ipv6.walk(packet)
        return Carried(IPV6, walk.number, walk.payload, walk.fragment, walk, packet.word(4) + ipv6.HEADER)
    return None


def from_ipv4(packet):
    """The header's length is taken as it stands."""
    offset, more = packet.word(6) & 0x1FFF, packet.word(6) & 0x2000
    payload = None if offset else (packet.byte(0) & 15) * 4
    return Carried(IP, packet.byte(9), payload, bool(offset or more), None, packet.word(2))
