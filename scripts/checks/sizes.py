"""Reports the sizes of functions and files beside those of six models. It judges nothing."""

import pathlib
import re
import statistics
import subprocess

# Read off their sources by hand: lines of functions (median, 95 %, longest), lines of files (median,
# 95 %), lines of tests for each line of code.
MODELS = {
    "dbus-broker": (16, 86, 332, 130, 1155, 0.31),
    "libxkbcommon": (16, 102, 309, 204, 1730, 0.45),
    "nng": (10, 53, 207, 216, 1160, 0.38),
    "leveldb": (5, 41, 160, 106, 432, 0.52),
    "kj": (3, 25, 205, 410, 2395, 0.57),
    "sdbus-c++": (5, 18, 40, 158, 989, 0.59),
}


def files(*folders):
    return [path for folder in folders for path in sorted(pathlib.Path(folder).rglob("*"))
            if path.suffix in (".h", ".cc", ".c")]


def lines(path):
    return len(path.read_text().splitlines())


def functions(paths):
    tags = subprocess.run(["ctags", "-f", "-", "--languages=C,C++", "--langmap=C++:+.h.cc",
                           "--kinds-C++=f", "--kinds-C=f", "--fields=+ne", *map(str, paths)],
                          text=True, capture_output=True, check=True).stdout
    for tag in tags.splitlines():
        begin, end = re.search(r"\tline:(\d+)", tag), re.search(r"\tend:(\d+)", tag)
        if begin and end:
            yield int(end[1]) - int(begin[1]) + 1, "\t".join(tag.split("\t")[:2])


def percentile(values, share):
    return sorted(values)[min(len(values) - 1, int(len(values) * share))]


def row(name, figures):
    *counts, ratio = figures
    print(f"  {name:14}" + "".join(f"{count:9.0f}" for count in counts) + f"{ratio:9.2f}")


def main():
    code = files("lib", "include", "runtime", "core", "modules")
    sized = list(functions(code))
    of_functions, of_files = [size for size, _ in sized], [lines(path) for path in code]
    ratio = sum(map(lines, files("tests"))) / sum(of_files)
    print("sizes            functions: median, 95 %, max   files: median, 95 %   tests/code")
    row("vesk", (statistics.median(of_functions), percentile(of_functions, 0.95),
                    max(of_functions), statistics.median(of_files), percentile(of_files, 0.95),
                    ratio))
    for name, figures in MODELS.items():
        row(name, figures)
    size, name = max(sized)
    print(f"  longest function: {name.split()[0]} in {name.split()[1]}, {size} lines; "
          f"longest file: {max(code, key=lines)}, {max(of_files)} lines")


main()
