"""Figures of faults, and whether they are as they must be."""

BARS = "▁▂▃▄▅▆▇█"


class Figures:
    """What one fault came to. A figure that isn't as it must be fails the fault; so does an exception."""

    def __init__(self, name):
        self.name = name
        self.rows = []
        self.failure = None
        self.seconds = 0.0

    def tell(self, what, value):
        self.rows.append((what, str(value), "", True))

    def must(self, what, value, bound, good):
        self.rows.append((what, str(value), bound, bool(good)))

    def within(self, what, seconds, most):
        self.must(what, f"{seconds:.1f} s", f"at most {most:g} s", seconds <= most)

    @property
    def good(self):
        return self.failure is None and self.rows and all(good for *_, good in self.rows)

    def lines(self):
        rows = list(self.rows)
        if self.failure is not None:
            rows.append(("failure", self.failure, "none", False))
        return [f"| {self.name} | {what} | {value} | {bound} | {'' if good else '**FAILED**'} |".replace("\n", " ")
                for what, value, bound, good in rows]


def table(all_figures):
    return "\n".join(["| fault | figure | value | must be | |", "| --- | --- | --- | --- | --- |",
                      *(line for figures in all_figures for line in figures.lines())]) + "\n"


def megabytes(size):
    return f"{size / 1e6:.1f} MB"


def thousands(number):
    return f"{number:,.0f}"


def spark(values, width=60):
    """A curve in a line of text, from 0 to the greatest."""
    if not values:
        return ""
    width = min(width, len(values))
    parts = [values[i * len(values) // width:(i + 1) * len(values) // width] for i in range(width)]
    top = max(values) or 1
    return "".join(BARS[min(len(BARS) - 1, int(max(part) / top * len(BARS)))] for part in parts)


def slope(points):
    """Of the line of least squares through points of (x, y)."""
    count = len(points)
    mean_x = sum(x for x, _ in points) / count
    mean_y = sum(y for _, y in points) / count
    below = sum((x - mean_x) ** 2 for x, _ in points)
    return sum((x - mean_x) * (y - mean_y) for x, y in points) / below if below else 0.0
