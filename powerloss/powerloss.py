#!/usr/bin/env python3
"""Takes the power from a machine that stores, builds what its disk may then hold, and says what became of the files.

Exit status: 0 if everything is as the table of file systems says, 1 if not, 2 for wrong use.
"""

import argparse
import concurrent.futures
import json
import shutil
import sys

import machine
import report
import tally
import write_log
from cases import CELLS, FILE_SYSTEMS, SHORT_CELLS, SHORT_FILE_SYSTEMS
from extract import extract
from judge import ROUNDS, Situation, write_whole_files

RECORDINGS = machine.BUILD / "recordings"
RESULTS = machine.BUILD / "results"


def record(file_system, cells):
    """One machine stores in every way, each in a folder of its own; the disk before that and its log are kept."""
    folder = RECORDINGS / file_system.name
    shutil.rmtree(folder, ignore_errors=True)
    folder.mkdir(parents=True)
    made = folder / "made.img"
    made.write_bytes(bytes([file_system.blank]) * (file_system.megabytes << 20))
    machine.run_shell(file_system.make, made)
    machine.make_disk(folder / "disk.img", made.read_bytes())
    disks = [machine.logged_disk(folder / "disk.img", folder / "log")]
    machine.boot(folder, file_system, storing_job(file_system, cells), disks, seconds=600)


def storing_job(file_system, cells):
    """The folders are there from an earlier start: a directory that is new has unwritten parts of its own."""
    lines = [f"set -- /dev/vda2 /data {file_system.megabytes << 20}", "mkdir $2", file_system.mount]
    lines += [f"mkdir $2/{cell.folder}" for cell in cells]
    lines += ["umount $2", file_system.release, file_system.mount, file_system.prepare]
    for cell in cells:
        lines.append(f"(cd $2/{cell.folder} && /guest /description.json store {cell.format} {ROUNDS} {cell.way.base}"
                     f" {cell.name} /dev/vda1 {','.join(cell.way.left_out)})")
    return "\n".join(lines) + "\n"


def recordings_of(file_system):
    folder = RECORDINGS / file_system.name
    log = folder / "log"
    if not log.exists():
        raise machine.MachineError(f"{file_system.name} has not been recorded yet: ./run powerloss {file_system.name}")
    events = write_log.parse(log.read_bytes(), machine.MARK_SECTORS)
    return write_log.recordings(bytearray((folder / "made.img").read_bytes()), events)


def judge_states(file_system, cells):
    """{name of a cell: what was found in its states}"""
    workplace = machine.BUILD / "work" / file_system.name
    shutil.rmtree(workplace, ignore_errors=True)
    whole = {format: write_whole_files(format, workplace / format) for format in {cell.format for cell in cells}}
    tallies = {cell.name: tally.Tally(cell, whole[cell.format]) for cell in cells}
    chosen = ((recording, number, state) for recording in recordings_of(file_system)
              for number, state in recording.chosen_states(file_system.states_per_cell).items())
    for recording, number, state, files in extract(file_system, chosen):
        tallies[recording.cell].add(number, Situation.after(recording.marks_until(state)), files)
    return {name: one.figures(workplace / one.cell.format) for name, one in tallies.items()}


def try_file_system(name, cells):
    file_system = FILE_SYSTEMS[name]
    print(f"{name}: store ...", file=sys.stderr, flush=True)
    record(file_system, cells)
    print(f"{name}: judge ...", file=sys.stderr, flush=True)
    figures = judge_states(file_system, cells)
    RESULTS.mkdir(exist_ok=True)
    (RESULTS / f"{name}.json").write_text(json.dumps(figures, indent=1) + "\n")
    return figures


def last_figures(name):
    """Of the last run, which must have been a whole one."""
    file = RESULTS / f"{name}.json"
    figures = json.loads(file.read_text()) if file.exists() else {}
    if figures.keys() != {cell.name for cell in CELLS}:
        raise machine.MachineError(f"nothing is recorded: the last run of {name} was no whole one: ./run powerloss {name}")
    return figures


def try_file_systems(names, cells):
    with concurrent.futures.ProcessPoolExecutor(max_workers=2) as workers:
        pending = {name: workers.submit(try_file_system, name, cells) for name in names}
    errors = {name: future.exception() for name, future in pending.items() if future.exception()}
    return {name: pending[name].result() for name in names if name not in errors}, errors


def show(place):
    """Prints one state: what the disk was asked for, what was left of it, and what became of the files."""
    cell_name, _, number = place.partition(":")
    file_system_name, _, cell_name = cell_name.partition("/")
    if file_system_name not in FILE_SYSTEMS or cell_name not in {cell.name for cell in CELLS}:
        sys.exit(f"powerloss: no cell is named {place}; a name is FILE-SYSTEM/FORMAT/WAY or FILE-SYSTEM/FORMAT/WAY:STATE")
    file_system = FILE_SYSTEMS[file_system_name]
    (cell,) = (cell for cell in CELLS if cell.name == cell_name)
    recording = next((one for one in recordings_of(file_system) if one.cell == cell_name), None)
    if recording is None:
        raise machine.MachineError(f"{place} was not part of the last run: ./run powerloss {file_system_name}")
    states = recording.states()
    number = int(number) if number else tally.first_lost(RESULTS / f"{file_system_name}.json", cell_name)
    if number >= len(states):
        sys.exit(f"powerloss: {cell_name} has {len(states)} states, from 0")
    workplace = machine.BUILD / "work/show"
    shutil.rmtree(workplace, ignore_errors=True)
    one = tally.Tally(cell, write_whole_files(cell.format, workplace / cell.format))
    state = states[number]
    ((_, _, _, files),) = extract(file_system, [(recording, number, state)])
    situation = Situation.after(recording.marks_until(state))
    one.add(number, situation, files)
    print(f"{file_system_name}/{cell_name}:{number}, of {len(states)} states")
    print("\n".join(recording.describe(state)))
    report.print_state(situation, files, one.figures(workplace / cell.format))


def main():
    parser = argparse.ArgumentParser(prog="./run powerloss", description=__doc__.splitlines()[0])
    parser.add_argument("file_systems", nargs="*", metavar="FILE-SYSTEM", help=f"of {', '.join(FILE_SYSTEMS)}; all")
    action = parser.add_mutually_exclusive_group()
    action.add_argument("--short", action="store_true", help="what every change has to pass")
    action.add_argument("--record", action="store_true", help="write what each file system's last run has found into docs/power-loss.md")
    action.add_argument("--show", metavar="CELL[:STATE]", help="print a state of the last run, and its writes")
    arguments = parser.parse_args()
    unknown = [name for name in arguments.file_systems if name not in FILE_SYSTEMS]
    if unknown:
        parser.error(f"unknown file system {unknown[0]}")
    if arguments.show:
        show(arguments.show)
        return
    names = arguments.file_systems or (SHORT_FILE_SYSTEMS if arguments.short else tuple(FILE_SYSTEMS))
    found, errors = try_file_systems(names, SHORT_CELLS if arguments.short else CELLS)
    print(report.tables(found))
    problems = [*(f"{name}: {error}" for name, error in errors.items()), *report.problems(found)]
    if arguments.record and not errors:
        report.record({name: last_figures(name) for name in FILE_SYSTEMS})
    for problem in problems:
        print(f"powerloss: {problem}", file=sys.stderr)
    sys.exit(1 if problems else 0)


if __name__ == "__main__":
    try:
        main()
    except (machine.MachineError, write_log.LogError) as error:
        sys.exit(f"powerloss: {error}")
