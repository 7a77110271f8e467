"""What one sample of the whole capture and its reader work out."""

import math

from counting.table import Table

LEAST_TIME = 10 * 10000  # ticks: a sample is never taken earlier after the zero point
TICKS_PER_MILLISECOND = 10000


def derive(tree, link_speed, start, end):
    """Fills in what one sample of the whole capture and its reader work out.

    The doubles must come out to the last bit, so the order of multiplying and
    dividing matters.
    """
    derive_global(tree["Global statistics"], link_speed, start, max(end, start + LEAST_TIME))
    frames = tree["Global statistics"]["Global transmitted frames"]
    # Nothing was lost; a capture that saw nothing has the accuracy 0.
    tree["Global errors"]["Accuracy"] = 100.0 if frames else 0.0
    if frames == 0:
        return

    base = float(frames)
    for table in tree["Frame tables"].values():
        for row in table.values():
            row["Percentage"] = stored_percentage(row["Frames"] * 100.0 / base)
    for row in tree["Network stations"].rows.values():
        both = (row["Frames transmitted"] + row["Frames received"]) & 0xFFFFFFFF
        row["Percentage"] = stored_percentage(both * 100.0 / base)
    for row in tree["Network protocols"].rows.values():
        # Divided first, unlike the others.
        row["Percentage"] = stored_percentage(row["Frames transmitted"] / base * 100.0)
        row["Average frame size"] = average_size(row)
    for name in ("MAC traffic", "IP traffic"):
        derive_rows(tree[name], base)


def derive_second(tree, frames):
    """The parts are of all frames of the first tree."""
    if frames == 0:
        return
    base = float(frames)
    for table in (tree["IPv6 traffic"], *tree["VLANs"].values()):
        derive_rows(table, base)
    for row in tree["Tunnels"].values():
        row["Percentage"] = stored_percentage(row["Frames"] * 100.0 / base)


def derive_rows(table, base):
    for row in table.rows.values():
        row["Percentage"] = stored_percentage(row["Frames transmitted"] * 100.0 / base)
        row["Average frame size"] = average_size(row)


def derive_global(group, link_speed, start, end):
    """Utilisation as a fraction of the link; the clock tells whole milliseconds."""
    milliseconds = end // TICKS_PER_MILLISECOND - start // TICKS_PER_MILLISECOND
    seconds = float(milliseconds * TICKS_PER_MILLISECOND) * 1e-07
    data = float(group["Global transmitted data"])
    group["Sample number"] = 1
    if link_speed:
        utilisation = data / float(link_speed) / seconds
    else:
        utilisation = None  # a division by 0
    for name in ("Current", "Average", "Peak"):
        group[name + " network utilisation"] = utilisation


def stored_percentage(value):
    """A percentage that doesn't differ by a hundredth from the 0 it replaces stays 0."""
    return value if math.trunc(value * 100.0) != 0 else 0.0


def average_size(row):
    frames, data = row["Frames transmitted"], row["Data transmitted"]
    if frames == 0:
        return 0
    size = abs(data) // frames
    return (size if data >= 0 else -size) & 0xFFFFFFFF


def plain(node):
    """The tree as JSON takes it: tables become arrays, oldest row first."""
    if isinstance(node, Table):
        return [plain(row) for row in node.rows.values()]
    if isinstance(node, dict):
        return {name: plain(child) for name, child in node.items()}
    return node
