#!/usr/bin/env python3
"""Tests the messages of benchmarks/surroundings.py about unsuitable machines."""

import contextlib
import io
import resource
import sys
import tempfile
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[3] / "benchmarks"))
sys.dont_write_bytecode = True

import surroundings  # noqa: E402

GOVERNOR = "sys/devices/system/cpu/cpu0/cpufreq/scaling_governor"


class SurroundingsTest(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.root = Path(directory.name)

    def write(self, name, text):
        path = self.root / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text, encoding="utf-8")

    def ask(self, *questions, **machine):
        """Returns (exit status, standard error)."""
        kind = {"environment": {}, "descriptors": 4096, "load": 0.1, "processors": 2}
        err = io.StringIO()
        with contextlib.redirect_stderr(err):
            status = surroundings.main(list(questions), root=self.root, **{**kind, **machine})
        return status, err.getvalue()

    def test_says_nothing_about_a_quiet_machine(self):
        self.write(GOVERNOR, "performance\n")
        self.assertEqual(self.ask("trace", "reactor", "md5"), (0, ""))

    def test_refuses_traces_where_the_console_is_kept_quiet(self):
        self.write("etc/quiet", "")
        status, said = self.ask("md5", "trace")
        self.assertEqual(status, 1)
        self.assertIn("/etc/quiet exists", said)
        self.assertIn("Move it away", said)
        self.assertEqual(self.ask("md5", "reactor"), (0, ""))

    def test_refuses_the_reactor_where_too_few_files_may_be_open(self):
        status, said = self.ask("reactor", descriptors=512)
        self.assertEqual(status, 1)
        self.assertIn("can open 512 files", said)
        self.assertEqual(self.ask("timers", descriptors=512), (0, ""))
        self.assertEqual(self.ask("reactor", descriptors=resource.RLIM_INFINITY), (0, ""))

    def test_refuses_libraries_from_elsewhere(self):
        for variable in ("LD_PRELOAD", "LD_LIBRARY_PATH"):
            with self.subTest(variable):
                status, said = self.ask("md5", environment={variable: "/opt/lib"})
                self.assertEqual(status, 1)
                self.assertIn(f"{variable} is '/opt/lib'", said)

    def test_warns_of_a_busy_machine(self):
        status, said = self.ask("md5", load=3.5)
        self.assertEqual(status, 0)
        self.assertIn("warning: the machine is busy: its load is 3.5 on 2 processors", said)

    def test_warns_of_a_processor_that_saves_power(self):
        self.write(GOVERNOR, "powersave\n")
        status, said = self.ask("md5")
        self.assertEqual(status, 0)
        self.assertIn("scaling_governor is 'powersave'", said)


if __name__ == "__main__":
    unittest.main()
