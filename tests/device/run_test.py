"""scripts/device run, as a person calls it: what comes back from a script, and from a board that does not do what it should."""
import subprocess
import sys
import time

import board
import recipes
from suite import DeviceTest

CONSOLE_LOG = recipes.DEVICE / "console.log"
NO_RESULT = 125
# Longer than a boot may take, so that only a command that would wait for ever is ended by it.
LONGEST = board.BOOT + 300
# The hog takes all memory, and the kernel is told to give up then.
PANIC = "echo before\necho 1 >/proc/sys/vm/panic_on_oom\n/tests/hog\n"


class Run(DeviceTest):
    def setUp(self):
        super().setUp()
        self.transcripts = CONSOLE_LOG

    def device_run(self, script, *options):
        """Returns exit status, standard output and standard error."""
        file = self.folder() / "script.sh"
        file.write_text(script, encoding="utf-8")
        result = subprocess.run([sys.executable, recipes.ROOT / "scripts/device", "run", "--no-build", *options, file],
                                stdin=subprocess.DEVNULL, capture_output=True, text=True, timeout=LONGEST)
        return result.returncode, result.stdout, result.stderr

    def console_log(self):
        return CONSOLE_LOG.read_text(encoding="utf-8", errors="replace")

    def test_script_passes(self):
        self.assertEqual(self.device_run("echo hello from $(uname -m)\n"), (0, "hello from mips\n", ""))

    def test_script_fails(self):
        self.assertEqual(self.device_run("echo hello; exit 7"), (7, "hello\n", ""))

    def test_script_reads(self):
        self.assertEqual(self.device_run("read word\necho \"<$word> $?\"\n", "--timeout", "60"), (0, "<> 1\n", ""))

    def test_script_of_any_characters(self):
        """A long line, and what a console takes for an order: to interrupt, to end the text, to erase a character."""
        script = "text=%s\nword='gr\u00fc\u00df\u0003\u0004\u007f@'\necho ${#text} \"$word\"\n" % ("x" * 5000)
        self.assertEqual(self.device_run(script), (0, "5000 gr\u00fc\u00df\u0003\u0004\u007f@\n", ""))

    def test_each_run_has_a_log_of_its_own(self):
        self.device_run("echo the first\n")
        self.assertIn("the first\n", self.console_log())
        self.device_run("echo the second\n")
        self.assertIn("the second\n", self.console_log())
        self.assertNotIn("the first\n", self.console_log())
        self.assertEqual(self.console_log().count("---- power on ----"), 1)

    def test_script_does_not_end(self):
        script = "echo before\nwhile :; do cut -d . -f 1 /proc/uptime; sleep 1; done\n"
        start = time.monotonic()
        status, said, complaint = self.device_run(script, "--timeout", "5")
        self.assertGreaterEqual(time.monotonic() - start, 5)
        self.assertEqual(status, NO_RESULT)
        self.assertRegex(complaint, r"\Adevice: waited 5 s in vain for the end of 'sh /var/tmp/script.*'; .*\n\Z")
        # The seconds that the board lived on, by its own clock: fewer, if anything, on a busy machine.
        before, first, *others = said.split()
        self.assertEqual(before, "before")
        self.assertLess(int([first, *others][-1]) - int(first), 10)

    def test_kernel_panics(self):
        status, said, complaint = self.device_run(PANIC, "--timeout", "120")
        self.assertEqual(status, NO_RESULT)
        self.assertTrue(said.startswith("before\n"), said)
        self.assertRegex(complaint, r"\Adevice: the kernel gave up before the end of 'sh /var/tmp/script.*': Out of memory.*\n\Z")

    def assert_goes_off(self, command):
        status, said, complaint = self.device_run("echo before\n%s\n" % command, "--timeout", "120")
        self.assertEqual(status, NO_RESULT)
        self.assertRegex(complaint, r"\Adevice: the board went off before the end of ")
        self.assertTrue(said.startswith("before\n"), said)

    def test_board_goes_off(self):
        self.assert_goes_off("poweroff -f")

    def test_board_restarts(self):
        self.assert_goes_off("reboot -f")

    def test_no_such_script(self):
        result = subprocess.run([sys.executable, recipes.ROOT / "scripts/device", "run", "--no-build", "/nowhere.sh"],
                                capture_output=True, text=True, timeout=LONGEST)
        self.assertEqual((result.returncode, result.stdout, result.stderr),
                         (NO_RESULT, "", "device: /nowhere.sh: there is no such script\n"))

    def test_file_on_the_board(self):
        file = self.folder() / "word"
        file.write_text("a word\n", encoding="utf-8")
        self.assertEqual(self.device_run("cat /tests/word\n", "--with", str(file)), (0, "a word\n", ""))

    def test_flash_outlives_the_board(self):
        flash = str(self.folder() / "flash")
        self.assertEqual(self.device_run("echo kept >/flash/word\n", "--flash", flash)[0], 0)
        self.assertEqual(self.device_run("cat /flash/word\n", "--flash", flash), (0, "kept\n", ""))
