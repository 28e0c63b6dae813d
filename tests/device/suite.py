"""Runs the tests that lie beside this file, each on boards of its own, and says of each what came out and how long it took."""
import sys
import tempfile
import time
import unittest
from pathlib import Path

import board
import recipes
from page import Page

HERE = Path(__file__).resolve().parent
TRANSCRIPTS = recipes.DEVICE / "transcripts"


class DeviceTest(unittest.TestCase):
    """A test with boards whose consoles are written down in files of the test's name."""

    is_updating = False

    def setUp(self):
        TRANSCRIPTS.mkdir(exist_ok=True)
        self.name = self.id().split(".", 1)[-1]
        self.transcripts = TRANSCRIPTS / (self.name + ".*")
        for file in TRANSCRIPTS.glob(self.transcripts.name):
            file.unlink()

    def board(self, which="", kind=board.Board, **options):
        """Boards that are on at the same time need different words for which one it is."""
        return kind(transcript=TRANSCRIPTS / (self.name + which + ".txt"), **options)

    def booted(self, **options):
        """A board with a shell, whose power is cut at the end of the test."""
        device = self.board(**options)
        self.addCleanup(device.__exit__)
        device.power_on()
        return device

    def folder(self):
        """For files that go with the test."""
        folder = tempfile.TemporaryDirectory(dir=recipes.DEVICE)
        self.addCleanup(folder.cleanup)
        return Path(folder.name)

    def say(self, text):
        """A figure that whoever reads the result wants to see."""
        print("device:   " + text, flush=True)

    def check_table(self, name, rows, share, few):
        """Compares rows (row to column to figure) with a table of docs/footprint.md, or writes them there."""
        self.say("%-34s %s" % (name, " | ".join(next(iter(rows.values())))))
        for row, cells in rows.items():
            self.say("%-34s %s" % (row, " | ".join(map(str, cells.values()))))
        if self.is_updating:
            Page().update(name, rows)
        self.assertEqual(Page().differences(name, rows, share, few), [])


class Result(unittest.TestResult):
    """Tells the result of each test when it is there."""

    def startTest(self, test):
        super().startTest(test)
        self._start = time.monotonic()
        print("device: %s ..." % test.id().split(".", 1)[-1], flush=True)

    def _tell(self, test, verdict):
        print("device: %s: %s (%d s)" % (test.id().split(".", 1)[-1], verdict, time.monotonic() - self._start), flush=True)

    def addSuccess(self, test):
        super().addSuccess(test)
        self._tell(test, "passed")

    def addFailure(self, test, err):
        super().addFailure(test, err)
        self._fail(test, self.failures)

    def addError(self, test, err):
        super().addError(test, err)
        self._fail(test, self.errors)

    def _fail(self, test, list_of_problems):
        print(list_of_problems[-1][1], end="")
        self._tell(test, "FAILED, see %s" % getattr(test, "transcripts", "above"))


def all_tests(suite):
    for test in suite:
        if isinstance(test, unittest.TestSuite):
            yield from all_tests(test)
        else:
            yield test


def run(names, is_updating):
    """Returns the exit status."""
    DeviceTest.is_updating = is_updating
    tests = [test for test in all_tests(unittest.TestLoader().discover(str(HERE), "*_test.py"))
             if not names or any(name in test.id() for name in names)]
    if not tests:
        print("device: no test has a name with one of: %s" % " ".join(names), file=sys.stderr)
        return 2
    start = time.monotonic()
    result = Result()
    unittest.TestSuite(tests).run(result)
    failed = len(result.failures) + len(result.errors)
    print("device: %d tests, %d failed, %d s" % (result.testsRun, failed, time.monotonic() - start))
    return 1 if failed > 0 or result.testsRun != len(tests) else 0
