"""The identifiers in the tags of a frame."""

from counting.frame import VLAN_TAGS

TYPE = 12
IDENTIFIER = 0x0FFF


def outer_and_inner(frame):
    """Of the first tag and of the second, each None if there is no such tag. A third one isn't looked at."""
    if frame.word(TYPE) not in VLAN_TAGS:
        return None, None
    outer = frame.word(TYPE + 2) & IDENTIFIER
    if frame.word(TYPE + 4) not in VLAN_TAGS:
        return outer, None
    return outer, frame.word(TYPE + 6) & IDENTIFIER
