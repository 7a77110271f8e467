"""What each frame adds to the second tree."""

from counting import ipv6, transport
from counting.first_pass import TCP, UDP
from counting.frame import IPV6, OVERHEAD, Packet, analyze_media
from counting.neighbours import learned
from counting.second_tree import SIGNALS, TUNNELS, STANDARD_LIMITS, new_tree
from counting.signals import signals, tunnel
from counting.table import add, add_received, add_transmitted
from counting.vlans import outer_and_inner

TRAFFIC, PROTOCOLS, PORTS, VLANS, NEIGHBOURS, SIGNALLED, TUNNELLED = range(1, 8)


class SecondPass:
    """Takes frame after frame into one tree. `enabled` holds the numbers of the enabled groups, 1 to 7.

    The traffic is renewed by every frame that it counts. The others keep the order of creation.
    """

    def __init__(self, enabled, port_ranges, limits=None):
        self.enabled = enabled
        self.port_ranges = port_ranges
        self.tree = new_tree(STANDARD_LIMITS if limits is None else limits)

    def count(self, frame, changed_bindings):
        """`changed_bindings`: how many of those that the frame taught by ARP the first tree knew otherwise."""
        media = analyze_media(frame)
        size = (frame.wire_length & 0xFFFF) + OVERHEAD
        unicast = not media.destination[0] & 1
        packet = Packet(frame, media.network_offset)
        carried = transport.read(packet, media.protocol)

        if media.protocol == IPV6 and unicast:
            self.count_connection(packet, size)
            self.count_protocol(carried, size)
            self.count_ports(packet, carried, size)
        if VLANS in self.enabled:
            self.count_tags(frame, size)
        if media.protocol == IPV6 and NEIGHBOURS in self.enabled:
            changed_bindings += self.learn(learned(packet, carried.walk))
        if SIGNALLED in self.enabled:
            self.count_signals(signals(packet, media.protocol, carried, frame.wire_length - media.network_offset))
            self.add_signals("changedBindings", changed_bindings)
        if TUNNELLED in self.enabled:
            self.count_tunnel(tunnel(packet, media.protocol, carried), size)

    def count_connection(self, packet, size):
        if TRAFFIC not in self.enabled:
            return
        table, pair = self.tree["IPv6 traffic"], ipv6.read_addresses(packet)
        add_transmitted(table.find_or_create(pair), size)
        table.renew(pair)

    def count_protocol(self, carried, size):
        if PROTOCOLS in self.enabled:
            add_transmitted(self.tree["IPv6 protocols"].find_or_create(carried.number), size)

    def count_ports(self, packet, carried, size):
        """A packet whose ports weren't captured has none."""
        if PORTS not in self.enabled or carried.number not in (TCP, UDP):
            return
        if carried.payload is None or not packet.has(carried.payload, 4):
            return
        table = self.tree["IPv6 ports"]["TCP ports" if carried.number == TCP else "UDP ports"]
        low, high = self.port_ranges[carried.number]
        source, destination = packet.word(carried.payload), packet.word(carried.payload + 2)
        if low <= source <= high:
            add_transmitted(table.find_or_create(source), size)
        if low <= destination <= high:
            add_received(table.find_or_create(destination), size)

    def count_tags(self, frame, size):
        outer, inner = outer_and_inner(frame)
        if outer is not None:
            add_transmitted(self.tree["VLANs"]["Outer VLANs"].find_or_create(outer), size)
        if inner is not None:
            add_transmitted(self.tree["VLANs"]["Inner VLANs"].find_or_create(inner), size)

    def learn(self, binding):
        """The first binding seen for an address stays; 1 if that is another one."""
        if binding is None:
            return 0
        return self.tree["IPv6 neighbours"].learn(*binding)

    def count_signals(self, names):
        for name in names:
            self.add_signals(name, 1)

    def add_signals(self, name, count):
        """Counts wrap at 32 bits unsigned."""
        text = SIGNALS[name]
        self.tree["Signals"][text] = (self.tree["Signals"][text] + count) & 0xFFFFFFFF

    def count_tunnel(self, name, size):
        if name is not None:
            add(self.tree["Tunnels"][TUNNELS[name]], "Frames", "Data", size)
