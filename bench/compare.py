#!/usr/bin/env python3
"""Measures how fast ketmon counts, beside a count that does the least that can be done, and prints the ratios.

Every round runs each program once, one after another, so that whatever else the machine does meets them all; what is
told are medians of the rounds. The frames are two traces that are made of the bundled captures: "mix" has them as
they are, "few" has 800 pairs of addresses, some much busier than others.
"""

import argparse
import os
import re
import shutil
import statistics
import subprocess
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
TRACES = {
    "mix": [],
    "few": ["--exclude", "many-stations-arp.pcap", "--exclude", "many-connections.pcap", "--flows", "800"],
}

FIRST_TREE = [word for group in range(1, 10) for word in ("--enable", f"1.{group}")]


def told(text):
    print(text, file=sys.stderr, flush=True)


def traces(folder, frames):
    os.makedirs(folder, exist_ok=True)
    made = {}
    for name, options in TRACES.items():
        made[name] = os.path.join(folder, f"{name}-{frames}.pcap")
        if not os.path.exists(made[name]):
            told(f"making {made[name]}")
            new = made[name] + ".new"
            subprocess.run([sys.executable, os.path.join(HERE, "make_trace.py"), "--frames", str(frames), "--out", new,
                            *options], check=True, stdout=subprocess.DEVNULL)
            os.rename(new, made[name])
    return made


def nanoseconds(command):
    """The best time of a frame that a program tells."""
    output = subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True).stdout
    return float(re.search(r"best\s+([\d.]+)", output)[1])


def processor_seconds(command):
    """The processor time that a program takes."""
    process = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    _, status, usage = os.wait4(process.pid, 0)
    process.returncode = os.waitstatus_to_exitcode(status)
    if process.returncode != 0:
        sys.exit(f"{' '.join(command)}: ended with {process.returncode}")
    return usage.ru_utime + usage.ru_stime


def passes_of(programs, trace, count):
    bench = [programs["ketmon"], "bench", "--rows", "standard", "--passes", str(count)]
    return {
        "floor": lambda: nanoseconds([programs["floor"], trace, str(count)]),
        "ketmon": lambda: nanoseconds([*bench, trace]),
        "ketmon, first tree": lambda: nanoseconds([*bench, *FIRST_TREE, trace]),
    }


def reads_of(programs, trace):
    tried = {
        "floor": [programs["floor"], "--read", trace],
        "ketmon": [programs["ketmon"], "read", "--rows", "standard", "--json", trace],
        "darkstat": ["darkstat", "-r", trace, "--no-daemon", "--no-dns", "-b", "127.0.0.1"],
        "softflowd": ["softflowd", "-r", trace, "-d"],
    }
    return {name: (lambda command=command: processor_seconds(command))
            for name, command in tried.items() if shutil.which(command[0])}


def measured(what, unit, scale, measures, rounds):
    values = {name: [] for name in measures}
    for number in range(rounds):
        told(f"{what}: round {number + 1} of {rounds}")
        for name, measure in measures.items():
            values[name].append(measure())
    floor = statistics.median(values["floor"])
    for name, each in values.items():
        median = statistics.median(each)
        print(f"| {what} | {name} | {median * scale:.1f} {unit} | {min(each) * scale:.1f} | {median / floor:.2f} |",
              flush=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--bin", required=True, help="folder of ketmon and ketstats-floor")
    parser.add_argument("--ketmon", help="another ketmon than the one there")
    parser.add_argument("--traces", required=True, help="folder of the traces, which are made where they are missing")
    parser.add_argument("--frames", type=int, default=2000000, metavar="N", help="frames of a trace (2000000)")
    parser.add_argument("--rounds", type=int, default=5, metavar="N", help="how often all is measured (5)")
    parser.add_argument("--passes", type=int, default=3, metavar="N", help="passes over a trace in a round (3)")
    options = parser.parse_args()
    programs = {"ketmon": options.ketmon or os.path.join(options.bin, "ketmon"),
                "floor": os.path.join(options.bin, "ketstats-floor")}
    made = traces(options.traces, options.frames)
    print("| what | program | median | best | ratio |\n| --- | --- | ---: | ---: | ---: |", flush=True)
    for name, trace in made.items():
        measured(f"pass over {name}", "ns", 1, passes_of(programs, trace, options.passes), options.rounds)
    for name, trace in made.items():
        measured(f"read of {name}", "ms", 1000, reads_of(programs, trace), options.rounds)


if __name__ == "__main__":
    main()
