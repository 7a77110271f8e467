"""Tables of rows with a limit, and what goes with the rows that they give up."""

from collections import OrderedDict

from counting.text import mac_text


class Ledger:
    """What the rows of a table had counted that it gave up."""

    def __init__(self):
        self.rows = 0
        self.columns = dict.fromkeys(
            ("Frames transmitted", "Data transmitted", "Frames received", "Data received"), 0)

    def take(self, row):
        self.rows += 1
        for name in self.columns:
            self.columns[name] += row.get(name, 0)
        # What is in a row goes with it.
        for table in row.values():
            if isinstance(table, Table):
                for below in table.rows.values():
                    table.ledger.take(below)


class Table:
    """Rows by key, held in update order from the oldest to the newest.

    One row fewer than the limit fits. Ids run upwards from 1; a row that is
    evicted gives its id to the row that takes its place.
    """

    def __init__(self, limit, new_row, ledger=None):
        self.limit = limit
        self.new_row = new_row  # columns of a fresh row for a key, in order
        self.ledger = Ledger() if ledger is None else ledger  # of all tables of a kind
        self.rows = OrderedDict()
        self.free_id = None

    def find_or_create(self, key):
        """The row of the key; a new row in a full table evicts the oldest one.
        Finding a row doesn't move it."""
        if key not in self.rows and self.is_full():
            self.delete_oldest()
        return self.create_if_new(key)

    def create_if_new(self, key, *arguments):
        """The row of the key as it stands or a new one; None if there is none
        and the table is full."""
        if key in self.rows:
            return self.rows[key]
        if self.is_full():
            return None
        row = {"id": self.take_id(), **self.new_row(key, *arguments)}
        self.rows[key] = row
        return row

    def learn(self, key, mac):
        """The first MAC seen for an address stays; 1 if the table has another one for it. A full table gives up its
        oldest row for a new address."""
        changed = key in self.rows and self.rows[key]["MAC address"] != mac_text(mac)
        if self.create_if_new(key, mac) is None:
            self.delete_oldest()
            self.create_if_new(key, mac)
        return int(changed)

    def renew(self, key):
        self.rows.move_to_end(key)

    def delete_oldest(self):
        _, row = self.rows.popitem(last=False)
        self.ledger.take(row)
        self.free_id = row["id"]

    def is_full(self):
        return len(self.rows) + 1 >= self.limit

    def take_id(self):
        if self.free_id is None:
            return len(self.rows) + 1
        taken, self.free_id = self.free_id, None
        return taken


def frame_table(names):
    return {name: {"Name": name, "Frames": 0, "Data": 0, "Percentage": 0.0} for name in names}


def add(row, frames_column, data_column, size):
    """Frame counts wrap at 32 bits unsigned, data at 64 bits signed."""
    row[frames_column] = (row[frames_column] + 1) & 0xFFFFFFFF
    row[data_column] = (row[data_column] + size + 2**63) % 2**64 - 2**63


def add_transmitted(row, size):
    add(row, "Frames transmitted", "Data transmitted", size)


def add_received(row, size):
    add(row, "Frames received", "Data received", size)
