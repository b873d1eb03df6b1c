"""Holds the include lines of what is shipped against the table of floors in docs/architecture.md. A
floor whose number has a letter does not know the others of that number."""

import fnmatch
import pathlib
import re
import sys

ROW = re.compile(r"^\| *(\d+)([a-z]?) *\|[^|]*\|([^|]*)\|")
FOLDERS = ("include", "lib", "runtime", "modules", "core")
INCLUDE = re.compile(r'^\s*#\s*include\s*(["<])([^">]+)[">]', re.MULTILINE)
STANDARD_IN_PUBLIC = {"stdbool.h", "stddef.h", "stdint.h"}


def read_floors():
    rows = []
    for line in pathlib.Path("docs/architecture.md").read_text().splitlines():
        if match := ROW.match(line):
            floor = int(match[1]), match[2]
            rows += [(pattern, floor) for pattern in re.findall(r"`([^`]+)`", match[3])]
    return rows


def floor_of(path, rows):
    """The floor of the longest pattern that matches, or None."""
    matches = [(len(pattern), floor) for pattern, floor in rows if fnmatch.fnmatchcase(path, pattern)]
    return max(matches)[1] if matches else None


def project_file(name):
    """The path of an included project file, or None for a header of the system."""
    if name.startswith("vesk/"):
        return "include/" + name
    return name if name.startswith(FOLDERS[1:]) and "/" in name else None


def may_include(floor, target):
    return target[0] < floor[0] or target == floor


def check_style(path, bracket, name, target):
    public = path.startswith("include/")
    if target is None:
        if bracket == '"':
            yield f'{path}: "{name}" is not an include from a folder of the project'
        elif public and name not in STANDARD_IN_PUBLIC:
            yield f"{path}: a public header includes <{name}>"
    elif public and (bracket == '"' or not target.startswith("include/")):
        yield f"{path}: a public header includes other headers as <vesk/...> only"


def find_circle(graph):
    done, path = set(), []

    def visit(node):
        if node in path:
            return path[path.index(node):] + [node]
        if node in done:
            return None
        path.append(node)
        for target in graph.get(node, ()):
            if circle := visit(target):
                return circle
        path.pop()
        done.add(node)
        return None

    for start in graph:
        if circle := visit(start):
            return circle
    return None


def main():
    rows = read_floors()
    files = sorted(str(path) for folder in FOLDERS
                   for path in pathlib.Path(folder).rglob("*") if path.suffix in (".h", ".cc"))
    problems, graph, count = [], {}, 0
    for path in files:
        floor = floor_of(path, rows)
        if floor is None:
            problems.append(f"{path}: stands in no row of the table")
            continue
        for bracket, name in INCLUDE.findall(pathlib.Path(path).read_text()):
            target = project_file(name)
            problems += check_style(path, bracket, name, target)
            if target is None:
                continue
            count += 1
            graph.setdefault(path, []).append(target)
            target_floor = floor_of(target, rows)
            if target_floor is None or not may_include(floor, target_floor):
                problems.append(f"{path} may not include {target}")
    if circle := find_circle(graph):
        problems.append("circle: " + " -> ".join(circle))
    print("\n".join(problems) or f"{len(files)} files, {count} includes")
    return bool(problems)


sys.exit(main())
