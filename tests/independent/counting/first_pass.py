"""What each frame adds to the first tree."""

from collections import namedtuple

from counting.first_tree import STANDARD_LIMITS, new_tree
from counting.frame import ARP, IP, OVERHEAD, TAGGED_802_3, TAGGED_ETHERNET_II, analyze_media
from counting.table import Ledger, add, add_received, add_transmitted

TCP, UDP = 6, 17
ARP_REQUEST, ARP_REPLY = 1, 2

IPPacket = namedtuple("IPPacket", "source destination protocol source_port destination_port")


def read_ip(frame, header):
    """Version, fragments and a header length below 5 aren't looked at: what
    stands where the ports would be is taken as ports."""
    transport = header + (frame.byte(header) & 0x0F) * 4
    return IPPacket(frame.bytes(header + 12, 4), frame.bytes(header + 16, 4),
                    frame.byte(header + 9), frame.word(transport), frame.word(transport + 2))


class Counter:
    """Takes frame after frame into one tree.

    `enabled` holds the numbers of the enabled groups, 1 to 9. `port_ranges`
    has one inclusive (low, high) for TCP and one for UDP.

    Stations, protocols and both connection tables are renewed by every frame
    that they count, so they lose the row that was idle longest. Ports,
    sub-protocols and ARP keep the order of creation and lose their first row.
    """

    def __init__(self, enabled, port_ranges, limits=None):
        self.enabled = enabled
        self.port_ranges = port_ranges
        self.frames = 0
        self.changed_bindings = 0  # of those that the frame teaches, how many are known otherwise
        self.limits = STANDARD_LIMITS if limits is None else limits
        # Of the ports of all stations, those that were given up included.
        self.station_ledgers = {"tcp": Ledger(), "udp": Ledger()}
        self.tree = new_tree(self.limits, self.station_ledgers)

    def count(self, frame):
        media = analyze_media(frame)
        size = (frame.wire_length & 0xFFFF) + OVERHEAD
        broadcast = media.destination == b"\xff" * 6
        unicast = not media.destination[0] & 1
        packet = None

        self.frames += 1
        self.changed_bindings = 0
        self.count_globally(size)
        if 4 in self.enabled:
            self.count_type(broadcast, unicast, size)
            self.count_size(size)
        if 6 in self.enabled:
            self.count_protocol(media, size)
        if 8 in self.enabled and unicast and media.protocol == IP:
            packet = read_ip(frame, media.network_offset)
            self.count_ip_connection(packet, size)
            self.count_subprotocol(packet, size)
            self.count_ports(packet, size)
        if 5 in self.enabled:
            self.count_source_station(media, packet, size)
        if 5 in self.enabled and unicast:
            self.count_destination_station(media, packet, size)
        if (5 in self.enabled or 7 in self.enabled) and unicast:
            self.count_mac_connection(media, size)
        if packet is None and media.protocol == ARP:
            self.learn_from_arp(frame, media.network_offset)

    def count_globally(self, size):
        add(self.tree["Global statistics"], "Global transmitted frames", "Global transmitted data",
            size)

    def count_type(self, broadcast, unicast, size):
        name = "Unicast" if unicast else "Broadcast" if broadcast else "Multicast"
        add(self.tree["Frame tables"]["Frame types"][name], "Frames", "Data", size)

    def count_size(self, size):
        limits = ((64, "<= 64 B"), (128, "64 - 128 B"), (256, "128 - 256 B"),
                  (512, "256 - 512 B"), (1024, "512 - 1024 B"))
        name = next((name for limit, name in limits if size <= limit), "> 1024 B")
        add(self.tree["Frame tables"]["Frame sizes"][name], "Frames", "Data", size)

    def count_protocol(self, media, size):
        """Every frame has a row here, whatever its protocol."""
        self.count_renewing("Network protocols", media.protocol, size)

    def count_ip_connection(self, packet, size):
        self.count_renewing("IP traffic", (packet.source, packet.destination), size)

    def count_mac_connection(self, media, size):
        self.count_renewing("MAC traffic", (media.source, media.destination), size)

    def count_renewing(self, table_name, key, size):
        table = self.tree[table_name]
        add_transmitted(table.find_or_create(key), size)
        table.renew(key)

    def count_subprotocol(self, packet, size):
        add_transmitted(self.tree["IP subprotocols"].find_or_create(packet.protocol), size)

    def count_ports(self, packet, size):
        self.count_source_port(self.tree["IP ports"], packet, size)
        self.count_destination_port(self.tree["IP ports"], packet, size)

    def count_source_station(self, media, packet, size):
        """Group addresses have a real sender too, so every frame comes here."""
        stations = self.tree["Network stations"]
        station = stations.find_or_create(media.source)
        add_transmitted(station, size)
        if media.format in (TAGGED_ETHERNET_II, TAGGED_802_3):
            # The low byte of the VLAN number only; a later untagged frame leaves it.
            station["VLAN ID"] = str(media.vlan_tag[1])
        stations.renew(media.source)
        if packet is not None:
            self.count_source_port(station, packet, size)

    def count_destination_station(self, media, packet, size):
        stations = self.tree["Network stations"]
        station = stations.find_or_create(media.destination)
        add_received(station, size)
        stations.renew(media.destination)
        if packet is not None:
            self.count_destination_port(station, packet, size)

    def count_source_port(self, owner, packet, size):
        ports = self.port_table(owner, packet.protocol, packet.source_port)
        if ports is not None:
            add_transmitted(ports.find_or_create(packet.source_port), size)

    def count_destination_port(self, owner, packet, size):
        ports = self.port_table(owner, packet.protocol, packet.destination_port)
        if ports is not None:
            add_received(ports.find_or_create(packet.destination_port), size)

    def port_table(self, owner, protocol, port):
        """The table of the owner that takes the port; None if no table does."""
        if protocol not in self.port_ranges:
            return None
        low, high = self.port_ranges[protocol]
        if not low <= port <= high:
            return None
        return owner["TCP ports" if protocol == TCP else "UDP ports"]

    def learn_from_arp(self, frame, header):
        """The lengths in the header place the addresses, but six bytes of a
        hardware address and four of a protocol address are taken always."""
        hlen, plen = frame.byte(header + 4), frame.byte(header + 5)
        opcode = frame.word(header + 6)
        if frame.word(header + 2) != IP or opcode not in (ARP_REQUEST, ARP_REPLY):
            return
        sender = header + 8
        target = sender + hlen + plen
        sender_ip = frame.bytes(sender + hlen, 4)
        if any(sender_ip):  # 0 is a probe for an address
            self.learn_binding(sender_ip, frame.bytes(sender, 6))
        if opcode == ARP_REPLY:  # a request asks for the target, a reply knows it
            changed = self.changed_bindings
            self.learn_binding(frame.bytes(target + hlen, 4), frame.bytes(target, 6))
            if frame.bytes(target + hlen, 4) == sender_ip:
                self.changed_bindings = changed  # who replies to itself names no other end

    def learn_binding(self, ip, mac):
        self.changed_bindings += self.tree["ARP connections"].learn(ip, mac)
