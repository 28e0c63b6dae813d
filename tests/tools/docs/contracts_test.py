#!/usr/bin/env python3
"""Tests that docs/tools/contracts_page.py finds the functions that check a contract, and mistakes in its page."""

import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[3]


class ContractsPageTest(unittest.TestCase):
    """Works on a copy of the tree, which is correct until a test changes it."""

    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.tree = Path(directory.name)
        shutil.copytree(ROOT / "userlib", self.tree / "userlib")
        shutil.copytree(ROOT / "docs/families", self.tree / "docs/families")
        shutil.copy(ROOT / "docs/contracts.md", self.tree / "docs")

    def replace(self, name, old, new):
        path = self.tree / name
        content = path.read_text(encoding="utf-8")
        self.assertIn(old, content)
        path.write_text(content.replace(old, new), encoding="utf-8")

    def run_tool(self, *options):
        command = [sys.executable, ROOT / "docs/tools/contracts_page.py", *options, self.tree]
        return subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, encoding="utf-8", check=False)

    def expect_complaint(self, text):
        result = self.run_tool("--check")
        self.assertEqual(result.returncode, 1, result.stdout)
        self.assertIn(text, result.stdout)

    def row(self, text):
        page = (self.tree / "docs/contracts.md").read_text(encoding="utf-8")
        return next(line for line in page.split("\n") if text in line)

    def test_takes_the_page_as_it_is(self):
        result = self.run_tool("--check")
        self.assertEqual(result.returncode, 0, result.stdout)

    def test_notices_a_new_contract(self):
        self.replace("userlib/source/messaging/nuv_pipe.cpp", "NUV_REQUIRE(((void *)0) != a_buf);",
                     "NUV_REQUIRE(((void *)0) != a_buf);\n  NUV_CHECK(a_len != 13);")
        self.expect_complaint("nuv_pipe: needs a meaning in docs/contracts.md: check failed: a_len != 13")
        self.expect_complaint("docs/contracts.md: is out of date")

    def test_notices_a_contract_that_is_gone(self):
        self.replace("userlib/source/messaging/nuv_pipe.cpp", "NUV_REQUIRE(((void *)0) != a_buf);", "")
        self.expect_complaint("docs/contracts.md: is out of date")

    def test_notices_a_text_that_has_changed(self):
        self.replace("userlib/source/telephony/nuv_digitmap.cpp", "0 == is_null(a_map)", "0 == is_null( a_map)")
        self.expect_complaint("nuv_digitmap: needs a meaning in docs/contracts.md: require failed: 0 == is_null( a_map)")

    def test_notices_a_meaning_that_is_gone(self):
        self.replace("docs/contracts.md", "there is no buffer for the line |", " |")
        self.expect_complaint("nuv_utility: needs a meaning in docs/contracts.md: require failed: ((void *)0) != a_dest")

    def test_notices_a_header_that_quotes_something_else(self):
        self.replace("userlib/include/nuv_pipe.h", "/** A pipe.", '/** A pipe. Requires "0 != a_pipe".')
        self.expect_complaint("nuv_pipe.h: quotes a contract that no function checks: 0 != a_pipe")

    def test_notices_a_page_without_a_way_to_the_contracts(self):
        self.replace("docs/families/pipe.md", "../contracts.md#nuv_pipe", "../families.md")
        self.expect_complaint("pipe.md: does not link to its contracts")

    def test_notices_a_family_without_a_page(self):
        (self.tree / "docs/families/pipe.md").unlink()
        self.expect_complaint("nuv_pipe.h: has no page")

    def test_keeps_what_was_written_by_hand(self):
        self.replace("docs/contracts.md", "there is no buffer for the line |", "nowhere to go |")
        self.assertEqual(self.run_tool().returncode, 0)
        self.assertIn("| nowhere to go |", self.row("((void *)0) != a_dest` | `readLine`"))

    def test_names_those_who_call_the_helper_that_checks(self):
        self.assertIn("| `removeTimeout`, `setTempTimeout`, `setTimeout`, `updateTimeout` |",
                      self.row("1 == NUV_TimeoutSet_available( &a_this->m_oTimeout)"))

    def test_leaves_out_those_who_call_another_function_of_the_same_name(self):
        row = self.row("`(int)a_ModulHandle >= 0`")
        self.assertIn("`info`", row)
        self.assertNotIn("NUV_Pipe_write", row)
        self.replace("userlib/source/messaging/nuv_pipe.cpp", "int32_t NUV_Pipe_construct(",
                     "void read(int a_fd) {\n  NUV_CHECK(a_fd != 13);\n}\n\nint32_t NUV_Pipe_construct(")
        self.run_tool()
        self.assertNotIn("Udp", self.row("a_fd != 13"))  # a private header of these calls the read() of the system

    def test_tells_apart_those_who_hand_a_helper_another_text(self):
        row = self.row("m_oWrite[a_event_type]")
        self.assertIn("`setWrite`", row)
        self.assertIn("`internalRemoveWrite`", row)
        self.assertNotIn("Read", row.split("|")[3])

    def test_says_all_where_all_check(self):
        self.assertIn("| all |", self.row("the reactor is null"))
        self.assertIn("| all but `getPid` |", self.row("`((void *)0) != a_this` | all but `getPid`"))


if __name__ == "__main__":
    unittest.main()
