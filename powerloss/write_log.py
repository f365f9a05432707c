"""The log of a disk, and the states of that disk that a power cut can leave.

qemu's blklogwrites writes the format of Linux' dm-log-writes: a header, then one entry for each write and each flush in
the order in which the disk has completed them. Everything is little-endian and padded to sectors.
"""

import dataclasses
import random
import struct

SECTOR = 512
HEADER = struct.Struct("<QQQI")  # magic, version, entries, bytes per sector
ENTRY = struct.Struct("<QQQQ")  # first sector, sectors, flags, bytes of inline data
MAGIC = 0x6A736677736872
FLUSH, FUA, DISCARD = 1, 2, 4


class LogError(Exception):
    """The log is no log, is cut, or has an entry that no disk of ours is asked for."""


@dataclasses.dataclass(frozen=True)
class Write:
    sector: int
    data: bytes

    def sectors(self):
        return len(self.data) // SECTOR


@dataclasses.dataclass(frozen=True)
class Flush:
    """Everything that was written before it is on the medium."""


@dataclasses.dataclass(frozen=True)
class Mark:
    """What the storing program has written into the first sectors of the disk."""

    cell: str
    what: str  # "begun", "returned" or "ended"
    round: int


def parse(log, first_sector):
    """The events in a log. Sectors before `first_sector` hold marks; those of a Write count from there."""
    magic, version, entries, sector_size = HEADER.unpack_from(log)
    if (magic, version, sector_size) != (MAGIC, 1, SECTOR):
        raise LogError(f"no log of writes in sectors of {SECTOR} bytes")
    position, events = SECTOR, []
    for _ in range(entries):
        if position + SECTOR > len(log):
            raise LogError(f"cut after {len(events)} of {entries} entries")
        sector, sectors, flags, _ = ENTRY.unpack_from(log, position)
        data = log[position + SECTOR : position + SECTOR + sectors * SECTOR]
        if flags & ~FLUSH or len(data) != sectors * SECTOR or flags and sectors:
            raise LogError(f"entry {len(events)} of {entries} is cut, or has flags {flags:#x}")
        position += SECTOR + len(data)
        events.append(Flush() if flags else event_of(sector, data, first_sector))
    return events


def event_of(sector, data, first_sector):
    if sector >= first_sector:
        return Write(sector - first_sector, data)
    words = data.split(b"\0")[0].decode().split()
    if len(words) != 4 or words[0] != "mark":
        raise LogError(f"what is written to sector {sector} is no mark")
    return Mark(words[1], words[2], int(words[3]))


def apply(image, write, sectors=None):
    """Writes into `image`, or only the first so many sectors."""
    data = write.data if sectors is None else write.data[: sectors * SECTOR]
    start = write.sector * SECTOR
    image[start : start + len(data)] = data


@dataclasses.dataclass(frozen=True)
class State:
    """The disk after the first `length` events of a recording, but for what is said besides."""

    length: int
    left_out: int = None  # the index of a write that never reached the medium
    torn_after: int = None  # so many sectors of the last write reached it


class Recording:
    """What one case did: the events from its first mark to its last, and the disk before them."""

    def __init__(self, cell, base, events):
        self.cell, self.base, self.events = cell, base, events

    def image(self, state):
        image = bytearray(self.base)
        for index, event in enumerate(self.events[: state.length]):
            if isinstance(event, Write) and index != state.left_out:
                is_torn = state.torn_after is not None and index == state.length - 1
                apply(image, event, state.torn_after if is_torn else None)
        return image

    def marks_until(self, state):
        return [event for event in self.events[: state.length] if isinstance(event, Mark)]

    def prefixes(self):
        """After each write, and after each mark, where the disk is the same and what may be expected is not."""
        for index, event in enumerate(self.events):
            if not isinstance(event, Flush):
                yield State(index + 1)

    def without_one_write(self):
        """The medium may write what lies between two flushes in any order: each write is missing once at the end of
        its epoch, and once wherever an operation has returned meanwhile."""
        unflushed = []
        for index, event in enumerate(self.events):
            if isinstance(event, Write):
                unflushed.append(index)
            is_last = index + 1 == len(self.events) or isinstance(self.events[index + 1], Flush)
            if is_last or isinstance(event, Mark) and event.what == "returned":
                # Without the very last write it is the prefix before that.
                yield from (State(index + 1, left_out=write) for write in unflushed if write != index)
            if isinstance(event, Flush):
                unflushed.clear()

    def torn(self):
        """Each write of several sectors, with some of them."""
        for index, event in enumerate(self.events):
            if isinstance(event, Write) and event.sectors() > 1:
                chosen = random.Random(f"{self.cell} {index}").randrange(1, event.sectors())
                yield State(index + 1, torn_after=chosen)

    def states(self):
        return [*self.prefixes(), *self.without_one_write(), *self.torn()]

    def chosen_states(self, limit):
        """{number: state}: at most `limit` of the states, by a fixed seed; right after a mark all of them."""
        numbered = dict(enumerate(self.states()))
        if len(numbered) <= limit:
            return numbered
        at_marks = [number for number, state in numbered.items() if self.is_at_mark(state)][:limit]
        others = sorted(numbered.keys() - set(at_marks))
        chosen = at_marks + random.Random(self.cell).sample(others, limit - len(at_marks))
        return {number: numbered[number] for number in sorted(chosen)}

    def is_at_mark(self, state):
        return isinstance(self.events[state.length - 1], Mark) and state.left_out is None

    def describe(self, state):
        """What a reader needs in order to follow how the state came about."""
        for index, event in enumerate(self.events[: state.length]):
            note = ""
            if index == state.left_out:
                note = "   <- left out"
            elif state.torn_after is not None and index == state.length - 1:
                note = f"   <- only the first {state.torn_after} sectors"
            yield f"{index:5} {describe_event(event)}{note}"


def describe_event(event):
    if isinstance(event, Mark):
        return f"mark   {event.what} {event.round}"
    if isinstance(event, Flush):
        return "flush"
    text = "".join(chr(byte) if 32 <= byte < 127 else "." for byte in event.data[:40])
    return f"write  sector {event.sector:6}, {event.sectors():4} sectors: {text}"


def recordings(image, events):
    """Splits what a disk was asked for into the cases' own parts. `image` is the disk before all of it, and is used
    up."""
    cell, start, base = None, None, None
    for index, event in enumerate(events):
        if isinstance(event, Write):
            apply(image, event)
        elif isinstance(event, Mark) and cell is None:
            cell, start, base = event.cell, index, bytes(image)
        elif isinstance(event, Mark) and event.what == "ended":
            yield Recording(cell, base, events[start : index + 1])
            cell = None
    if cell is not None:
        raise LogError(f"the log ends within {cell}")
