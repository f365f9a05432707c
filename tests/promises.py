#!/usr/bin/env python3
"""Shows which tests hold each promise and each surprise of the documentation.

A test says so in the comment before it, with a line "/// Promise 12" or "/// Surprise: " and the words with which the
entry of docs/surprises.md begins, as many as it takes to mean that one alone.

Exit status: 0, or 1 when an entry has no test or a mark has no entry; what is wrong is said on standard error.
"""
import argparse
import pathlib
import re
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
PROMISE = re.compile(r"^(\d+)\. \*\*(.+?)\*\*", re.MULTILINE | re.DOTALL)
SURPRISE = re.compile(r"^- \*\*(.+?)\*\*", re.MULTILINE | re.DOTALL)
MARK = re.compile(r"/// (?:Promise (\d+)|Surprise: (.+))$")
TEST = re.compile(r"TEST(?:_F|_P)?\(\s*(\w+),\s*(\w+)\)")


class Entry:
    def __init__(self, title):
        self.title = " ".join(title.split())
        self.tests = []


def promises(faults):
    entries = []
    for number, title in PROMISE.findall((ROOT / "docs/promises.md").read_text(encoding="utf-8")):
        entries.append(Entry(f"{number}. {title}"))
        if int(number) != len(entries):
            faults.append(f"docs/promises.md: promise {number} stands where {len(entries)} should")
    return entries


def surprises():
    return [Entry(title) for title in SURPRISE.findall((ROOT / "docs/surprises.md").read_text(encoding="utf-8"))]


def marked_tests(source):
    """Yields (mark, where it stands, the test after it, or None where none follows)."""
    text = source.read_text(encoding="utf-8")
    lines = text.splitlines(keepends=True)
    position = 0
    marks = []
    for number, line in enumerate(lines, 1):
        mark = MARK.match(line.rstrip("\n"))
        if mark:
            marks.append((mark, f"{source.relative_to(ROOT)}:{number}"))
        elif not line.startswith("//"):
            test = TEST.match(text, position)
            for found, where in marks:
                yield found, where, ".".join(test.groups()) if test else None
            marks = []
        position += len(line)


def entry_of(mark, all_promises, all_surprises):
    number, beginning = mark.groups()
    if number:
        return all_promises[int(number) - 1] if 0 < int(number) <= len(all_promises) else None
    meant = [entry for entry in all_surprises if entry.title.startswith(beginning)]
    return meant[0] if len(meant) == 1 else None


def fill(all_promises, all_surprises, faults):
    for source in sorted((ROOT / "tests").rglob("*.cpp")):
        for mark, where, test in marked_tests(source):
            entry = entry_of(mark, all_promises, all_surprises)
            if not test:
                faults.append(f"{where}: no test follows the mark")
            elif not entry:
                faults.append(f"{where}: no entry, or several, for the mark '{mark.group(0)[4:]}'")
            else:
                entry.tests.append(test)
    for entry in all_promises + all_surprises:
        if not entry.tests:
            faults.append(f"no test is marked for: {entry.title}")


def show(heading, entries):
    print(f"# {heading}")
    for entry in entries:
        print(f"\n{entry.title}")
        for test in entry.tests:
            print(f"    {test}")


def main():
    argparse.ArgumentParser(
        description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter).parse_args()
    faults = []
    all_promises = promises(faults)
    all_surprises = surprises()
    fill(all_promises, all_surprises, faults)
    show("Promises", all_promises)
    print()
    show("Surprises", all_surprises)
    for fault in faults:
        print(f"promises.py: {fault}", file=sys.stderr)
    return 1 if faults or not all_promises or not all_surprises else 0


if __name__ == "__main__":
    sys.exit(main())
