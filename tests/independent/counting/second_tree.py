"""The rows and tables of the second tree, by the names that they are shown with."""

from counting.first_tree import connection_row, subprotocol_row, tcp_port_row, udp_port_row
from counting.table import Table, frame_table
from counting.text import id_text, ipv6_row_text, mac_text

STANDARD_LIMITS = {
    "ipv6_traffic": 1000,
    "ipv6_protocols": 200,
    "ipv6_tcp_ports": 1000,
    "ipv6_udp_ports": 1000,
    "vlans": 4097,
    "inner_vlans": 4097,
    "neighbours": 200,
}

# By the name of the library's member, in the order of their ids.
SIGNALS = {
    "tcpRequested": "Connections requested",
    "tcpAccepted": "Connections accepted",
    "tcpEnded": "Connections ended",
    "tcpReset": "Connections reset",
    "zeroWindows": "Zero windows",
    "fragments": "Fragments",
    "unreachable": "Destination unreachable",
    "packetTooBig": "Packet too big",
    "timeExceeded": "Time exceeded",
    "parameterProblem": "Parameter problem",
    "redirects": "Redirects",
    "sourceQuench": "Source quench",
    "arpRequests": "ARP requests",
    "arpReplies": "ARP replies",
    "gratuitousArps": "Gratuitous ARPs",
    "changedBindings": "Changed bindings",
    "overlongPackets": "Overlong packets",
}

TUNNELS = {
    "ipInIp": "IP in IP",
    "sixInFour": "6in4",
    "gre": "GRE",
    "vxlan": "VXLAN",
    "geneve": "Geneve",
    "pppoe": "PPPoE",
    "mpls": "MPLS",
}


def ipv6_connection_row(pair):
    return connection_row(*map(ipv6_row_text, pair))


def vlan_row(identifier):
    return {
        "VLAN identifier": id_text(identifier),
        "Data transmitted": 0,
        "Frames transmitted": 0,
        "Average frame size": 0,
        "Percentage": 0.0,
    }


def neighbour_row(address, mac):
    return {"MAC address": mac_text(mac), "IPv6 address": ipv6_row_text(address)}


def new_tree(limits):
    """The whole tree in the order of its ids, all counters zero."""
    return {
        "IPv6 traffic": Table(limits["ipv6_traffic"], ipv6_connection_row),
        "IPv6 protocols": Table(limits["ipv6_protocols"], subprotocol_row),
        "IPv6 ports": {
            "TCP ports": Table(limits["ipv6_tcp_ports"], tcp_port_row),
            "UDP ports": Table(limits["ipv6_udp_ports"], udp_port_row),
        },
        "VLANs": {
            "Outer VLANs": Table(limits["vlans"], vlan_row),
            "Inner VLANs": Table(limits["inner_vlans"], vlan_row),
        },
        "IPv6 neighbours": Table(limits["neighbours"], neighbour_row),
        "Signals": dict.fromkeys(SIGNALS.values(), 0),
        "Tunnels": frame_table(TUNNELS.values()),
    }
