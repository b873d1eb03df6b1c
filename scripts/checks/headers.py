"""Checks the public headers: each compiles alone, everything in them is documented, and the place
of every field is fixed by a test."""

import json
import pathlib
import re
import subprocess
import sys

WARNINGS = ["-Wall", "-Wextra", "-Wpedantic", "-Werror", "-fsyntax-only", "-Iinclude"]
COMPILERS = [["gcc", "-std=c11", "-xc"], ["clang", "-std=c11", "-xc"],
             ["g++", "-std=c++17", "-xc++"], ["clang++", "-std=c++17", "-xc++"]]
DOCUMENTED = {"FunctionDecl": "functions", "VarDecl": "objects", "FieldDecl": "fields"}
LAYOUT = pathlib.Path("tests/interface/layout.c")
MACRO = re.compile(r"^((?:/\*\*.*\n(?: \*.*\n)*)?)#define (VK_\w+)(.*)", re.MULTILINE)


def compile_alone(header):
    for compiler in COMPILERS:
        source = f"#include <{header.relative_to('include')}>\n"
        run = subprocess.run([*compiler, *WARNINGS, "-"], input=source, text=True,
                             capture_output=True, check=False)
        if run.returncode:
            yield f"{header}: does not compile alone with {' '.join(compiler)}\n{run.stderr}"


def syntax_tree(header):
    run = subprocess.run(["clang", "-std=c11", "-xc", "-Iinclude", "-fsyntax-only", "-Xclang",
                          "-ast-dump=json", str(header)], capture_output=True, check=True)
    return json.loads(run.stdout)


def parts(node, kind):
    return [inner for inner in node.get("inner", ()) if inner.get("kind") == kind]


def location(node):
    place = node.get("loc", {})
    return place.get("expansionLoc", place)


def declarations(tree, header):
    """Every documented kind of declaration that stands in the header itself, with its parent."""
    # The tree names a file only where it differs from the one before.
    file = None

    def walk(node, parents):
        nonlocal file
        file = location(node).get("file", file)
        if node.get("kind") in DOCUMENTED and file == str(header) and "name" in node:
            if not any(parent["kind"] == "FunctionDecl" for parent in parents):
                yield node, parents[-1].get("name")
        for inner in node.get("inner", ()):
            if "kind" in inner:
                yield from walk(inner, parents + [node])

    yield from walk(tree, [])


def words(node, kind, name):
    return [inner for inner in parts(node, kind) if inner.get("name", inner.get("param")) == name]


def gaps(node):
    comments = parts(node, "FullComment")
    if not comments:
        yield "has no comment"
        return
    if node["kind"] != "FunctionDecl":
        return
    for parameter in parts(node, "ParmVarDecl"):
        if not words(comments[0], "ParamCommandComment", parameter["name"]):
            yield f"does not explain its parameter {parameter['name']}"
    if not node["type"]["qualType"].startswith("void (") and \
            not words(comments[0], "BlockCommandComment", "return"):
        yield "does not explain its result"


def macros(header):
    """Every public macro, and whether a comment stands before or behind it."""
    for before, name, rest in MACRO.findall(header.read_text()):
        yield name, bool(before) or "/**<" in rest


def main():
    headers = sorted(pathlib.Path("include").rglob("*.h"))
    layout = LAYOUT.read_text()
    problems, counts = [], dict.fromkeys([*DOCUMENTED.values(), "macros"], 0)
    for header in headers:
        problems += compile_alone(header)
        for node, parent in declarations(syntax_tree(header), header):
            counts[DOCUMENTED[node["kind"]]] += 1
            if node["kind"] == "FieldDecl" and f"FIELD({parent}, {node['name']}," not in layout:
                problems.append(f"{LAYOUT}: does not fix the place of {parent}.{node['name']}")
            problems += [f"{header}: {node['name']} {gap}" for gap in gaps(node)]
        guard = "VESK_" + re.sub(r"\W", "_", str(header.relative_to("include/vesk"))).upper()
        for name in re.findall(r"^#define (\w+)", header.read_text(), re.MULTILINE):
            if name != guard and not name.startswith("VK_"):
                problems.append(f"{header}: defines {name}")
        for name, documented in macros(header):
            counts["macros"] += 1
            if not documented:
                problems.append(f"{header}: {name} has no comment")
    summary = ", ".join(f"{count} {kind}" for kind, count in counts.items())
    print("\n".join(problems) or f"{len(headers)} headers; documented: {summary}")
    return bool(problems)


sys.exit(main())
