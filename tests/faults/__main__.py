"""Runs the faults; scripts/test-faults says how."""

import argparse
import concurrent.futures
import os
import signal
import sys
import time
import traceback

import clients
import clocks
import disks
import floods
import kills
import links
import memory
import names
import protocol
import report
import shortages
import stage

MODULES = [floods, memory, shortages, links, kills, clients, disks, clocks, names]
ALONE = [fault for module in MODULES for fault in module.ALONE]
BESIDE = [fault for module in MODULES for fault in module.BESIDE]


class Tools:
    def __init__(self, options):
        self.ketmon = options.ketmon
        self.flood = os.path.join(options.tools, "flood")
        self.shifted_clock = os.path.join(options.tools, "libshiftedclock.so")
        self.fingerprint = protocol.fingerprint(options.ketmon)
        self.duration = options.duration
        self.curve = options.curve


def options_of(arguments):
    parser = argparse.ArgumentParser(prog="test-faults")
    parser.set_defaults(long=False)
    parser.add_argument("--short", dest="long", action="store_false", help="at most 3 minutes; so unless --long")
    parser.add_argument("--long", dest="long", action="store_true", help="with an agent that is left alone")
    parser.add_argument("--duration", type=float, default=3600, metavar="SECONDS",
                        help="how long it is left alone; 3600 unless given")
    parser.add_argument("--only", nargs="+", action="extend", metavar="NAME",
                        help="faults whose names have one of these in them; all, and the long ones too")
    parser.add_argument("--table", metavar="FILE", help="where the table of figures is written as well")
    parser.add_argument("--curve", metavar="FILE", help="where resident memory over time is written, as CSV")
    parser.add_argument("--ketmon", required=True, metavar="PATH", help="the program to try")
    parser.add_argument("--tools", required=True, help=argparse.SUPPRESS)
    return parser.parse_args(arguments)


def tried(name, fault, tools, long):
    figures = report.Figures(name)
    begin = time.monotonic()
    try:
        scene = stage.Stage(tools)
        try:
            fault(scene, figures, long)
        finally:
            scene.close()
    except stage.Failed as failure:
        figures.failure = str(failure)
    except Exception as failure:  # pylint: disable=broad-except
        traceback.print_exc()
        figures.failure = f"{type(failure).__name__}: {failure}"
    figures.seconds = time.monotonic() - begin
    print(f"{'good' if figures.good else 'FAILED'}: {name} ({figures.seconds:.1f} s)", flush=True)
    for line in figures.lines():
        print("    " + line, flush=True)
    return figures


def chosen(faults, options):
    return [(name, fault) for name, fault in faults
            if not options.only or any(part in name for part in options.only)]


def main():
    # The first process of a namespace gets no signal that it has no handler for.
    for number in (signal.SIGTERM, signal.SIGHUP, signal.SIGINT):
        signal.signal(number, lambda *_: os._exit(130))
    options = options_of(sys.argv[1:])
    stage.run("ip", "link", "set", "lo", "up")
    tools = Tools(options)
    done = [tried(name, fault, tools, options.long) for name, fault in chosen(ALONE, options)]
    # These wait most of their time.
    with concurrent.futures.ThreadPoolExecutor(6) as pool:
        done += pool.map(lambda fault: tried(*fault, tools, options.long), chosen(BESIDE, options))
    done += [tried(name, fault, tools, options.long) for name, fault in chosen(memory.LAST, options)]
    if not done:
        sys.exit("test-faults: there is no such fault")

    text = report.table(done)
    print("\n" + text)
    if options.table:
        with open(options.table, "w", encoding="utf-8") as file:
            file.write(text)
    bad = [figures.name for figures in done if not figures.good]
    print(f"{len(done) - len(bad)} of {len(done)} faults went as they must" + "".join(f"; not {name}" for name in bad))
    sys.exit(1 if bad else 0)


if __name__ == "__main__":
    main()
