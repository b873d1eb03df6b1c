"""Holds what the built library exports and needs against the kept list and the version script, and
looks each name up in the program that calls the whole interface."""

import pathlib
import re
import subprocess
import sys

INTERFACE = pathlib.Path("tests/interface")
# By the library's name: its kept list, its version script and that one's node, what it needs, and
# the programs that use all of it.
LIBRARIES = {
    "libvesk": (INTERFACE / "exports.txt", "lib/vesk.map", "VESK_0", ["libc.so.6"],
                [INTERFACE / "all_calls.c", *sorted((INTERFACE / "all_calls").glob("*.c"))]),
    "libveskrt": (INTERFACE / "exports_runtime.txt", "runtime/veskrt.map", "VESKRT_0",
                  ["libvesk.so.0", "libc.so.6"],
                  sorted(pathlib.Path("tests/unit/runtime").glob("*.cc"))),
}
KINDS = {"T": "function", "D": "object", "B": "object", "R": "object"}


def output(*command):
    return subprocess.run(command, text=True, capture_output=True, check=True).stdout


def exported(library, node):
    """Kind and name of every exported symbol; the node of the version script goes without."""
    symbols = [line.split() for line in output("nm", "-D", "--defined-only", library).splitlines()]
    return {f"{KINDS.get(kind, kind)} {name.removesuffix('@@' + node)}" for _, kind, name in symbols
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


def unused(kept, programs):
    """What the programs do not call, or for an object do not read."""
    calls = " ".join(map(code, programs))
    for kind, name in sorted(line.split() for line in kept):
        if not re.search(rf"\b{name}\b" + (r"\s*\(" if kind == "function" else ""), calls):
            yield f"not used by the program of all calls: {name}"


def main(library):
    name = pathlib.Path(library).name.split(".")[0]
    kept_list, script, node, needed, programs = LIBRARIES[name]
    built, kept = exported(library, node), set(kept_list.read_text().split("\n")) - {""}
    mapped = set(re.findall(r"^ +(\w+);", pathlib.Path(script).read_text(), re.MULTILINE))
    problems = [f"exported, but not in the kept list: {name}" for name in sorted(built - kept)]
    problems += [f"in the kept list, but not exported: {name}" for name in sorted(kept - built)]
    problems += [f"in one of version script and kept list only: {name}"
                 for name in sorted(mapped ^ {line.split()[1] for line in kept})]
    problems += unused(kept, programs)
    if dynamic(library, "NEEDED") != needed:
        problems.append(f"needs {dynamic(library, 'NEEDED')} at run time, not {needed}")
    if dynamic(library, "SONAME") != [name + ".so.0"]:
        problems.append(f"has the soname {dynamic(library, 'SONAME')}")
    problems += [f"has a static constructor: {path}"
                 for path in constructors(pathlib.Path(library).parent)]
    problems += [f"needs a symbol of the C++ run time: {name}" for name in foreign_symbols(library)]
    functions = sum(name.startswith("function") for name in built)
    print("\n".join(problems) or
          f"{name}: {functions} functions and {len(built) - functions} objects; needs "
          f"{' and '.join(needed)} alone, constructs nothing when loaded")
    return bool(problems)


sys.exit(main(sys.argv[1]))
