#!/usr/bin/env python3
"""Shows what TAL_STREAM_BUFFER_SIZE costs and saves: the library is built once for each size.

For a store of 10 000 variables each: calls of write, processor time on this file system, and the time that passes on a
medium whose writes take a millisecond each. The sizes take turns, and the fastest of all turns counts.
"""

import os
import pathlib
import re
import shutil
import subprocess

ROOT = pathlib.Path(__file__).resolve().parents[1]
BUILD = ROOT / "build/buffers"
PROGRAM = BUILD / "bench/tal_buffer_cost"
LIBRARY = BUILD / "src/Device/DeviceSupport/libTalDeviceSupport.so.1"
SIZES = (512, 1024, 2048, 4096, 8192, 16384, 32768, 65536)
TURNS = 5
ROW = re.compile(r"\w+ store: (\d+) writes, (\d+) us, (\d+) ms")


def run(*command, folder=ROOT, **environment):
    return subprocess.run([str(word) for word in command], check=True, stdout=subprocess.PIPE, text=True, cwd=folder,
                          env=os.environ | environment).stdout


def library_folder(size):
    """The folder with the library that has buffers of the size."""
    run("cmake", "--preset", "release", "-B", BUILD, f"-DTAL_STREAM_BUFFER_SIZE={size}")
    run("cmake", "--build", BUILD, "--target", PROGRAM.name)
    folder = BUILD / f"library-{size}"
    folder.mkdir(exist_ok=True)
    shutil.copy(LIBRARY, folder)
    return folder


def measure(folder):
    """Writes, microseconds and milliseconds of one store after the other."""
    said = run(PROGRAM, 10000, folder=folder, LD_LIBRARY_PATH=str(folder))
    return [int(figure) for row in ROW.findall(said) for figure in row]


def main():
    folders = {size: library_folder(size) for size in SIZES}
    turns = [{size: measure(folder) for size, folder in folders.items()} for _ in range(TURNS)]
    print("|  bytes | XML: writes | us | slow, ms | binary: writes | us | slow, ms | secure: writes | us | slow, ms |")
    print("|" + "--:|" * 10)
    for size in SIZES:
        fastest = [min(figures) for figures in zip(*(turn[size] for turn in turns))]
        print(f"| {' | '.join(map(str, [size] + fastest))} |")


main()
