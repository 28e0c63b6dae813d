#!/usr/bin/env python3
"""Tests that wrong arguments and missing files end the scripts of docs/tools and tests/built with a message, not a
traceback.
"""

import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[3]
TOOLS = ROOT / "docs/tools"
SCRIPTS = sorted(path for folder in (TOOLS, ROOT / "tests/built") for path in folder.glob("*.py")
                 if "command.run(" in path.read_text(encoding="utf-8"))
NOWHERE = "/nowhere"


class ArgumentsTest(unittest.TestCase):
    def run_tool(self, script, *arguments):
        with tempfile.TemporaryDirectory() as folder:
            done = subprocess.run([sys.executable, "-B", script, *arguments], cwd=folder, stdin=subprocess.DEVNULL,
                                  capture_output=True, encoding="utf-8", check=False)
        self.assertNotIn("Traceback", done.stderr)
        return done

    def expect_usage(self, script, *arguments):
        done = self.run_tool(script, *arguments)
        self.assertEqual(done.returncode, 2, done.stderr)
        self.assertTrue(done.stderr.startswith(script.name + ": "), done.stderr)
        self.assertIn("    %s " % script.name, done.stderr)

    def test_finds_the_scripts(self):
        self.assertGreater(len(SCRIPTS), 10)

    def test_without_arguments_all_print_their_usage(self):
        for script in SCRIPTS:
            with self.subTest(script.name):
                self.expect_usage(script)

    def test_unknown_options_print_the_usage(self):
        for script in SCRIPTS:
            with self.subTest(script.name):
                self.expect_usage(script, "--unknown", NOWHERE)

    def test_all_have_help(self):
        for script in SCRIPTS:
            with self.subTest(script.name):
                done = self.run_tool(script, "--help")
                self.assertEqual((done.returncode, done.stderr), (0, ""))
                self.assertIn("    %s " % script.name, done.stdout)

    def test_missing_files_are_named(self):
        for script in SCRIPTS:
            for arguments in ([NOWHERE], [NOWHERE] * 2, [NOWHERE] * 4, ["--check", NOWHERE]):
                with self.subTest(script.name, arguments=arguments):
                    done = self.run_tool(script, *arguments)
                    self.assertNotEqual(done.returncode, 0)

    def test_an_option_without_its_value(self):
        self.expect_usage(TOOLS / "man_pages.py", "--output")

    def test_too_many_arguments(self):
        self.expect_usage(TOOLS / "check_layers.py", NOWHERE, NOWHERE)

    def test_a_program_that_fails(self):
        done = self.run_tool(TOOLS / "check_options.py", "/bin/false", NOWHERE)
        self.assertEqual((done.returncode, done.stderr), (2, "check_options.py: '/bin/false' exits with 1\n"))


if __name__ == "__main__":
    unittest.main()
