"""Pieces of the form of docs/json.md."""

import datetime

SENT, SENT_BYTES = "Frames transmitted", "Data transmitted"
RECEIVED, RECEIVED_BYTES = "Frames received", "Data received"


def moment(ticks):
    if ticks is None:
        return None
    seconds, fraction = divmod(ticks, 10**7)
    whole = datetime.datetime(1970, 1, 1) + datetime.timedelta(seconds=seconds)
    return "%s.%07dZ" % (whole.isoformat(), fraction)


def part(frames, whole):
    return min(1.0, frames / whole) if whole else None


def average(size, frames):
    return size / frames if frames else None


def address(text, others="0.0.0.0"):
    """From the text of the tree."""
    return others if text == "[others]" else text.replace("-", ":").lower()


def one_way(row, whole, frames=SENT, size=SENT_BYTES):
    return {"frames": row[frames], "bytes": row[size], "share": part(row[frames], whole),
            "average_frame_bytes": average(row[size], row[frames]), "rate": None}


def both_ways(row):
    return {"frames_sent": row[SENT], "bytes_sent": row[SENT_BYTES],
            "frames_received": row[RECEIVED], "bytes_received": row[RECEIVED_BYTES]}


def both_average(row):
    return {"average_frame_bytes": average(row[SENT_BYTES] + row[RECEIVED_BYTES], row[SENT] + row[RECEIVED]),
            "rate": None}


def port_rows(oid, table, name):
    return [{"oid": "%s.%d" % (oid, row["id"]), "port": int(row[name], 16), **both_ways(row),
             **both_average(row)} for row in table.rows.values()]


def given_up(ledger, ways):
    figures = {"rows": ledger.rows}
    columns = ledger.columns
    if ways:
        figures["frames"] = columns[SENT] + columns[RECEIVED]
        figures["bytes"] = columns[SENT_BYTES] + columns[RECEIVED_BYTES]
    if ways == 2:
        figures.update(both_ways(columns))
    return figures
