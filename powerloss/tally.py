"""What was found in the states of one cell."""

import collections
import json

from judge import file_name, judge, retrieve
from machine import MachineError


class Tally:
    def __init__(self, cell, whole):
        self.cell, self.whole = cell, whole
        self.verdicts = collections.Counter()
        self.lost = []
        self.states_by_file = collections.defaultdict(list)

    def add(self, number, situation, files):
        finding = judge(self.cell.way.base, situation, files, self.whole)
        self.verdicts[finding.verdict] += 1
        if finding.is_lost:
            self.lost.append(number)
        file = (files or {}).get(file_name(self.cell.way.base, situation.newest))
        if file is not None:
            self.states_by_file[file].append(number)

    def figures(self, folder):
        """`folder` has the whole files of the format."""
        if not self.verdicts:
            raise MachineError(f"{self.cell.name}: no state was judged")
        return {"states": sum(self.verdicts.values()), "verdicts": dict(self.verdicts), "lost": self.lost,
                **self.retrieved(folder)}

    def retrieved(self, folder):
        """The states after which a retrieve leaves variables with zeros, or with what nobody has stored. Equal files
        are retrieved once."""
        names = []
        for file in self.states_by_file:
            names.append(f"state-{len(names)}")
            (folder / names[-1]).write_bytes(file)
        states = {"zeros": [], "other": []}
        for numbers, retrieved in zip(self.states_by_file.values(), retrieve(self.cell.format, folder, names)):
            if not retrieved.is_unharmed:
                raise MachineError(f"{self.cell.name}:{numbers[0]}: the retrieve wrote beside a variable")
            for what, found in states.items():
                found += numbers if getattr(retrieved, what) else []
        return states


def first_lost(results, cell_name):
    """The number of a state that is worth looking at: the first loss, or the first of all."""
    if not results.exists():
        return 0
    return min(json.loads(results.read_text()).get(cell_name, {}).get("lost", []), default=0)
