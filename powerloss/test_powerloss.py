#!/usr/bin/env python3
"""The tests of what the verdicts rest on: the parser of the log, the builder of states, and the verdict itself."""

import struct
import unittest

import report
import write_log
from cases import FILE_SYSTEMS, SHORT_CELLS
from judge import Finding, Situation, judge
from write_log import Flush, LogError, Mark, Recording, State, Write

SECTOR = write_log.SECTOR
FIRST = 4  # the first sector of the file system in these logs


def sectors(text):
    """A sector for each letter, full of it."""
    return b"".join(letter.encode() * SECTOR for letter in text)


def entry(sector, data=b"", flags=0):
    return struct.pack("<QQQQ", sector, len(data) // SECTOR, flags, 0).ljust(SECTOR, b"\0") + data


def log_of(*entries, count=None):
    header = struct.pack("<QQQI", 0x6A736677736872, 1, len(entries) if count is None else count, SECTOR)
    return header.ljust(SECTOR, b"\0") + b"".join(entries)


def mark(text):
    return entry(0, text.encode().ljust(SECTOR, b"\0"))


class TheLog(unittest.TestCase):
    def test_is_read_in_its_order_with_sectors_of_the_file_system(self):
        log = log_of(mark("mark xml/recipe begun 3\n"), entry(5, sectors("ab")), entry(0, flags=1))
        self.assertEqual(write_log.parse(log, FIRST), [Mark("xml/recipe", "begun", 3), Write(1, sectors("ab")), Flush()])

    def test_that_is_cut_is_refused(self):
        log = log_of(entry(5, sectors("ab")))
        for length in (len(log) - 1, len(log) - SECTOR, SECTOR):
            with self.assertRaises(LogError):
                write_log.parse(log[:length], FIRST)

    def test_of_another_format_is_refused(self):
        with self.assertRaises(LogError):
            write_log.parse(bytes(SECTOR), FIRST)

    def test_with_a_discard_is_refused(self):
        with self.assertRaises(LogError):
            write_log.parse(log_of(entry(5, flags=write_log.DISCARD)), FIRST)

    def test_with_something_else_where_marks_lie_is_refused(self):
        with self.assertRaises(LogError):
            write_log.parse(log_of(mark("boot sector")), FIRST)

    def test_entries_beyond_the_count_are_left_over_from_nothing(self):
        self.assertEqual(write_log.parse(log_of(entry(4, sectors("a")), entry(5, sectors("b")), count=1), FIRST),
                         [Write(0, sectors("a"))])


BEGUN, RETURNED, ENDED = (Mark("xml/recipe", what, 1) for what in ("begun", "returned", "ended"))


class TheStates(unittest.TestCase):
    def setUp(self):
        events = [BEGUN, Write(0, sectors("ab")), Write(2, sectors("c")), Flush(), Write(1, sectors("d")), RETURNED, ENDED]
        self.recording = Recording("xml/recipe", sectors("...."), events)

    def images(self, states):
        return ["".join(chr(image[place]) for place in range(0, len(image), SECTOR))
                for image in map(self.recording.image, states)]

    def test_are_every_prefix(self):
        self.assertEqual(self.images(self.recording.prefixes()), ["....", "ab..", "abc.", "adc.", "adc.", "adc."])

    def test_miss_each_write_up_to_the_next_flush_and_none_after_it(self):
        states = list(self.recording.without_one_write())
        self.assertEqual(self.images(states), ["..c.", "abc.", "abc."])
        self.assertEqual([(state.length, state.left_out) for state in states], [(3, 1), (6, 4), (7, 4)])

    def test_tear_each_write_of_several_sectors_once(self):
        self.assertEqual(self.images(self.recording.torn()), ["a..."])

    def test_are_chosen_the_same_each_time_and_all_those_at_marks(self):
        chosen = self.recording.chosen_states(4)
        self.assertEqual(len(chosen), 4)
        self.assertEqual(chosen, self.recording.chosen_states(4))
        at_marks = [state for state in chosen.values() if state.left_out is None and state.length in (1, 6, 7)]
        self.assertEqual(len(at_marks), 3)

    def test_are_never_more_than_the_limit(self):
        self.assertEqual([len(self.recording.chosen_states(limit)) for limit in (1, 2, 3, 99)], [1, 2, 3, 10])

    def test_have_numbers_that_do_not_depend_on_the_choice(self):
        states = self.recording.states()
        self.assertTrue(all(states[number] == state for number, state in self.recording.chosen_states(4).items()))

    def test_are_described_with_what_is_missing(self):
        lines = list(self.recording.describe(State(3, left_out=1)))
        self.assertEqual(len(lines), 3)
        self.assertRegex(lines[1], "write  sector +0, +2 sectors: a{40}   <- left out")

    def test_of_a_case_begin_with_the_disk_that_the_case_before_has_left(self):
        first = [Mark("a", "begun", 1), Write(0, sectors("1")), Mark("a", "ended", 1)]
        second = [Mark("b", "begun", 1), Write(1, sectors("3")), Mark("b", "ended", 1)]
        events = [*first, Write(1, sectors("2")), *second]
        split = list(write_log.recordings(bytearray(sectors("..")), events))
        self.assertEqual([(one.cell, one.base, one.events) for one in split],
                         [("a", sectors(".."), first), ("b", sectors("12"), second)])

    def test_of_a_case_without_its_end_are_refused(self):
        with self.assertRaises(LogError):
            list(write_log.recordings(bytearray(SECTOR), [Mark("a", "begun", 1)]))


WHOLE = {0: b"zero", 1: b"first", 2: b"second", 3: b"third"}


class TheVerdict(unittest.TestCase):
    def expect(self, base, situation, files, verdict, is_lost):
        self.assertEqual(judge(base, situation, files, WHOLE), Finding(verdict, is_lost))

    def test_knows_where_the_storing_program_was(self):
        self.assertEqual(Situation.after([]), Situation(0))
        self.assertEqual(Situation.after([Mark("a", "begun", 1)]), Situation(0, 1))
        self.assertEqual(Situation.after([Mark("a", "begun", 1), Mark("a", "returned", 1)]), Situation(1))

    def test_between_two_stores_only_the_last_one_is_no_loss(self):
        for base in ("in-place", "recipe"):
            self.expect(base, Situation(2), {"0": b"second"}, "new", False)
            self.expect(base, Situation(2), {"0": b"first"}, "older", True)
            self.expect(base, Situation(2), {"0": b"seco"}, "prefix", True)
            self.expect(base, Situation(2), {"0": b""}, "empty", True)
            self.expect(base, Situation(2), {}, "missing", True)
            self.expect(base, Situation(2), {"0": b"seco\0\0"}, "else", True)

    def test_during_a_recipe_the_old_and_the_new_file_are_no_loss(self):
        self.expect("recipe", Situation(1, 2), {"0": b"first"}, "old", False)
        self.expect("recipe", Situation(1, 2), {"0": b"second"}, "new", False)
        self.expect("recipe", Situation(1, 2), {"0": b"zero"}, "older", True)
        self.expect("recipe", Situation(1, 2), {"0": b"sec"}, "prefix", True)

    def test_during_a_store_in_place_only_a_file_from_before_is_a_loss(self):
        self.expect("in-place", Situation(1, 2), {"0": b""}, "empty", False)
        self.expect("in-place", Situation(1, 2), {"0": b"zero"}, "older", True)

    def test_a_new_file_may_be_missing_until_its_store_has_returned(self):
        self.expect("new-file", Situation(1, 2), {"1": b"first"}, "missing", False)
        self.expect("new-file", Situation(2), {"1": b"first"}, "missing", True)
        self.expect("new-file", Situation(2), {"1": b"fir", "2": b"second"}, "new", True)

    def test_a_file_system_that_cannot_be_mounted_has_lost_everything(self):
        self.expect("recipe", Situation(1, 2), None, "unmountable", True)


class TheRun(unittest.TestCase):
    def problems(self, cell, lost):
        return list(report.problems({"ext4": {cell: {"states": 9, "verdicts": {}, "lost": lost}}}))

    def test_fails_when_something_is_lost_that_is_kept(self):
        self.assertEqual(self.problems("xml/recipe", [4, 7]),
                         ["ext4/xml/recipe:4 and 1 more states lack what had been stored"])
        self.assertEqual(self.problems("xml/recipe", []), [])

    def test_fails_when_nothing_is_lost_that_nobody_keeps(self):
        self.assertEqual(self.problems("xml/recipe-no-rename", []),
                         ["ext4/*/recipe-no-rename: no state has lost anything; it is kept after all, or the test is blind"])
        self.assertEqual(self.problems("xml/recipe-no-rename", [4]), [])

    def test_for_every_change_has_cells_that_keep_and_cells_that_lose(self):
        found = {"ext4": {cell.name: {"lost": []} for cell in SHORT_CELLS}}
        self.assertEqual(len(list(report.problems(found))), 2)
        found = {"ext4": {cell.name: {"lost": [0], "states": 1} for cell in SHORT_CELLS}}
        self.assertEqual(len(list(report.problems(found))), 4)

    def test_has_something_to_keep_and_something_to_lose_on_every_file_system(self):
        for file_system in FILE_SYSTEMS.values():
            self.assertTrue(file_system.keeps and file_system.loses, file_system.name)


if __name__ == "__main__":
    unittest.main()
