#!/usr/bin/env python3
"""Holds the library's decimal texts against exact decimal arithmetic.

    fixed_point.py COMMAND...      runs fixed_point_values

Exit 0 if every text is right, 1 if not. A run without one of the sorts of numbers that matter fails.
"""

import collections
import decimal
import math
import struct
import subprocess
import sys

ROUNDS = 45000  # of eight numbers each


def expected(value, places, sorts):
    sign = "-" if math.copysign(1, value) < 0 else ""
    if math.isnan(value):
        sorts["not a number"] += 1
        return "nan"
    if math.isinf(value):
        sorts["infinite"] += 1
        return sign + "inf"
    exact = decimal.Decimal(value)
    unit = decimal.Decimal(1).scaleb(-places)
    rounded = exact.quantize(unit, decimal.ROUND_HALF_UP)
    error = abs(rounded - exact) * 2
    if error == unit:
        sorts["ties"] += 1
    elif error == 0:
        sorts["exact"] += 1
    if value == 0:
        sorts["zero"] += 1
    elif abs(value) < sys.float_info.min:
        sorts["subnormal"] += 1
    elif abs(value) > 1e100:
        sorts["huge"] += 1
    if sign:
        sorts["negative"] += 1
        if rounded == 0:
            sorts["negative, rounded to zero"] += 1
    if places > 60:
        sorts["more than 60 places"] += 1
    return "{:f}".format(rounded)


def main():
    # Room for all digits of any double and 1100 places behind the point, so that nothing but quantize rounds.
    decimal.setcontext(decimal.Context(prec=2500))
    sorts = collections.Counter()
    compared = failed = 0
    with subprocess.Popen([*sys.argv[1:], str(ROUNDS)], stdout=subprocess.PIPE, text=True) as program:
        for line in program.stdout:
            bits, places, text = line.rstrip("\n").split(" ", 2)
            value = struct.unpack(">d", bytes.fromhex(bits))[0]
            right = expected(value, int(places), sorts)
            compared += 1
            if text != right:
                failed += 1
                if failed <= 10:
                    print(f"{value!r} with {places} places: {text!r}, not {right!r}")
    if program.returncode != 0:
        print(f"the program ended with {program.returncode}")
        return 1
    for sort in ("not a number", "infinite", "ties", "exact", "zero", "subnormal", "huge", "negative",
                 "negative, rounded to zero", "more than 60 places"):
        print(f"{sorts[sort]:8} {sort}")
        if not sorts[sort]:
            print("  which is too few")
            return 1
    print(f"{compared:8} numbers compared, {failed} wrong")
    return 1 if failed or compared < 8 * ROUNDS else 0


if __name__ == "__main__":
    sys.exit(main())
