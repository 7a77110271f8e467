"""The steps of the independent count; ../count.py says what they make together."""
