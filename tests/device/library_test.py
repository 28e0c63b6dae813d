"""The library's own test programs, as they are, on the board's kernel: 32 bits, big-endian, real signals. Each is a test
here, with a board of its own."""
import recipes
import verdict
from suite import DeviceTest

# What cannot run on the board, whose time_t has 32 bits, by program. Any other test that is skipped is a mistake.
SKIPPED = {
    "loop_tests": ["TimerTimes.AreClampedBeyondThirtyThousandYears"],
    "tracing_tests": ["SyslogTest.TimestampIsEmptyForAYearOfFiveCharacters",
                      "SysloglevelOutputTest.TimestampOfATimeWithoutDateIsEmpty"],
}
LONGEST = 1800  # seconds; the longest program takes a fifth of that on an idle machine


class Library(DeviceTest):
    passed, skipped = 0, 0

    @classmethod
    def tearDownClass(cls):
        print("device:   the library's programs: %d passed, %d skipped" % (cls.passed, cls.skipped), flush=True)

    def program(self, name):
        """Runs one program with all of its tests."""
        device = self.booted()
        device.check("/etc/init.d/S50phoned stop")
        result = verdict.read(*device.run("cd /var/tmp; GTEST_COLOR=no GTEST_BRIEF=0 /tests/" + name, timeout=LONGEST))
        self.say("%d passed, %d skipped: %s" % (result.passed, len(result.skipped), " ".join(result.skipped)))
        Library.passed += result.passed
        Library.skipped += len(result.skipped)
        self.assertEqual(result.problems + result.failed, [])
        self.assertEqual(sorted(result.skipped), sorted(SKIPPED.get(name, ())))

    def test_programs_hold_all_tests(self):
        """A test that the program with all tests has, and none of those above, would never run here."""
        device = self.booted()
        whole = verdict.names(device.check("/tests/userlib_tests --gtest_list_tests"))
        parts = [verdict.names(device.check("/tests/%s --gtest_list_tests" % name)) for name in recipes.TEST_PROGRAMS]
        self.assertEqual(sum(map(len, parts)), len(whole))
        self.assertEqual(set().union(*parts), whole)
        self.assertGreater(len(whole), 1000)


def add_test(program):
    setattr(Library, "test_" + program.removesuffix("_tests"), lambda self: self.program(program))


for each in recipes.TEST_PROGRAMS:
    add_test(each)
