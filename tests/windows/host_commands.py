#!/usr/bin/env python3
"""Tries ketmon as a program of Windows, command by command.

    host_commands.py CAPTURES COMMAND...      COMMAND runs ketmon, such as "scripts/wine ketmon.exe"

Exit 0 if all is as it should be. What is counted is held against another count elsewhere; here it is about what the
system has a hand in: files, text, sockets, and what isn't there.
"""

import json
import pathlib
import subprocess
import sys
import tempfile
import unittest

CAPTURES = pathlib.Path(sys.argv[1])
COMMAND = sys.argv[2:]
MIXED = str(CAPTURES / "internet-mixed.pcap")
IPV6 = str(CAPTURES / "ipv6-tunnels.pcap")
COOKED = str(CAPTURES / "media" / "linux-sll.pcap")
PATIENCE = 120


def ketmon(*arguments):
    return subprocess.run([*COMMAND, *arguments], capture_output=True, text=True, timeout=PATIENCE, check=False)


def trees(*arguments):
    run = ketmon(*arguments, "--tree", "--json")
    assert run.returncode == 0, run.stderr
    document = json.loads(run.stdout)
    return document["statistics"], document["extended"]


def statistics(*arguments):
    return trees(*arguments)[0]


def timeless(node):
    """Without what depends on when samples were taken."""
    if isinstance(node, dict):
        return {
            name: timeless(child)
            for name, child in node.items()
            if name not in ("Sample number", "Percentage") and not name.endswith("network utilisation")
        }
    return [timeless(child) for child in node] if isinstance(node, list) else node


