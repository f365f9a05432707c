"""The tables of what was found, and whether it is what the table of file systems says."""

import fnmatch
import subprocess

import machine
from cases import CELLS, FILE_SYSTEMS
from judge import VERDICTS

DOCUMENT = machine.ROOT / "docs/power-loss.md"
TABLE_START = "<!-- measured: ./run powerloss --record -->\n"
PACKAGES = ("qemu-system-x86", "e2fsprogs", "dosfstools", "f2fs-tools", "mtd-utils")


def table(head, rows):
    lines = [head, ["---"] + ["--:"] * (len(head) - 1), *rows]
    return "".join("| " + " | ".join(map(str, line)) + " |\n" for line in lines)


def overview(found):
    """How many states of each cell had lost what a returned store has written."""
    rows = []
    for cell in CELLS:
        figures = [of_file_system.get(cell.name) for of_file_system in found.values()]
        if any(figures):
            rows.append([f"{cell.format}, {cell.way.text}", *(lost_of(one) for one in figures)])
    return table(["stored", *found], rows)


def lost_of(figures):
    if figures is None:
        return "not tried"
    return f"**{len(figures['lost'])}** of {figures['states']}" if figures["lost"] else f"0 of {figures['states']}"


def details(figures):
    rows = []
    for name, one in figures.items():
        counts = [one["verdicts"].get(verdict, "") for verdict in VERDICTS]
        retrieved = [len(one[what]) or "" for what in ("zeros", "other")]
        rows.append([f"`{name}`", one["states"], *counts, *retrieved, len(one["lost"]) or ""])
    return table(["way", "states", *VERDICTS, "zero values", "other values", "lost"], rows)


def versions():
    shown = subprocess.run(["dpkg-query", "--show", "--showformat=${Package} ${Version}\n", *PACKAGES],
                           stdout=subprocess.PIPE, text=True, check=True)
    return ", ".join([f"Linux {machine.release()}", *shown.stdout.splitlines()])


def tables(found):
    parts = [f"Found with {versions()}.\n", overview(found)]
    for name, figures in found.items():
        parts.append(f"### {name}\n\n{details(figures)}")
    return "\n".join(parts)


def record(found):
    text, _, _ = DOCUMENT.read_text().partition(TABLE_START)
    DOCUMENT.write_text(text + TABLE_START + "\n" + tables(found))


def problems(found):
    """Where the finding is not what the table of file systems says: a promise is broken, or the test is blind."""
    for name, figures in found.items():
        for pattern in FILE_SYSTEMS[name].keeps:
            for cell_name in fnmatch.filter(figures, pattern):
                lost = figures[cell_name]["lost"]
                if lost:
                    yield f"{name}/{cell_name}:{lost[0]} and {len(lost) - 1} more states lack what had been stored"
        for pattern in FILE_SYSTEMS[name].loses:
            cells = fnmatch.filter(figures, pattern)
            if cells and not any(figures[cell_name]["lost"] for cell_name in cells):
                yield f"{name}/{pattern}: no state has lost anything; it is kept after all, or the test is blind"


def print_state(situation, files, figures):
    where = f"store {situation.begun} had begun" if situation.begun else f"store {situation.returned} had returned"
    (verdict,) = figures["verdicts"]
    print(f"\n{where}; the file is: {verdict}{', and what had been stored is lost' if figures['lost'] else ''}")
    for name, data in sorted((files or {}).items()):
        print(f"  {name}: {len(data)} bytes")
    for what in ("zeros", "other"):
        if figures[what]:
            print(f"  a retrieve leaves variables with {what}")
