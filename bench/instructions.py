#!/usr/bin/env python3
"""Counts the instructions that the library takes per variable and compares them with the recorded bounds.

Callgrind counts what one job executes, in the library and in whatever it calls, the kernel left out. The count depends
on the compiler and on the C and C++ libraries, but neither on the machine nor on what else it does.
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
TABLE_START = "<!-- counted: ./run instructions --record -->\n"


def instructions_per_variable(workload, job, contender, size):
    with tempfile.TemporaryDirectory() as directory:
        profile = pathlib.Path(directory, "profile")
        said = subprocess.run(
            ["valgrind", "--quiet", "--tool=callgrind", f"--callgrind-out-file={profile}",
             "--toggle-collect=tal::bench::RunJob*", str(workload), job, contender, str(size)],
            check=True, stdout=subprocess.PIPE, text=True).stdout
        total = re.search(r"^totals: (\d+)", profile.read_text(), re.MULTILINE)
    variables = int(said.split()[0])
    count = round(int(total[1]) / variables) if total else 0
    if not count:
        sys.exit(f"instructions.py: nothing was counted of {job}, {contender}")
    return count


def count_job(workload, job, limit):
    """{contender: {size: instructions per variable}}; the limit is only counted at the largest size."""
    return {
        "library": {size: instructions_per_variable(workload, job, "library", size) for size in SIZES},
        "limit": {SIZES[-1]: instructions_per_variable(workload, job, limit, SIZES[-1])},
    }


def count(workload, cheap_workload):
    """{job: contenders}, with the reference host, and beside straight code with one that costs next to nothing."""
    counts = {job: count_job(workload, job, limit) for job, limit in LIMITS.items()}
    for job, limit in LIMITS.items():
        if limit == STRAIGHT_CODE:
            counts[f"{job}, cheap host"] = count_job(cheap_workload, job, limit)
    return counts


def table(counts):
    headings = [f"at {size} variables" for size in SIZES] + [f"the limit at {SIZES[-1]}", "ratio"]
    width = max(map(len, counts))
    lines = [f"| {'job':{width}} | {' | '.join(headings)} |", "|" + "-" * (width + 2) + "|"]
    lines[1] += "".join("-" * (len(heading) + 1) + ":|" for heading in headings)
    for job, contenders in counts.items():
        library, limit = contenders["library"], contenders["limit"][SIZES[-1]]
        cells = [str(library[size]) for size in SIZES] + [str(limit), f"{library[SIZES[-1]] / limit:.2f}"]
        lines.append(f"| {job:{width}} | {' | '.join(f'{c:>{len(h)}}' for c, h in zip(cells, headings))} |")
    return "\n".join(lines) + "\n"


def bounded(counts):
    return {f"{job}, {size} variables": value for job, contenders in counts.items()
            for size, value in contenders["library"].items()}


def record(counts):
    BOUNDS.write_text(json.dumps(bounded(counts), indent=2) + "\n")
    text, _, _ = DOCUMENT.read_text().partition(TABLE_START)
    DOCUMENT.write_text(text + TABLE_START + "\n" + table(counts))


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
    parser.add_argument("workload", type=pathlib.Path, help="the program tal_workload, built optimised")
    parser.add_argument("cheap_workload", type=pathlib.Path, help="the same with the cheap host")
    parser.add_argument("--record", action="store_true", help="make what is counted the recorded bounds")
    arguments = parser.parse_args()

    counts = count(arguments.workload, arguments.cheap_workload)
    print(table(counts), end="")
    if arguments.record:
        record(counts)
    problems = list(deviations(bounded(counts)))
    for problem in problems:
        print(f"instructions.py: {problem}", file=sys.stderr)
    if problems:
        sys.exit("instructions.py: if this is meant to be, record it: ./run instructions --record")


main()
