"""Holds what the built library exports and needs against the kept list and the version script, and
looks each name up in the program that calls the whole interface."""

import pathlib
import re
import subprocess
import sys

KEPT = pathlib.Path("tests/interface/exports.txt")
CALLS = [KEPT.parent / "all_calls.c", *sorted((KEPT.parent / "all_calls").glob("*.c"))]
KINDS = {"T": "function", "D": "object", "B": "object", "R": "object"}


def output(*command):
    return subprocess.run(command, text=True, capture_output=True, check=True).stdout


def exported(library):
    """Kind and name of every exported symbol; the node of the version script goes without."""
    symbols = [line.split() for line in output("nm", "-D", "--defined-only", library).splitlines()]
    return {f"{KINDS.get(kind, kind)} {name.removesuffix('@@VESK_0')}" for _, kind, name in symbols
            if kind != "A"}


def dynamic(library, tag):
    return re.findall(rf"\({tag}\).*\[(.*)\]", output("readelf", "-d", library))


def constructors(objects):
    """The objects of the library that run code when they are loaded."""
    paths = list(pathlib.Path(objects).rglob("*.o"))
    assert paths, f"no objects below {objects}"
    return [str(path) for path in paths
            if re.search(r"\.(init_array|ctors)", output("readelf", "-SW", path))]


def foreign_symbols(library):
    undefined = output("nm", "-D", "--undefined-only", library).split()
    return [name for name in undefined if re.search(r"GLIBCXX|CXXABI|GCC_|_Unwind|^_Z", name)]


def code(path):
    """A source in C without its comments and texts."""
    return re.sub(r'/\*.*?\*/|//[^\n]*|"(?:\\.|[^"\\\n])*"', " ", path.read_text(), flags=re.DOTALL)


def unused(kept):
    """What the program of all calls does not call, or for an object does not read."""
    calls = " ".join(map(code, CALLS))
    for kind, name in sorted(line.split() for line in kept):
        if not re.search(rf"\b{name}\b" + (r"\s*\(" if kind == "function" else ""), calls):
            yield f"not used by the program of all calls: {name}"


def main(library):
    built, kept = exported(library), set(KEPT.read_text().split("\n")) - {""}
    mapped = set(re.findall(r"^ +(\w+);", pathlib.Path("lib/vesk.map").read_text(), re.MULTILINE))
    problems = [f"exported, but not in the kept list: {name}" for name in sorted(built - kept)]
    problems += [f"in the kept list, but not exported: {name}" for name in sorted(kept - built)]
    problems += [f"in one of version script and kept list only: {name}"
                 for name in sorted(mapped ^ {line.split()[1] for line in kept})]
    problems += unused(kept)
    if dynamic(library, "NEEDED") != ["libc.so.6"]:
        problems.append(f"needs {dynamic(library, 'NEEDED')} at run time, not libc alone")
    if dynamic(library, "SONAME") != ["libvesk.so.0"]:
        problems.append(f"has the soname {dynamic(library, 'SONAME')}")
    problems += [f"has a static constructor: {path}"
                 for path in constructors(pathlib.Path(library).parent)]
    problems += [f"needs a symbol of the C++ run time: {name}" for name in foreign_symbols(library)]
    functions = sum(name.startswith("function") for name in built)
    print("\n".join(problems) or
          f"{functions} functions and {len(built) - functions} objects; needs libc alone, "
          "constructs nothing when loaded")
    return bool(problems)


sys.exit(main(sys.argv[1]))
