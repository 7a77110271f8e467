#!/usr/bin/env python3
"""Counts an Ethernet capture as count.py does, and prints it in the form of docs/json.md.

    figures.py FILE [OPTION]...      options of count.py

What isn't known of a file is null: counters of an adapter, rates and a
filter. Every table has what it gave up.

Exit code 2, with one line on stderr, if FILE can't be read to its end.
"""

import json
import sys

from counting.capture_file import CaptureError
from counting.command import count_file, parse_arguments
from counting.figures import (RECEIVED, SENT, address, average, both_average, both_ways, given_up, moment, one_way,
                              part, port_rows)
from counting.second_figures import SecondTables

ERRORS = ("hardware_overflows", "software_overflows", "crc_errors", "alignment_errors", "single_collisions",
          "multiple_collisions", "deferred", "max_collisions", "receive_overruns", "heartbeat_failures",
          "carrier_lost", "late_collisions", "accuracy")

TYPES = (("Broadcast", "broadcast"), ("Multicast", "multicast"), ("Unicast", "unicast"))
SIZES = (("<= 64 B", 0, 64), ("64 - 128 B", 65, 128), ("128 - 256 B", 129, 256), ("256 - 512 B", 257, 512),
         ("512 - 1024 B", 513, 1024), ("> 1024 B", 1025, None))


