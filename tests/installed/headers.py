#!/usr/bin/env python3
"""Installs a build, and looks whether its headers are whole: headers.py CMAKE BUILD COMPILER SOURCE

The headers that are installed can be included in any order, and include nothing that isn't installed. What is installed
is what the chief header, or a header that a host may include beside it, leads to.
"""

import pathlib
import re
import subprocess
import sys
import tempfile

# What the chief header doesn't lead to and hosts may have a use for.
BESIDE = ["engine/NetworkProtocol.h", "engine/ReadWriteGate.h", "model/HashedContainerStatImpl.h",
          "text/ModulePath.h"]
INCLUDE = re.compile(r'^\s*#\s*include\s*"ketstats/([^"]+)"', re.M)


def reached(folder, first):
    """The headers that these lead to, on any system."""
    found, todo = set(), list(first)
    while todo:
        name = todo.pop()
        if name not in found:
            found.add(name)
            todo += INCLUDE.findall((folder / name).read_text())
    return found


# What isn't indented is no member. Functions with a body, and what a class exports, have no need of a mark.
NO_DECLARATION = ("template", "using", "static_assert", "inline", "constexpr", "class", "struct", "enum", "friend",
                  "public:", "protected:", "private:", "namespace", "KETSTATS_", "return")


def unexported(text):
    """Functions and data that are declared without a mark of export, so that nobody can link against them."""
    found = []
    lines = text.splitlines()
    for number, line in enumerate(lines):
        if not line[:1].isalpha() and not line.startswith("[[") or line.startswith(NO_DECLARATION):
            continue
        if lines[number - 1].startswith(("template", "requires")):
            continue
        statement = line
        for more in lines[number + 1:]:
            if ";" in statement or "{" in more or not more.startswith("    "):
                break
            statement += " " + more.strip()
        if statement.endswith(";") and ("(" in statement or "extern " in statement) and "_API" not in statement:
            found.append(statement)
    return found


def main():
    cmake, build, compiler, source = sys.argv[1:]
    with tempfile.TemporaryDirectory() as prefix:
        subprocess.run([cmake, "--install", build, "--prefix", prefix], check=True, stdout=subprocess.DEVNULL)
        folder = pathlib.Path(prefix, "include/ketstats")
        installed = {str(file.relative_to(folder)) for file in folder.rglob("*") if file.is_file()}
        wanted = reached(pathlib.Path(source, "ketstats"), ["ketstats.h"] + BESIDE)
        wrong = [f"{name} is internal and installed" for name in sorted(installed - wanted)]
        wrong += [f"{name} is wanted and not installed" for name in sorted(wanted - installed)]

        for name in sorted(installed):
            wrong += [f"{name} declares what isn't exported: {found}"
                      for found in unexported((folder / name).read_text())]

        own = [name for name in sorted(installed) if not name.startswith("platform/windows/")]
        everything = pathlib.Path(prefix, "everything.cpp")
        for names in (own, own[::-1]):
            everything.write_text("".join(f'#include "ketstats/{name}"\n' for name in names))
            command = [compiler, "-std=c++20", "-fsyntax-only", f"-I{prefix}/include", str(everything)]
            if subprocess.run(command, check=False).returncode != 0:
                wrong.append("the installed headers can't be compiled")
    print("\n".join(wrong) or f"{len(installed)} headers are whole")
    return 1 if wrong else 0


sys.exit(main())
