#!/usr/bin/env python3
"""Tries what the headers must refuse at compile time: refused.py COMPILER SOURCE

Each case is a few lines that a host might write by mistake, and a piece of what the compiler has to say to them. The
lines that stand beside them, and are right, must compile.
"""

import pathlib
import subprocess
import sys
import tempfile

CASES = {
    # case: (in front of main, in main, the mistake in main, what is said)
    "a filter that nobody deletes": (
        "", "CAgentStatistic tree;", "buildFilter(&tree);", "unused-result"),
    "a clone that nobody deletes": (
        "", "CSrcMACFilter const filter({}, false);", "filter.Clone();", "unused-result"),
    "a filter read for nobody": (
        "", "ktools::CMemoryBuffer buffer;", "CFilter::UnpackNew(buffer);", "unused-result"),
    "a guard that is gone at once": (
        "", "CReadWriteGate gate;", "CWriteGuard{gate};", "unused"),
    "a copy of a row": (
        "", "CStationStat row(nullptr, 1);", "CStationStat copy(row);", "deleted"),
    "a copy of a tree": (
        "", "CAgentStatistic tree;", "auto const copy = tree;", "deleted"),
    "a group as a plain value": (
        "void take(CStationStat);", "CStationStat row(nullptr, 1);", "take(row);", "deleted"),
}

# A child that isn't one: its node stands behind something else.
CHILD = """
struct Other { virtual ~Other() = default; };
struct Leaf : %s
{
    Leaf(CBaseStat * parent, unsigned short id, CIntegerStatDescription<unsigned int> const & description)
        : CValueStat<unsigned int>(parent, id, description) {}
};
struct Group : schema::CUnfilteredContainerStat
{
    Group() : CUnfilteredContainerStat(nullptr, 1, description()) {}
    static CStructStatDescription const & description()
    {
        static CStructStatDescription const group(1145, columnDescriptions());
        return group;
    }
    using Column = schema::CLeafColumn<Leaf, CIntegerStatDescription<unsigned int>, 1129, 1195>;
#define COLUMNS(COLUMN) COLUMN(1, leaf, Column)
    KETSTATS_COLUMNS(Group, COLUMNS)
#undef COLUMNS
};
"""


def compiled(compiler, source, front, body):
    """Whether that compiles, and what the compiler says."""
    with tempfile.TemporaryDirectory() as folder:
        program = pathlib.Path(folder, "program.cpp")
        program.write_text('#include "ketstats/ketstats.h"\nusing namespace KetStats;\n'
                           f"{front}\nint main()\n{{\n{body}\n}}\n")
        command = [compiler, "-std=c++20", "-fsyntax-only", "-Wall", "-Wno-unused-variable", "-Werror", f"-I{source}",
                   str(program)]
        result = subprocess.run(command, capture_output=True, text=True, check=False,
                                env={"PATH": "/usr/bin:/bin", "LC_ALL": "C"})
        return result.returncode == 0, result.stderr


def main():
    compiler, source = sys.argv[1:]
    wrong = []

    def expect(name, front, body, said):
        holds, text = compiled(compiler, source, front, body)
        if said is None and not holds:
            wrong.append(f"{name}: what is right is refused\n{text}")
        elif said is not None and (holds or said not in text):
            wrong.append(f"{name}: not refused with '{said}'\n{text}")

    right = "\n".join(f"{{ {body} }}" for front, body, mistake, said in CASES.values())
    expect("what is right", "\n".join(front for front, *rest in CASES.values()), right, None)
    for name, (front, body, mistake, said) in CASES.items():
        expect(name, front, body + "\n" + mistake, said)
    expect("a child that begins with its node", CHILD % "CValueStat<unsigned int>, Other", "Group group;", None)
    expect("a child that doesn't", CHILD % "Other, CValueStat<unsigned int>", "Group group;",
           "a child begins with its CBaseStat")

    print("\n".join(wrong) or "all is refused that must be")
    return 1 if wrong else 0


sys.exit(main())
