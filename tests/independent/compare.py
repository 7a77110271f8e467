#!/usr/bin/env python3
"""Compares two JSON files: compare.py A.json B.json

Numbers compare by value (0 equals 0.0), members of an object must stand in the
same order, arrays compare element by element. Exit code 0 if the files are
equal, 1 with the first differences on stdout if they aren't, 2 if one of them
can't be read.
"""

import json
import sys
from itertools import islice

SHOWN = 20


class Members(list):
    """An object as its (name, value) pairs, so that order and repeated names count."""


def differences(path, a, b):
    if isinstance(a, Members) and isinstance(b, Members):
        yield from object_differences(path, a, b)
    elif type(a) is list and type(b) is list:
        yield from array_differences(path, a, b)
    elif not equal(a, b):
        yield "%s: %s != %s" % (path, brief(a), brief(b))


def object_differences(path, a, b):
    names_a, names_b = [name for name, _ in a], [name for name, _ in b]
    if names_a != names_b:
        yield "%s: members %s != %s" % (path, json.dumps(names_a), json.dumps(names_b))
    if len(set(names_a)) < len(names_a) or len(set(names_b)) < len(names_b):
        yield "%s: a name is repeated" % path
    others = dict(b)
    for name, value in a:
        if name in others:
            yield from differences("%s.%s" % (path, name), value, others[name])


def array_differences(path, a, b):
    if len(a) != len(b):
        yield "%s: %d elements != %d" % (path, len(a), len(b))
    for index, (x, y) in enumerate(zip(a, b)):
        yield from differences("%s[%d]" % (path, index), x, y)


def equal(a, b):
    if is_number(a) and is_number(b):
        return a == b
    return type(a) is type(b) and a == b


def is_number(value):
    return isinstance(value, (int, float)) and not isinstance(value, bool)


def brief(value):
    if isinstance(value, Members):
        return "an object"
    if isinstance(value, list):
        return "an array"
    return json.dumps(value)


def parsed(text):
    return json.loads(text, object_pairs_hook=Members)


def load(name):
    with open(name, encoding="utf-8") as file:
        return parsed(file.read())


def main():
    if len(sys.argv) != 3:
        print("usage: compare.py A.json B.json", file=sys.stderr)
        return 2
    try:
        a, b = map(load, sys.argv[1:])
    except (OSError, ValueError) as error:
        print("compare.py: %s" % error, file=sys.stderr)
        return 2
    found = list(islice(differences("$", a, b), SHOWN))
    print("\n".join(found), end="\n" if found else "")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
