"""Addresses and numbers as text."""


def mac_text(address):
    return "-".join("%02X" % byte for byte in address)


def ip_text(address):
    return ".".join(str(byte) for byte in address) if any(address) else "[others]"


def ipv6_text(address):
    """The canonical text of RFC 5952: hexadecimal words in lower case without leading zeros; the longest run of two
    or more zero words, the first of those that are equally long, is written "::". An address of ::ffff:0:0/96
    (IPv4-mapped) ends in the dotted form, as section 5 there recommends for a well-known prefix; no other does."""
    if address[:12] == bytes(10) + b"\xff\xff":
        return "::ffff:" + ".".join(str(byte) for byte in address[12:])
    words = ["%x" % int.from_bytes(address[at:at + 2], "big") for at in range(0, 16, 2)]
    start, length = longest_run_of_zeros(words)
    if length < 2:
        return ":".join(words)
    return ":".join(words[:start]) + "::" + ":".join(words[start + length:])


def longest_run_of_zeros(words):
    """(start, length) of the first among the longest."""
    best = (0, 0)
    for start in range(len(words)):
        length = 0
        while start + length < len(words) and words[start + length] == "0":
            length += 1
        if length > best[1]:
            best = (start, length)
    return best


def ipv6_row_text(address):
    """As a table shows it: the address of none stands for the others."""
    return ipv6_text(address) if any(address) else "[others]"


def id_text(number):
    return "0x%X" % number
