#!/usr/bin/env python3
"""Counts the instructions that the library and talstore take per variable and compares them with the recorded bounds.

Callgrind counts what one job executes, in the library or the tool and in whatever it calls, the kernel left out. The
count depends on the compiler and on the C and C++ libraries, but neither on the machine nor on what else it does.
"""

import argparse
import json
import pathlib
import re
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parents[1]
BOUNDS = ROOT / "bench/instructions.json"
DOCUMENT = ROOT / "docs/performance.md"
TOLERANCE = 1.1
SIZES = (1000, 10000)
STRAIGHT_CODE = "straight code"
LIMITS = {
    "xml store": STRAIGHT_CODE,
    "xml retrieve": "Expat, one look-up per variable",
    "binary store": STRAIGHT_CODE,
    "binary retrieve": STRAIGHT_CODE,
    "secure store": STRAIGHT_CODE,
    "secure retrieve": STRAIGHT_CODE,
}
TOOL_SIZE = 1000
TOOL_FILES = {"XML": "storage.xml", "secure": "storage.sbin", "raw": "storage.bin"}
TOOL_COMMANDS = ("show FILE", "check FILE", "diff FILE FILE")
TABLE_START = "<!-- counted: ./run instructions --record -->\n"


def count_instructions(command, function, directory=None):
    """What the program executes between entering and leaving the function, and what it says on its standard output."""
    with tempfile.NamedTemporaryFile("r") as profile:
        said = subprocess.check_output(
            ["valgrind", "--quiet", "--tool=callgrind", f"--callgrind-out-file={profile.name}",
             f"--toggle-collect={function}", *command], cwd=directory, text=True)
        total = re.search(r"^totals: (\d+)", profile.read(), re.MULTILINE)
    if not total or not int(total[1]):
        sys.exit(f"instructions.py: nothing was counted of {' '.join(map(str, command))}")
    return int(total[1]), said


def variables_told(said):
    """The databases are made of whole objects, so they have a few variables more than what was asked for."""
    return int(said.split()[0])


def instructions_per_variable(workload, job, contender, size):
    total, said = count_instructions([workload, job, contender, str(size)], "tal::bench::RunJob*")
    return round(total / variables_told(said))


def jobs(workload, cheap_workload):
    """(name, workload, job, limit); straight code is a limit for a host that costs next to nothing, too."""
    for job, limit in LIMITS.items():
        yield job, workload, job, limit
    for job, limit in LIMITS.items():
        if limit == STRAIGHT_CODE:
            yield f"{job}, cheap host", cheap_workload, job, limit


def count_library(programs):
    """{job: {size: instructions per variable}}"""
    return {name: {size: instructions_per_variable(workload, job, "library", size) for size in SIZES}
            for name, workload, job, _ in jobs(*programs)}


def count_limits(programs):
    """{job: instructions per variable}, at the largest size only."""
    return {name: instructions_per_variable(workload, job, limit, SIZES[-1])
            for name, workload, job, limit in jobs(*programs)}


def count_tool(talstore, large_files):
    """{command: {format: instructions per variable}} of whole runs, each with the description."""
    with tempfile.TemporaryDirectory() as directory:
        variables = variables_told(subprocess.check_output([large_files, str(TOOL_SIZE), directory], text=True))

        def count_run(command, file):
            words = command.replace("FILE", file).split()
            total, _ = count_instructions([talstore, *words, "--layout", "layout.json"], "main", directory)
            return round(total / variables)

        return {command: {kind: count_run(command, file) for kind, file in TOOL_FILES.items()}
                for command in TOOL_COMMANDS}


def table(rows):
    """Markdown; the first row holds the headings, the first column the names, and everything else is numbers."""
    widths = [max(map(len, column)) for column in zip(*rows)]
    lines = [" | ".join([row[0].ljust(widths[0]), *map(str.rjust, row[1:], widths[1:])]) for row in rows]
    rule = "|".join(["-" * (widths[0] + 2), *("-" * (width + 1) + ":" for width in widths[1:])])
    return "".join([f"| {lines[0]} |\n|{rule}|\n", *(f"| {line} |\n" for line in lines[1:])])


def library_table(library, limits):
    rows = [["job", *(f"at {size} variables" for size in SIZES), f"the limit at {SIZES[-1]}", "ratio"]]
    for job, limit in limits.items():
        counts = library[job]
        rows.append([job, *map(str, counts.values()), str(limit), f"{counts[SIZES[-1]] / limit:.2f}"])
    return table(rows)


def tool_table(counts):
    headings = [f"the tool, at {TOOL_SIZE} variables", *TOOL_FILES]
    return table([headings, *([command, *map(str, kinds.values())] for command, kinds in counts.items())])


def tables(library, limits, tool):
    return library_table(library, limits) + "\n" + tool_table(tool)


def bounded(library, tool):
    of_library = {f"{job}, {size} variables": value for job, counts in library.items()
                  for size, value in counts.items()}
    of_tool = {f"talstore {command}, {kind}, {TOOL_SIZE} variables": value for command, kinds in tool.items()
               for kind, value in kinds.items()}
    return of_library | of_tool


def record(figures, tables_of_them):
    BOUNDS.write_text(json.dumps(figures, indent=2) + "\n")
    text, _, _ = DOCUMENT.read_text().partition(TABLE_START)
    DOCUMENT.write_text(text + TABLE_START + "\n" + tables_of_them)


def deviations(figures):
    bounds = json.loads(BOUNDS.read_text())
    for what in sorted(figures.keys() | bounds.keys()):
        if what not in bounds:
            yield f"{what}: {figures[what]} instructions per variable, and no bound is recorded"
        elif what not in figures:
            yield f"{what}: a bound is recorded, and nothing was counted"
        elif figures[what] > bounds[what] * TOLERANCE:
            yield f"{what}: {figures[what]} instructions per variable, more than a tenth above {bounds[what]}"


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("build", type=pathlib.Path, help="the build tree, optimised")
    parser.add_argument("--talstore", type=pathlib.Path, help="the tool to count instead of the tree's")
    how = parser.add_mutually_exclusive_group()
    how.add_argument("--record", action="store_true", help="make what is counted the recorded bounds")
    how.add_argument("--without-limits", action="store_true",
                     help="compare with the bounds only, and say nothing where they are kept")
    arguments = parser.parse_args()

    tree = arguments.build.resolve()
    programs = tree / "bench/tal_workload", tree / "bench/tal_cheap_workload"
    library = count_library(programs)
    talstore = arguments.talstore or tree / "tools/talstore/talstore"
    tool = count_tool(talstore.resolve(), tree / "bench/tal_large_files")
    figures = bounded(library, tool)
    if not arguments.without_limits:
        text = tables(library, count_limits(programs), tool)
        print(text, end="")
        if arguments.record:
            record(figures, text)
    problems = list(deviations(figures))
    for problem in problems:
        print(f"instructions.py: {problem}", file=sys.stderr)
    if problems:
        sys.exit("instructions.py: if this is meant to be, record it: ./run instructions --record")


main()