class Host(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)

    def path(self, name):
        return str(pathlib.Path(self.folder.name) / name)

    def refused(self, run, reason):
        self.assertEqual(run.returncode, 2)
        self.assertEqual(run.stdout, "")
        self.assertIn(reason, run.stderr)

    def test_every_bundled_capture_is_read(self):
        for capture in sorted(CAPTURES.glob("*.pcap*")):
            with self.subTest(capture.name):
                run = ketmon("read", str(capture), "--tree", "--json")
                self.assertEqual(run.returncode, 0, run.stderr)
                self.assertIn("statistics", json.loads(run.stdout))

    def test_the_report_tells_what_the_json_tells(self):
        run = ketmon("read", MIXED)
        self.assertEqual(run.returncode, 0, run.stderr)
        self.assertRegex(run.stdout, r"\n  Frames +4,709 ")
        self.assertRegex(run.stdout, r"\nIP conversations, 10 of 61 by bytes\n")
        run = ketmon("read", MIXED, "--json")
        self.assertEqual(run.returncode, 0, run.stderr)
        report = json.loads(run.stdout)
        self.assertEqual(report["format"], "ketmon/2")
        self.assertEqual(report["totals"]["frames"], 4709)

    def test_text_has_tables_with_units(self):
        run = ketmon("read", MIXED, "--tree", "--multiplier", "decimal", "--precision", "3")
        self.assertEqual(run.returncode, 0, run.stderr)
        self.assertRegex(run.stdout, r"Global transmitted data +2\.875 M  bytes\n")
        self.assertRegex(run.stdout, r"\n1\.8 IP traffic \(the busiest 20 of 121\)\n")

    def test_saved_snapshots_show_what_was_read(self):
        for number, capture in enumerate((MIXED, IPV6)):
            with self.subTest(capture):
                saved = self.path(f"snapshot{number}")
                expected = trees("read", capture, "--save-snapshot", saved)
                self.assertEqual(trees("show", saved), expected)

    def test_deltas_show_what_was_read(self):
        saved = self.path("delta")
        expected = statistics("read", MIXED, "--save-snapshot", saved, "--interval", "60")
        files = sorted(pathlib.Path(self.folder.name).iterdir(), key=lambda file: int(file.suffix[1:]))
        self.assertGreater(len(files), 2)
        self.assertEqual(statistics("show", *map(str, files)), expected)

    def test_a_row_has_its_filter_and_frames(self):
        row = next(row for row in statistics("read", MIXED)["IP traffic"] if row["id"] == 101)
        output = self.path("row.pcap")
        run = ketmon("filter", MIXED, "1.8.101", "--frames", "--write", output)
        self.assertEqual(run.returncode, 0, run.stderr)
        expression, frames = run.stdout.splitlines()
        self.assertIn(f"ip src host {row['Source']} and ip dst host {row['Destination']}", expression)
        self.assertEqual(int(frames), row["Frames transmitted"])
        written = statistics("read", output)
        self.assertEqual(written["Global statistics"]["Global transmitted frames"], row["Frames transmitted"])
        self.assertEqual(written["Global statistics"]["Global transmitted data"], row["Data transmitted"])

    def test_a_row_of_the_second_tree_has_its_filter_and_frames(self):
        row = trees("read", IPV6)[1]["IPv6 traffic"][0]
        output = self.path("row.pcap")
        run = ketmon("filter", IPV6, f"2.1.{row['id']}", "--frames", "--write", output)
        self.assertEqual(run.returncode, 0, run.stderr)
        expression, frames = run.stdout.splitlines()
        self.assertIn(f"ip6 src host {row['Source']} and ip6 dst host {row['Destination']}", expression)
        self.assertEqual(int(frames), row["Frames transmitted"])
        written = trees("read", output)[1]["IPv6 traffic"]
        self.assertEqual([(each["Source"], each["Frames transmitted"]) for each in written],
                         [(row["Source"], row["Frames transmitted"])])

    def test_frames_of_another_medium_are_read_filtered_and_written(self):
        row = statistics("read", COOKED)["IP traffic"][0]
        output = self.path("row.pcap")
        run = ketmon("filter", COOKED, f"1.8.{row['id']}", "--frames", "--write", output)
        self.assertEqual(run.returncode, 0, run.stderr)
        self.assertEqual(int(run.stdout.splitlines()[-1]), row["Frames transmitted"])
        written = ketmon("read", output, "--json")
        self.assertEqual(written.returncode, 0, written.stderr)
        report = json.loads(written.stdout)
        self.assertEqual(report["source"]["link_type"], "linux_sll")
        self.assertEqual(report["totals"]["frames"], row["Frames transmitted"])

    def test_the_schema_is_told(self):
        self.assertEqual(json.loads(ketmon("schema", "--json").stdout)["name"], "Agent statistics")
        schema = ketmon("schema").stdout
        self.assertIn("1.5.*.7.*.5", schema)
        self.assertIn("2.4.1.*.3", schema)

    def test_a_console_sees_what_an_agent_replays(self):
        for capture, frames in ((MIXED, 4709), (IPV6, 631)):
            with self.subTest(capture):
                self.console_sees(capture, frames)

    def console_sees(self, capture, frames):
        agent = subprocess.Popen(
            [*COMMAND, "agent", "-r", capture, "--pace", "0", "--consoles", "1", "--interval", "0.1",
             "--listen", "127.0.0.1:0"],
            stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        try:
            address = agent.stdout.readline().split()[-1]
            console = ketmon("console", address, "--tree", "--json")
            _, errors = agent.communicate(timeout=PATIENCE)
        finally:
            agent.kill()
            agent.wait()
        self.assertEqual(console.returncode, 0, console.stderr)
        self.assertEqual(agent.returncode, 0, errors)
        last = json.loads(console.stdout.splitlines()[-1])
        self.assertEqual(last["ended"], frames)
        first, second = trees("read", capture)
        self.assertEqual(timeless(last["statistics"]), timeless(first))
        self.assertEqual(timeless(last["extended"]), timeless(second))

    def test_what_is_not_there_says_so(self):
        self.refused(ketmon("agent", "-i", "eth0"), "can't capture on this system")
        self.refused(ketmon("interfaces"), "can't capture on this system")
        self.refused(ketmon("-D"), "can't capture on this system")
        self.refused(ketmon("read", MIXED, "--filter", "ip"), "can't be tested on this system")
        self.refused(ketmon("read", MIXED, "--link-speed", "2147483648"), "--link-speed")
        self.refused(ketmon("read", self.path("absent.pcap")), "absent.pcap")
        self.refused(ketmon("read", self.folder.name), "is a directory")
        self.refused(ketmon("read"), "FILE is missing")

    def test_damage_is_told_with_its_place_behind_what_was_read(self):
        cut = self.path("cut.pcap")
        pathlib.Path(cut).write_bytes(pathlib.Path(MIXED).read_bytes()[:100000])
        run = ketmon("read", "--quiet", "--json", cut)
        self.assertEqual(run.returncode, 2)
        self.assertGreater(json.loads(run.stdout)["totals"]["frames"], 0)
        self.assertIn("damaged behind frame ", run.stderr)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
