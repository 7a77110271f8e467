"""The tables of the second tree in the form of docs/json.md."""

from counting.figures import address, given_up, one_way, port_rows
from counting.second_tree import SIGNALS, TUNNELS


SIGNAL_KEYS = ["connections_requested", "connections_accepted", "connections_ended", "connections_reset",
               "zero_windows", "fragments", "unreachable", "packet_too_big", "time_exceeded", "parameter_problem",
               "redirects", "source_quench", "arp_requests", "arp_replies", "gratuitous_arps", "changed_bindings",
               "overlong_packets"]
TUNNEL_KEYS = ["ip_in_ip", "6in4", "gre", "vxlan", "geneve", "pppoe", "mpls"]


class SecondTables:
    def __init__(self, tree, arguments, zero, frames):
        self.tree = tree
        self.arguments = arguments
        self.zero = zero
        self.frames = frames  # of the whole

    def tables(self):
        tree = self.tree
        ports, vlans = tree["IPv6 ports"], tree["VLANs"]
        return {
            "ipv6_traffic": self.table("ipv6_traffic", "2.1", "IPv6 traffic", tree["IPv6 traffic"], 1, self.pair_row),
            "ipv6_protocols": self.table("ipv6_protocols", "2.2", "IPv6 protocols", tree["IPv6 protocols"], 1,
                                         self.protocol_row),
            "ipv6_tcp_ports": self.ports("ipv6_tcp_ports", "2.3.1", ports["TCP ports"], "TCP"),
            "ipv6_udp_ports": self.ports("ipv6_udp_ports", "2.3.2", ports["UDP ports"], "UDP"),
            "vlans": self.table("vlans", "2.4.1", "Outer VLANs", vlans["Outer VLANs"], 1, self.vlan_row),
            "inner_vlans": self.table("inner_vlans", "2.4.2", "Inner VLANs", vlans["Inner VLANs"], 1, self.vlan_row),
            "neighbours": self.table("neighbours", "2.5", "IPv6 neighbours", tree["IPv6 neighbours"], 0,
                                     self.neighbour_row),
            "tunnels": self.fixed("2.7", "Tunnels", self.tunnels()),
        }

    def counted(self, oid):
        return int(oid.split(".")[1]) in self.arguments.enabled_second

    def table(self, key, oid, name, table, ways, make):
        rows = [{"oid": "%s.%d" % (oid, row["id"]), **make(row)} for row in table.rows.values()]
        return self.enveloped(key, oid, name, rows, table.ledger, ways)

    def ports(self, key, oid, table, kind):
        return self.enveloped(key, oid, kind + " ports", port_rows(oid, table, kind + " port"), table.ledger, 2)

    def enveloped(self, key, oid, name, rows, ledger, ways):
        counted = self.counted(oid)
        return {"oid": oid, "name": name, "zero": self.zero, "limit": self.arguments.limits[key],
                "row_count": len(rows) if counted else None, "rows": rows if counted else None,
                "given_up": given_up(ledger, ways) if counted else None}

    def fixed(self, oid, name, rows):
        counted = self.counted(oid)
        return {"oid": oid, "name": name, "zero": self.zero, "row_count": len(rows) if counted else None,
                "rows": rows if counted else None}

    def pair_row(self, row):
        return {"source": address(row["Source"], "::"), "destination": address(row["Destination"], "::"),
                **one_way(row, self.frames)}

    def protocol_row(self, row):
        return {"protocol": int(row["IP subprotocol ID"], 16), **one_way(row, self.frames)}

    def vlan_row(self, row):
        return {"vlan": int(row["VLAN identifier"], 16), **one_way(row, self.frames)}

    def neighbour_row(self, row):
        return {"address": address(row["IPv6 address"], "::"), "mac_address": address(row["MAC address"])}

    def signals(self):
        if not self.counted("2.6"):
            return None
        return {key: self.tree["Signals"][name] for key, name in zip(SIGNAL_KEYS, SIGNALS.values())}

    def tunnels(self):
        return [{"oid": "2.7.%d" % number, "type": key, "name": name,
                 **one_way(self.tree["Tunnels"][name], self.frames, "Frames", "Data")}
                for number, (key, name) in enumerate(zip(TUNNEL_KEYS, TUNNELS.values()), 1)]
