#!/usr/bin/env python3
"""Measures `talstore survey` over many files against its limits, and against one `talstore check` process per file.

What is held to a limit is processor time, shared out among the cores: what else the machine does makes a run longer, but
takes little of that.
"""

import argparse
import json
import os
import pathlib
import resource
import subprocess
import sys
import tempfile

VARIABLES = 256
CORES = 2
SECONDS = {"sbin": 5.0, "xml": 15.0}
LEAST_GAIN = 5.0
MOST_MEBIBYTES = 150.0
CHECKED = 200


def used_by(command):
    """Processor and clock time of the command with all that it waits for, in seconds, and its largest process in MiB."""
    program = (
        "import json, resource, subprocess, sys, time\n"
        "start = time.monotonic()\n"
        "status = subprocess.call(sys.argv[1:], stdout=subprocess.DEVNULL)\n"
        "elapsed = time.monotonic() - start\n"
        "usage = resource.getrusage(resource.RUSAGE_CHILDREN)\n"
        "print(json.dumps([status, usage.ru_utime + usage.ru_stime, elapsed, usage.ru_maxrss / 1024]))\n")
    said = subprocess.check_output([sys.executable, "-c", program, *map(str, command)])
    status, processor, clock, mebibytes = json.loads(said)
    if status > 1:
        sys.exit(f"fleet.py: {command[0]} ended with status {status}")
    return processor, clock, mebibytes


def prepare(folder, large_files):
    """One file in each format, and a layout in which every eighth variable has another name."""
    subprocess.check_call([large_files, str(VARIABLES), folder], stdout=subprocess.DEVNULL)
    layout = json.loads((folder / "layout.json").read_text())
    variables = [variable for region in layout["regions"] for object in region["objects"]
                 for variable in object["variables"]]
    for variable in variables[::8]:
        variable["name"] += "Renamed"
    (folder / "new.json").write_text(json.dumps(layout))


def fleet(folder, ending, count):
    """A folder with so many links to one file."""
    units = folder / f"{count}-{ending}"
    units.mkdir()
    for i in range(count):
        os.symlink(folder / f"storage.{ending}", units / f"unit{i}.{ending}")
    return units


def processor_time_of_one_check(talstore, layout, file):
    """In seconds, of many runs."""
    command = [talstore, "check", "--layout", layout, file]
    start = resource.getrusage(resource.RUSAGE_CHILDREN)
    for _ in range(CHECKED):
        subprocess.call(command, stdout=subprocess.DEVNULL)
    end = resource.getrusage(resource.RUSAGE_CHILDREN)
    return (end.ru_utime + end.ru_stime - start.ru_utime - start.ru_stime) / CHECKED


class Rows:
    """What was measured, a line each as soon as it is known."""

    def __init__(self):
        self.missed = []

    def add(self, name, value, limit, unit, is_met):
        print(f"{name:<44} {value:>9.2f} {unit:<4} limit {limit:g}{'' if is_met else '   MISSED'}")
        self.missed += [] if is_met else [name]

    def at_most(self, name, value, limit, unit):
        self.add(name, value, limit, unit, value <= limit)

    def at_least(self, name, value, limit, unit):
        self.add(name, value, limit, unit, value >= limit)


def measure(rows, folder, talstore, files):
    layout = folder / "new.json"

    def survey(units):
        """Processor and clock time in seconds, and the memory of all processes that there are at a time."""
        processor, clock, mebibytes = used_by([talstore, "survey", units, "--layout", layout, "--jobs", CORES])
        return processor, clock, mebibytes * (CORES + 1)

    for ending, seconds in SECONDS.items():
        units = fleet(folder, ending, files)
        processor, clock, mebibytes = survey(units)
        rows.at_most(f"{files} files, {ending}, on {CORES} idle cores", processor / CORES, seconds * files / 10000, "s")
        print(f"{'':<44} {clock:>9.2f} s    by the clock, with what else ran")
        checks = files * processor_time_of_one_check(talstore, layout, units / f"unit0.{ending}")
        rows.at_least(f"as many checks, {ending}, take so many times it", checks / processor, LEAST_GAIN, "")
        rows.at_most(f"memory at most, {ending}", mebibytes, MOST_MEBIBYTES, "MiB")
    for ending in SECONDS:
        _, _, mebibytes = survey(fleet(folder, ending, 10 * files))
        rows.at_most(f"memory at most, {10 * files} files, {ending}", mebibytes, MOST_MEBIBYTES, "MiB")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("talstore", type=pathlib.Path)
    parser.add_argument("large_files", type=pathlib.Path)
    parser.add_argument("--files", type=int, default=10000)
    arguments = parser.parse_args()
    rows = Rows()
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        prepare(folder, arguments.large_files.resolve())
        measure(rows, folder, arguments.talstore.resolve(), arguments.files)
    if rows.missed:
        sys.exit("fleet.py: missed: " + ", ".join(rows.missed))


main()