class Document:
    def __init__(self, counter, second, arguments, stamps):
        self.tree = counter.tree
        self.counter = counter
        self.second = second
        self.arguments = arguments
        self.zero = moment(min(stamps, default=None))
        self.duration = (max(stamps) - min(stamps)) / 1e7 if stamps and max(stamps) > min(stamps) else None
        self.time = moment(max(stamps, default=None))
        self.frames = self.tree["Global statistics"]["Global transmitted frames"]
        self.bytes = self.tree["Global statistics"]["Global transmitted data"]

    def whole(self):
        link = self.arguments.link_speed or None
        averages = {"frames_per_second": None, "bits_per_second": None}
        if self.duration:
            averages = {"frames_per_second": self.frames / self.duration,
                        "bits_per_second": self.bytes * 8.0 / self.duration}
        bits = averages["bits_per_second"]
        return {
            "format": "ketmon/2",
            "source": {"kind": "file", "name": self.arguments.file, "agent": None, "link_type": "ethernet",
                       "link_bits_per_second": link},
            "zero": self.zero,
            "time": self.time,
            "duration_seconds": self.duration,
            "interval_seconds": None,
            "sample": 1,
            "totals": {"frames": self.frames, "bytes": self.bytes,
                       "utilisation": {"current": None,
                                       "average": bits / link if link and bits is not None else None,
                                       "peak": None}},
            "averages": averages,
            "rates": {"frames_per_second": None, "bits_per_second": None},
            "capture": {"received": None, "dropped_by_kernel": None, "dropped_by_interface": None},
            "errors": dict.fromkeys(ERRORS),
            "filter": {"filtered": None, "accepted": None, "rejected": None},
            **self.signals(),
            "tables": self.tables(),
        }

    def signals(self):
        return {} if self.arguments.trees == 1 else {"signals": self.second_tables().signals()}

    def second_tables(self):
        return SecondTables(self.second.tree, self.arguments, self.zero, self.frames)

    def tables(self):
        tree = self.tree
        first = {
            "frame_types": self.fixed("1.4.1", "Frame types", self.types()),
            "frame_sizes": self.fixed("1.4.2", "Frame sizes", self.sizes()),
            "stations": self.stations(),
            "protocols": self.table("protocols", "1.6", "Network protocols", 6, 1, self.protocol_row),
            "mac_traffic": self.table("mac_traffic", "1.7", "MAC traffic", 7, 1, self.pair_row),
            "ip_traffic": self.table("ip_traffic", "1.8", "IP traffic", 8, 1, self.pair_row),
            "arp": self.table("arp", "1.9", "ARP connections", 9, 0, self.arp_row),
            "ip_protocols": self.table("ip_protocols", "1.10", "IP subprotocols", 8, 1, self.ip_protocol_row),
            "tcp_ports": self.ports("tcp_ports", "1.11.1", tree["IP ports"]["TCP ports"], "TCP"),
            "udp_ports": self.ports("udp_ports", "1.11.2", tree["IP ports"]["UDP ports"], "UDP"),
        }
        if self.arguments.trees == 1:
            return first
        return {**first, **self.second_tables().tables()}

    def counted(self, group):
        """The ARP table always is, and stations bring the MAC traffic along."""
        enabled = self.arguments.enabled
        return group == 9 or group in enabled or group == 7 and 5 in enabled

    def fixed(self, oid, name, rows):
        counted = self.counted(4)
        return {"oid": oid, "name": name, "zero": self.zero, "row_count": len(rows) if counted else None,
                "rows": rows if counted else None}

    def types(self):
        rows = self.tree["Frame tables"]["Frame types"]
        return [{"oid": "1.4.1.%d" % number, "type": key, "name": name,
                 **one_way(rows[name], self.frames, "Frames", "Data")}
                for number, (name, key) in enumerate(TYPES, 1)]

    def sizes(self):
        rows = self.tree["Frame tables"]["Frame sizes"]
        return [{"oid": "1.4.2.%d" % number, "least_bytes": least, "most_bytes": most, "name": name,
                 **one_way(rows[name], self.frames, "Frames", "Data")}
                for number, (name, least, most) in enumerate(SIZES, 1)]

    def enveloped(self, key, oid, name, counted, rows, ledger, ways):
        return {"oid": oid, "name": name, "zero": self.zero, "limit": self.arguments.limits[key],
                "row_count": len(rows) if counted else None, "rows": rows if counted else None,
                "given_up": given_up(ledger, ways) if counted else None}

    def table(self, key, oid, name, group, ways, make):
        table = self.tree[name]
        rows = [{"oid": "%s.%d" % (oid, row["id"]), **make(row)} for row in table.rows.values()]
        return self.enveloped(key, oid, name, self.counted(group), rows, table.ledger, ways)

    def ports(self, key, oid, table, kind):
        rows = port_rows(oid, table, kind + " port")
        return self.enveloped(key, oid, kind + " ports", self.counted(8), rows, table.ledger, 2)

    def protocol_row(self, row):
        return {"protocol": int(row["Protocol ID"], 16), **one_way(row, self.frames)}

    def ip_protocol_row(self, row):
        return {"protocol": int(row["IP subprotocol ID"], 16), **one_way(row, self.frames)}

    def pair_row(self, row):
        return {"source": address(row["Source"]), "destination": address(row["Destination"]),
                **one_way(row, self.frames)}

    def arp_row(self, row):
        return {"address": address(row["IP address"]), "mac_address": address(row["MAC address"])}

    def stations(self):
        table = self.tree["Network stations"]
        with_ports = self.counted(5) and self.counted(8)
        rows = []
        for row in table.rows.values():
            oid = "1.5.%d" % row["id"]
            to_itself = sum(pair[SENT] for pair in self.tree["MAC traffic"].rows.values()
                            if pair["Source"] == pair["Destination"] == row["Station"])
            rows.append({
                "oid": oid,
                "address": address(row["Station"]),
                "vlan": int(row["VLAN ID"]) if row["VLAN ID"] else None,
                **both_ways(row),
                # A frame to itself is one frame, and the pair may be gone that tells.
                "share": part(row[SENT] + row[RECEIVED] - min(to_itself, row[SENT] + row[RECEIVED]), self.frames),
                **both_average(row),
                "tcp_ports": port_rows(oid + ".7", row["TCP ports"], "TCP port") if with_ports else None,
                "udp_ports": port_rows(oid + ".8", row["UDP ports"], "UDP port") if with_ports else None,
            })
        ledgers = self.counter.station_ledgers
        return {
            **self.enveloped("stations", "1.5", "Network stations", self.counted(5), rows, table.ledger, 2),
            "ports_zero": self.zero,
            "tcp_port_limit": self.arguments.limits["station_tcp_ports"],
            "udp_port_limit": self.arguments.limits["station_udp_ports"],
            "tcp_ports_given_up": given_up(ledgers["tcp"], 2) if with_ports else None,
            "udp_ports_given_up": given_up(ledgers["udp"], 2) if with_ports else None,
        }


def main():
    arguments = parse_arguments()
    try:
        counter, second, stamps = count_file(arguments)
    except (OSError, CaptureError) as error:
        print("figures.py: %s: %s" % (arguments.file, error), file=sys.stderr)
        return 2
    json.dump(Document(counter, second, arguments, stamps).whole(), sys.stdout)
    print()
    return 0


if __name__ == "__main__":
    sys.exit(main())
