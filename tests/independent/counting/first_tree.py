"""The rows and tables of the first tree, by the names that they are shown with."""

from counting.table import Table, frame_table
from counting.text import id_text, ip_text, mac_text

STANDARD_LIMITS = {
    "stations": 200,
    "protocols": 200,
    "mac_traffic": 200,
    "ip_traffic": 1000,
    "arp": 200,
    "ip_protocols": 200,
    "tcp_ports": 1000,
    "udp_ports": 1000,
    "station_tcp_ports": 200,
    "station_udp_ports": 200,
}


def station_row(address, limits, ledgers):
    return {
        "Station": mac_text(address),
        "Data transmitted": 0,
        "Frames transmitted": 0,
        "Data received": 0,
        "Frames received": 0,
        "Percentage": 0.0,
        "TCP ports": Table(limits["station_tcp_ports"], tcp_port_row, ledgers["tcp"]),
        "UDP ports": Table(limits["station_udp_ports"], udp_port_row, ledgers["udp"]),
        "VLAN ID": "",
    }


def protocol_row(protocol):
    return {
        "Protocol ID": id_text(protocol),
        "Data transmitted": 0,
        "Frames transmitted": 0,
        "Average frame size": 0,
        "Percentage": 0.0,
    }


def connection_row(source, destination):
    return {
        "Source": source,
        "Destination": destination,
        "Data transmitted": 0,
        "Frames transmitted": 0,
        "Average frame size": 0,
        "Percentage": 0.0,
    }


def mac_connection_row(pair):
    return connection_row(*map(mac_text, pair))


def ip_connection_row(pair):
    return connection_row(*map(ip_text, pair))


def arp_row(ip, mac):
    return {"MAC address": mac_text(mac), "IP address": ip_text(ip)}


def subprotocol_row(protocol):
    return {
        "IP subprotocol ID": id_text(protocol),
        "Data transmitted": 0,
        "Frames transmitted": 0,
    }


def port_row(name, port):
    return {
        name: id_text(port),
        "Data transmitted": 0,
        "Frames transmitted": 0,
        "Data received": 0,
        "Frames received": 0,
    }


def tcp_port_row(port):
    return port_row("TCP port", port)


def udp_port_row(port):
    return port_row("UDP port", port)


def new_tree(limits, station_ledgers):
    """The whole tree in the order of its ids, all counters zero."""
    return {
        "Global statistics": {
            "Sample number": 0,
            "Global transmitted data": 0,
            "Global transmitted frames": 0,
            "Current network utilisation": 0.0,
            "Average network utilisation": 0.0,
            "Peak network utilisation": 0.0,
        },
        "Global errors": {
            "Hardware overflows": 0,
            "Software overflows": 0,
            "Accuracy": 0.0,
            "CRC errors": 0,
            "Alignment errors": 0,
            "Single collisions": 0,
            "Multiple collisions": 0,
            "Deferred": 0,
            "Max collisions": 0,
            "Receive overruns": 0,
            "Hartbeat failure": 0,
            "Carrier lost": 0,
            "Late collisions": 0,
        },
        "Global filter": {
            "Filtered frames": 0,
            "Accepted frames": 0,
            "Rejected frames": 0,
            "Accepted frames in last sample": 0,
            "Rejected frames in last sample": 0,
        },
        "Frame tables": {
            "Frame types": frame_table(("Broadcast", "Multicast", "Unicast")),
            "Frame sizes": frame_table(("<= 64 B", "64 - 128 B", "128 - 256 B", "256 - 512 B",
                                        "512 - 1024 B", "> 1024 B")),
        },
        "Network stations": Table(limits["stations"],
                                  lambda address: station_row(address, limits, station_ledgers)),
        "Network protocols": Table(limits["protocols"], protocol_row),
        "MAC traffic": Table(limits["mac_traffic"], mac_connection_row),
        "IP traffic": Table(limits["ip_traffic"], ip_connection_row),
        "ARP connections": Table(limits["arp"], arp_row),
        "IP subprotocols": Table(limits["ip_protocols"], subprotocol_row),
        "IP ports": {
            "TCP ports": Table(limits["tcp_ports"], tcp_port_row),
            "UDP ports": Table(limits["udp_ports"], udp_port_row),
        },
    }
