"""The captures that ../generate.py writes, one function for each."""
