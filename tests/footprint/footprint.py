#!/usr/bin/env python3
"""Measures what the library takes up on the board and compares it with the recorded bounds and symbols.

Sizes are bytes. "Stack per level" is what one more level of nesting costs: the frames of the functions that call one
another in a circle. "Heap" is the most that an operation holds at a time beyond what was held before it.
"""

import argparse
import json
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
BOUNDS = ROOT / "tests/footprint/bounds.json"
SYMBOLS = ROOT / "tests/footprint/symbols.json"
DOCUMENT = ROOT / "docs/footprint.md"
LIBRARY = pathlib.Path("src/Device/DeviceSupport/libTalDeviceSupport.so")
EXAMPLE = ROOT / "examples/radio-unit.json"
TOLERANCE = 1.1
# Whatever is recorded.
LIMITS = {"library: text": 48 * 1024, "library: data and bss": 48 * 1024}
TABLE_START = "<!-- measured: ./run footprint --record -->\n"


def output_of(*command):
    return subprocess.run([str(word) for word in command], check=True, stdout=subprocess.PIPE, text=True).stdout


def section_sizes(file):
    """text, data and bss of an object or a library."""
    numbers = output_of("arm-linux-gnueabihf-size", file).splitlines()[1].split()
    return dict(zip(("text", "data", "bss"), map(int, numbers)))


def symbol_sizes(file):
    """Bytes of each function and object; what has the same name, the places of a function's traces say, is added up."""
    sizes = {}
    for line in output_of("arm-linux-gnueabihf-nm", "--demangle", "--size-sort", file).splitlines():
        size, _, name = line.split(maxsplit=2)
        sizes[name] = sizes.get(name, 0) + int(size, 16)
    return sizes


def symbol_changes(sizes):
    """What each symbol has gained or lost since the recorded state, the largest changes first."""
    recorded = json.loads(SYMBOLS.read_text())
    changes = {name: sizes.get(name, 0) - recorded.get(name, 0) for name in sizes.keys() | recorded.keys()}
    for name, change in sorted(changes.items(), key=lambda item: (-abs(item[1]), item[0])):
        if change:
            yield f"{change:+6}  {name}"


class CallGraph:
    """The calls within the library with the stack frame of each function, read from the compiler's .ci files."""

    NODE = re.compile(r'^node: { title: "(?P<title>[^"]+)" label: "(?P<name>.*?)\\n.*?(?:\\n(?P<frame>\d+) bytes .*)?"')
    EDGE = re.compile(r'^edge: { sourcename: "(?P<caller>[^"]+)" targetname: "(?P<callee>[^"]+)"')

    def __init__(self, files):
        self.names, self.frames, self.callees = {}, {}, {}
        for file in files:
            source = file.name.split(".")[0]
            for line in file.read_text().splitlines():
                if (node := self.NODE.match(line)) and node["frame"]:
                    self.names[node["title"]] = f"{source} {short_name(node['name'])}"
                    self.frames[node["title"]] = int(node["frame"])
                elif edge := self.EDGE.match(line):
                    self.callees.setdefault(edge["caller"], set()).add(edge["callee"])

    def largest_circles(self):
        """The most expensive circle of calls through each function that begins one: {function: bytes}."""
        largest = {}
        for start in sorted(self.frames):
            for circle in self.circles_from(start):
                size = sum(self.frames[function] for function in circle)
                name = self.names[min(circle, key=self.entry_rank)]
                largest[name] = max(largest.get(name, 0), size)
        return largest

    def circles_from(self, start):
        pending = [(start,)]
        while pending:
            path = pending.pop()
            for callee in self.callees.get(path[-1], ()):
                if callee == start:
                    yield path
                # Each circle is found once, from the least of its functions.
                elif callee > start and callee in self.frames and callee not in path:
                    pending.append(path + (callee,))

    def entry_rank(self, function):
        """Orders functions so that the one called from outside its circles comes first."""
        return (-sum(function in callees for callees in self.callees.values()), self.names[function])


def short_name(signature):
    """"QBFResult tal::{anonymous}::StoreObject(CStorageObject*)" is shown as "StoreObject"."""
    return signature.split("(")[0].split("::")[-1].split()[-1]


def measure(build):
    objects = build / "src/Device/DeviceSupport/CMakeFiles/TalDeviceSupport.dir/private"
    figures = {}
    for section, size in section_sizes(build / LIBRARY).items():
        figures[f"library: {section}"] = size
    figures["library: data and bss"] = figures["library: data"] + figures["library: bss"]
    for file in sorted(objects.glob("*.o")):
        figures[f"object: {file.name.removesuffix('.cpp.o')}"] = sum(section_sizes(file).values())
    graph = CallGraph(sorted(objects.glob("*.ci")))
    figures["stack: largest frame"] = max(graph.frames.values())
    for function, size in sorted(graph.largest_circles().items()):
        figures[f"stack per level: {function}"] = size
    heap = output_of("qemu-arm", "-L", "/usr/arm-linux-gnueabihf", build / "tests/footprint/tal_heap", EXAMPLE)
    for line in heap.splitlines():
        operation, size = line.rsplit(maxsplit=1)
        figures[f"heap: {operation}"] = int(size)
    return figures


def table(figures):
    width = max(map(len, figures))
    lines = [f"| {'what':{width}} |  bytes |", f"|{'-' * (width + 2)}|-------:|"]
    lines += [f"| {what:{width}} | {size:6} |" for what, size in figures.items()]
    return "\n".join(lines) + "\n"


def record(figures, symbols):
    BOUNDS.write_text(json.dumps(figures, indent=2) + "\n")
    SYMBOLS.write_text(json.dumps(symbols, indent=0, sort_keys=True) + "\n")
    text, _, _ = DOCUMENT.read_text().partition(TABLE_START)
    DOCUMENT.write_text(text + TABLE_START + "\n" + table(figures))


def deviations(figures):
    bounds = json.loads(BOUNDS.read_text())
    for what in sorted(figures.keys() | bounds.keys()):
        if what not in bounds:
            yield f"{what}: {figures[what]} bytes, and no bound is recorded"
        elif what not in figures:
            yield f"{what}: a bound is recorded, and nothing was measured"
        elif figures[what] > bounds[what] * TOLERANCE:
            yield f"{what}: {figures[what]} bytes, more than a tenth above {bounds[what]}"
    for what, limit in LIMITS.items():
        if figures[what] > limit:
            yield f"{what}: {figures[what]} bytes, and {limit} are the most that a small board has for it"


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("build", type=pathlib.Path, help="the build folder of the preset armhf")
    action = parser.add_mutually_exclusive_group()
    action.add_argument("--check", action="store_true", help="fail when a recorded bound is exceeded by over a tenth, or a limit at all")
    action.add_argument("--record", action="store_true", help="make what is measured the recorded bounds")
    arguments = parser.parse_args()

    figures = measure(arguments.build)
    print(table(figures), end="")
    symbols = symbol_sizes(arguments.build / LIBRARY)
    changes = list(symbol_changes(symbols))
    print("\nSymbols, against the recorded state:", *changes or ["none has changed"], sep="\n")
    if arguments.record:
        record(figures, symbols)
    problems = list(deviations(figures)) if arguments.check else []
    for problem in problems:
        print(f"footprint.py: {problem}", file=sys.stderr)
    if problems:
        sys.exit("footprint.py: if this is meant to be, record it: ./run footprint --record")


main()
