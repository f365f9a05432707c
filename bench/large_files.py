#!/usr/bin/env python3
"""Measures what talstore takes for large files: the time that passes, the processor's, and the most memory resident.

The fastest of several runs counts for the times, the largest for the memory. Whatever else the machine does adds to the
time that passes, so that the aim can only be judged on an idle one with two cores.
"""

import argparse
import os
import pathlib
import subprocess
import sys
import tempfile
import time

FILES = {"XML": "storage.xml", "secure": "storage.sbin", "raw": "storage.bin"}
COMMANDS = {"show": "show FILE", "check": "check FILE", "diff": "diff FILE FILE"}
MOST_SECONDS = 1.0
MOST_MEBIBYTES = 150.0


def run(command, directory):
    """Seconds that pass, seconds of the processor, MiB."""
    begin = time.monotonic()
    process = subprocess.Popen(command, cwd=directory, stdout=subprocess.DEVNULL)
    _, status, usage = os.wait4(process.pid, 0)
    passed = time.monotonic() - begin
    if os.waitstatus_to_exitcode(status) != 0:
        sys.exit(f"large_files.py: {' '.join(map(str, command))} ended with {os.waitstatus_to_exitcode(status)}")
    return passed, usage.ru_utime + usage.ru_stime, usage.ru_maxrss / 1024


def measure(command, directory, repetitions):
    passed, processor, memory = zip(*(run(command, directory) for _ in range(repetitions)))
    return min(passed), min(processor), max(memory)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("build", type=pathlib.Path, help="the build tree, optimised")
    parser.add_argument("--variables", type=int, default=100000)
    parser.add_argument("--repetitions", type=int, default=5)
    arguments = parser.parse_args()

    programs = arguments.build.resolve()
    missed = []
    print("|  | time | processor time | memory |")
    print("|---|--:|--:|--:|")
    with tempfile.TemporaryDirectory() as directory:
        subprocess.run([programs / "bench/tal_large_files", str(arguments.variables), directory], check=True,
                       stdout=subprocess.DEVNULL)
        for kind, file in FILES.items():
            for name, command in COMMANDS.items():
                words = command.replace("FILE", file).split()
                passed, processor, memory = measure(
                    [programs / "tools/talstore/talstore", *words, "--layout", "layout.json"], directory,
                    arguments.repetitions)
                print(f"| {name}, {kind} | {passed:.2f} s | {processor:.2f} s | {memory:.0f} MiB |")
                if passed > MOST_SECONDS or memory > MOST_MEBIBYTES:
                    missed.append(f"{name}, {kind}")
    if missed:
        sys.exit(f"large_files.py: more than {MOST_SECONDS:g} s or {MOST_MEBIBYTES:g} MiB: {'; '.join(missed)}")


main()
