"""Holds what the built library exports and needs against the kept list and the version script."""

import pathlib
import re
import subprocess
import sys

KEPT = pathlib.Path("tests/interface/exports.txt")
KINDS = {"T": "function", "D": "object", "B": "object", "R": "object"}


def output(*command):
    return subprocess.run(command, text=True, capture_output=True, check=True).stdout


def exported(library):
    symbols = [line.split() for line in output("nm", "-D", "--defined-only", library).splitlines()]
    return {f"{KINDS.get(kind, kind)} {name.split('@')[0]}" for _, kind, name in symbols
            if kind != "A"}


def needed(library):
    return re.findall(r"\(NEEDED\).*\[(.*)\]", output("readelf", "-d", library))


def foreign_symbols(library):
    undefined = output("nm", "-D", "--undefined-only", library).split()
    return [name for name in undefined if re.search(r"GLIBCXX|CXXABI|GCC_|_Unwind|^_Z", name)]


def main(library):
    built, kept = exported(library), set(KEPT.read_text().split("\n")) - {""}
    mapped = set(re.findall(r"^ +(\w+);", pathlib.Path("lib/vesk.map").read_text(), re.MULTILINE))
    problems = [f"exported, but not in the kept list: {name}" for name in sorted(built - kept)]
    problems += [f"in the kept list, but not exported: {name}" for name in sorted(kept - built)]
    problems += [f"in one of version script and kept list only: {name}"
                 for name in sorted(mapped ^ {line.split()[1] for line in kept})]
    if needed(library) != ["libc.so.6"]:
        problems.append(f"needs {needed(library)} at run time, not libc alone")
    problems += [f"needs a symbol of the C++ run time: {name}" for name in foreign_symbols(library)]
    functions = sum(name.startswith("function") for name in built)
    print("\n".join(problems) or
          f"{functions} functions and {len(built) - functions} objects; needs libc alone")
    return bool(problems)


sys.exit(main(sys.argv[1]))
