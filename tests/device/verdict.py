"""What a program of GoogleTest says of its tests when it ends, and whether that can be believed."""
import re
from collections import namedtuple

ANNOUNCED = re.compile(r"^\[==========\] Running (\d+) tests? from ", re.M)
SUMMARY = re.compile(r"\[==========\] (\d+) tests? from \d+ test suites? ran\. ")
NAME = re.compile(r"^\[  (SKIPPED|FAILED ) \] ([^\s.,]+\.[^\s,]+)", re.M)
LAST_STARTED = re.compile(r"^\[ RUN      \] (\S+)", re.M)

# passed is a number; skipped and failed are names; problems are sentences. All is well if nothing failed and there is no
# problem.
Verdict = namedtuple("Verdict", "passed skipped failed problems")


def read(status, said):
    """The verdict of a program that has ended with this exit status and has said all this."""
    said = said.replace("\r", "")
    announced = ANNOUNCED.search(said)
    summary = list(SUMMARY.finditer(said))
    if announced is None or not summary:
        return Verdict(0, [], [], ["no verdict, exit status %d, in %s" % (status, last_started(said))])
    end = said[summary[-1].end():]
    names = NAME.findall(end)
    skipped = [name for kind, name in names if kind == "SKIPPED"]
    failed = [name for kind, name in names if kind == "FAILED "]
    passed = sum(map(int, re.findall(r"^\[  PASSED  \] (\d+) tests?\.", end, re.M)))
    return Verdict(passed, skipped, failed,
                   list(doubts(status, int(announced.group(1)), int(summary[-1].group(1)), passed, skipped, failed)))


def doubts(status, announced, ran, passed, skipped, failed):
    if ran == 0 or ran != announced:
        yield "%d tests ran of %d" % (ran, announced)
    if passed + len(skipped) + len(failed) != ran:
        yield "%d tests ran: %d passed, %d were skipped, %d failed" % (ran, passed, len(skipped), len(failed))
    if (status == 0) != (not failed):
        yield "exit status %d, with %d failed tests" % (status, len(failed))


def last_started(said):
    started = LAST_STARTED.findall(said)
    return started[-1] if started else "no test"


def names(said):
    """The whole names of the tests in what --gtest_list_tests has printed."""
    result, suite = set(), ""
    for line in said.replace("\r", "").splitlines():
        word = line.split("#")[0].rstrip()
        if re.fullmatch(r"\S+\.", word):
            suite = word
        elif re.fullmatch(r"  \S+", word):
            result.add(suite + word.strip())
    return result
