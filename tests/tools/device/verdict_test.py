#!/usr/bin/env python3
"""What tests/device/verdict.py believes of what a program of GoogleTest says, and what it does not."""

import sys
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[2] / "device"))
sys.dont_write_bytecode = True

import verdict  # noqa: E402

START = """[==========] Running 3 tests from 2 test suites.
[----------] Global test environment set-up.
[ RUN      ] Frame.IsEmpty
[       OK ] Frame.IsEmpty (0 ms)
[ RUN      ] Table/Rows.Fit/0
"""
END = """[----------] Global test environment tear-down
[==========] 3 tests from 2 test suites ran. (12 ms total)
"""
ALL_WELL = START + END + "[  PASSED  ] 3 tests.\n"
SOME_SKIPPED = START + END + """[  PASSED  ] 2 tests.
[  SKIPPED ] 1 test, listed below:
[  SKIPPED ] Daemon.HasParentOne
"""
SOME_FAILED = START + "[  FAILED  ] Frame.IsEmpty (0 ms)\n" + END + """[  PASSED  ] 1 test.
[  FAILED  ] 2 tests, listed below:
[  FAILED  ] Frame.IsEmpty
[  FAILED  ] Table/Rows.Fit/0, where GetParam() = (1, 2)

 2 FAILED TESTS
"""


class VerdictTest(unittest.TestCase):
    def test_all_well(self):
        self.assertEqual(verdict.read(0, ALL_WELL), (3, [], [], []))

    def test_skipped(self):
        self.assertEqual(verdict.read(0, SOME_SKIPPED), (2, ["Daemon.HasParentOne"], [], []))

    def test_failed(self):
        self.assertEqual(verdict.read(1, SOME_FAILED), (1, [], ["Frame.IsEmpty", "Table/Rows.Fit/0"], []))

    def test_lines_of_a_console(self):
        said = ALL_WELL.replace("[==========] 3", "printed without an end[==========] 3").replace("\n", "\r\n")
        self.assertEqual(verdict.read(0, said), (3, [], [], []))

    def test_crash(self):
        self.assertEqual(verdict.read(139, START + "Segmentation fault\n").problems,
                         ["no verdict, exit status 139, in Table/Rows.Fit/0"])

    def test_end_without_a_word(self):
        self.assertEqual(verdict.read(0, START).problems, ["no verdict, exit status 0, in Table/Rows.Fit/0"])

    def test_no_program(self):
        self.assertEqual(verdict.read(127, "sh: /tests/core_tests: not found\n").problems,
                         ["no verdict, exit status 127, in no test"])

    def test_crash_after_the_verdict(self):
        self.assertEqual(verdict.read(134, ALL_WELL).problems, ["exit status 134, with 0 failed tests"])

    def test_failure_with_a_good_status(self):
        self.assertEqual(verdict.read(0, SOME_FAILED).problems, ["exit status 0, with 2 failed tests"])

    def test_verdict_cut_off(self):
        said = SOME_FAILED[:SOME_FAILED.index("[  FAILED  ] Table/Rows")]
        self.assertEqual(verdict.read(1, said).problems, ["3 tests ran: 1 passed, 0 were skipped, 1 failed"])
        self.assertEqual(verdict.read(0, START + END).problems, ["3 tests ran: 0 passed, 0 were skipped, 0 failed"])

    def test_fewer_than_announced(self):
        said = ALL_WELL.replace("[==========] 3", "[==========] 2").replace("PASSED  ] 3", "PASSED  ] 2")
        self.assertEqual(verdict.read(0, said).problems, ["2 tests ran of 3"])

    def test_no_tests(self):
        said = "[==========] Running 0 tests from 0 test suites.\n[==========] 0 tests from 0 test suites ran. (0 ms total)\n"
        self.assertEqual(verdict.read(0, said + "[  PASSED  ] 0 tests.\n").problems, ["0 tests ran of 0"])

    def test_names(self):
        said = "Running main() from gtest_main.cc\nFrame.\n  IsEmpty\n  Grows\nTable/Rows.\n  Fit/0  # GetParam() = (1, 2)\n"
        self.assertEqual(verdict.names(said), {"Frame.IsEmpty", "Frame.Grows", "Table/Rows.Fit/0"})


if __name__ == "__main__":
    unittest.main()
