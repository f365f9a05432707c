"""What became of the files in a state of the disk, and whether it breaks what a returned store has promised."""

import dataclasses
import re
import subprocess

from machine import DESCRIPTION, GUEST, MachineError, run

ROUNDS = 6

# What a state's file can be. "new" is what was stored last or is being stored, "old" what was there before that.
VERDICTS = ("new", "old", "older", "prefix", "empty", "missing", "else", "unmountable")


@dataclasses.dataclass(frozen=True)
class Situation:
    """Where the storing program was: `begun` is the round in progress, or None between two stores."""

    returned: int
    begun: int = None

    @classmethod
    def after(cls, marks):
        returned = max((mark.round for mark in marks if mark.what != "begun"), default=0)
        begun = max((mark.round for mark in marks if mark.what == "begun"), default=0)
        return cls(returned, begun if begun > returned else None)

    @property
    def newest(self):
        return self.begun or self.returned


@dataclasses.dataclass(frozen=True)
class Finding:
    verdict: str
    is_lost: bool  # something that a store had written before it returned, and that nobody had touched since


def content_of(data, whole):
    """The round of which `data` is the whole file, or the word for what else it is."""
    if data is None:
        return "missing"
    if not data:
        return "empty"
    for round, bytes_of_round in whole.items():
        if data == bytes_of_round:
            return round
    return "prefix" if any(bytes_of_round.startswith(data) for bytes_of_round in whole.values()) else "else"


def file_name(base, round):
    """New files have the name of their round; all other stores go to one file."""
    return str(round) if base == "new-file" else "0"


def judge(base, situation, files, whole):
    """`files` are the contents by name, None if the file system could not be mounted; `whole` the files by round."""
    if files is None:
        return Finding("unmountable", True)
    content = content_of(files.get(file_name(base, situation.newest)), whole)
    return Finding(verdict_on(content, situation), is_lost(base, situation, content, files, whole))


def verdict_on(content, situation):
    if not isinstance(content, int):
        return content
    if content == situation.newest:
        return "new"
    return "old" if content == situation.returned else "older"


def is_lost(base, situation, content, files, whole):
    if base == "new-file":
        return any(files.get(str(round)) != whole[round] for round in range(1, situation.returned + 1))
    if situation.begun is None:
        return content != situation.returned
    if base == "in-place":
        # The store in progress may have emptied the file: that is no loss of a promise.
        return isinstance(content, int) and content < situation.returned
    return content not in (situation.returned, situation.begun)


# ---- The library's own judgement.


@dataclasses.dataclass(frozen=True)
class Retrieved:
    """How many variables of a retrieve hold what some round had stored, their default, zeros, or something else."""

    result: str
    stored: int
    default: int
    zeros: int
    other: int
    is_unharmed: bool

    @classmethod
    def read(cls, line):
        words = line.split()
        return cls(words[0], *map(int, words[1:5]), words[5] == "1")


def write_whole_files(format, folder):
    """The file of each round, as a store without a power cut leaves it."""
    folder.mkdir(parents=True)
    run(GUEST, DESCRIPTION, "whole", format, ROUNDS, cwd=folder, env={"BRQTRACE_THRESHOLD": "0"})
    return {round: (folder / str(round)).read_bytes() for round in range(ROUNDS + 1)}


def retrieve(format, folder, names):
    """Retrieves from each of the files; `folder` has the whole ones."""
    command = [str(GUEST), str(DESCRIPTION), "judge", format, str(ROUNDS)]
    ended = subprocess.run(command, cwd=folder, input="".join(f"{name}\n" for name in names), text=True,
                           stdout=subprocess.PIPE, check=True, env={"BRQTRACE_THRESHOLD": "0"})
    lines = ended.stdout.splitlines()
    if len(lines) != len(names):
        raise MachineError(f"of {len(names)} files {len(lines)} were retrieved")
    return [Retrieved.read(line) for line in lines]
