#!/usr/bin/env python3
"""Tests that an installation has the man pages of section 3 if they were built, and a message if not.

    man_install_test.py <cmake> <generator>
"""

import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[3]
CMAKE, GENERATOR = sys.argv[1:3]
# The part of the project that writes and installs them; compiles nothing.
PROJECT = """cmake_minimum_required(VERSION 3.25)
project(userlib LANGUAGES NONE)
set(USERLIB_INSTALL ON)
set(CMAKE_INSTALL_MANDIR share/man)
add_subdirectory(docs)
"""


class ManInstallTest(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.tree = Path(directory.name)
        (self.tree / "CMakeLists.txt").write_text(PROJECT, encoding="utf-8")
        for name in ("docs", "userlib"):
            (self.tree / name).symlink_to(ROOT / name)
        self.pages = self.tree / "installed/share/man/man3"

    def cmake(self, *arguments):
        result = subprocess.run([CMAKE, *arguments], cwd=self.tree, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                                encoding="utf-8", check=False)
        self.assertEqual(result.returncode, 0, result.stdout)
        return result.stdout

    def configure(self, *options):
        return self.cmake("-S", ".", "-B", "build", "-G", GENERATOR, *options)

    def install(self):
        return self.cmake("--install", "build", "--prefix", "installed")

    def test_installs_a_page_for_each_family_and_each_function(self):
        self.configure()
        self.cmake("--build", "build")
        self.assertNotIn("Not installed", self.install())
        self.assertIn(".Dt NUV_FRAME 3", (self.pages / "nuv_frame.3").read_text(encoding="utf-8"))
        self.assertEqual((self.pages / "NUV_Frame_swap.3").read_text(encoding="utf-8"), ".so man3/nuv_frame.3\n")

    def test_says_that_the_pages_were_not_built(self):
        self.configure()
        self.assertIn('Not installed: the man pages of section 3; the target "man" was not built', self.install())
        self.assertFalse(self.pages.exists())

    def test_says_that_python_is_missing(self):
        without = "-DCMAKE_DISABLE_FIND_PACKAGE_Python3=ON"
        self.assertIn("Python 3 not found: the man pages of section 3 are left out", self.configure(without))
        self.cmake("--build", "build")
        self.assertIn("writing them needs Python 3, which was not found", self.install())
        self.assertFalse(self.pages.exists())

    def test_takes_out_a_page_that_nothing_writes_any_more(self):
        self.configure()
        old = self.tree / "build/docs/man/man3/NUV_Frame_old.3"
        old.parent.mkdir(parents=True, exist_ok=True)
        old.write_text(".so man3/nuv_frame.3\n", encoding="utf-8")
        self.cmake("--build", "build")
        self.assertFalse(old.exists())


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
