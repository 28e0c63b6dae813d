#!/usr/bin/env python3
"""Tests that the checks of pages find dead links and stale code."""
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

TOOLS = Path(__file__).resolve().parents[3] / "docs/tools"


class Folder(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = Path(folder.name)

    def write(self, name, text):
        path = self.root / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text, encoding="utf-8")

    def run_tool(self, tool, *arguments):
        done = subprocess.run([sys.executable, TOOLS / tool, *arguments, self.root], capture_output=True, encoding="utf-8")
        return done.returncode, done.stdout + done.stderr


class Links(Folder):
    def check(self, mode="pages"):
        return self.run_tool("check_links.py", mode)

    def expect_complaint(self, text, complaint, name="a.md", mode="pages"):
        self.write(name, text)
        status, printed = self.check(mode)
        self.assertEqual(status, 1, printed)
        self.assertIn(complaint, printed)

    def test_takes_what_leads_somewhere(self):
        self.write("b/c.md", "# One thing: a `b()`!\n## Twice\n## Twice\n")
        self.write("d.svg", "<svg/>")
        self.write("a.md", "[x](b/c.md) [y](b/c.md#one-thing-a-b) [z](b/c.md#twice-1) [b](b) ![d](d.svg) <img src=\"d.svg\">\n"
                           "[up](#here) [web](https://example.com/nowhere)\n# Here\n"
                           "`[code](nowhere)`\n\n    [indented](nowhere)\n\n```\n[fenced](nowhere)\n@ref x\n```\n")
        self.assertEqual(self.check(), (0, "\n8 links on 2 pages, 0 problems\n"))

    def test_notices_a_file_that_is_not_there(self):
        self.expect_complaint("one\n[x](nowhere.md)\n", "a.md:2: 'nowhere.md' does not exist")

    def test_notices_a_picture_that_is_not_there(self):
        self.expect_complaint("![x](nowhere.svg)\n", "'nowhere.svg' does not exist")

    def test_notices_a_picture_in_html_and_one_inside_a_link(self):
        self.expect_complaint('<img width="1" src="n.svg">\n', "'n.svg' does not exist")
        self.expect_complaint("[![x](n.svg)](a.md)\n", "'n.svg' does not exist")

    def test_notices_an_anchor_without_a_heading(self):
        self.expect_complaint("# Here\n[x](#there)\n", "'#there': a.md has no such anchor")

    def test_notices_what_leads_out(self):
        self.expect_complaint("[x](..)\n", "'..' is outside the folder")

    def test_notices_what_git_does_not_hold(self):
        subprocess.run(["git", "init", "-q", self.root], check=True)
        self.write(".gitignore", "built\n")
        self.write("built/x.md", "")
        self.expect_complaint("[x](built/x.md)\n", "'built/x.md' is not part of the project", mode="tree")

    def test_notices_a_source_that_is_not_there(self):
        self.write("folder/b.h", "")
        self.write("CHANGELOG.md", "`gone.h`\n")
        self.write("a.md", "[x](a.md) `folder/b.h`, `b.h`, `b.json`, `cc gone.c`\n\n    `gone.h`\n")
        self.assertEqual(self.check("tree"), (0, "\n1 links on 2 pages, 0 problems\n"))
        self.expect_complaint("[x](a.md)\n`older/b.h`\n", "a.md:2: there is no file `older/b.h`", mode="tree")
        self.expect_complaint("[x](a.md) `ab.h`\n", "there is no file `ab.h`", mode="tree")

    def test_notices_commands_of_doxygen(self):
        for command in ("@ref guide", "\\include x.c", "## Heading {#label}", "[TOC]"):
            self.expect_complaint("[a](a.md)\n\n%s\n" % command, "is a command of Doxygen")

    def test_notices_dead_links_in_html(self):
        self.expect_complaint('<a href="b.html">b</a>', "a.html:1: 'b.html' does not exist", "a.html", "html")
        self.expect_complaint('<p id="y"><a href="#x">', "'#x': a.html has no such anchor", "a.html", "html")
        self.expect_complaint('<link href="x.css">', "'x.css' does not exist", "a.html", "html")
        self.expect_complaint('<script src="https://x.example/x.js">', "is loaded from another site", "a.html", "html")
        self.expect_complaint('<a href="a.html"></a><table><tr><th></th><th> </th></tr>', "a table has an empty heading row",
                              "a.html", "html")

    def test_takes_no_folder_without_links(self):
        self.write("a.md", "text\n")
        self.assertEqual(self.check()[0], 1)


class Code(Folder):
    def setUp(self):
        super().setUp()
        self.write("docs/x.c", "int one;\n\nint two(void) {\n  return 2;\n}\n")

    def page(self, marker, code):
        self.write("docs/a.md", "<!-- code: %s -->\n```c\n%s```\n" % (marker, code))

    def test_writes_and_then_is_content(self):
        for marker, code in (("x.c", "int one;\n\nint two(void) {\n  return 2;\n}\n"),
                             ('x.c, from "int two" to "}"', "int two(void) {\n  return 2;\n}\n"),
                             ('x.c, from "return" to "return"', "return 2;\n")):
            self.page(marker, "stale\n")
            status, printed = self.run_tool("code_in_pages.py", "--check")
            self.assertEqual((status, "docs/a.md: its code is out of date" in printed), (1, True), printed)
            self.assertEqual(self.run_tool("code_in_pages.py")[0], 0)
            self.assertIn("```c\n%s```" % code, (self.root / "docs/a.md").read_text())
            self.assertEqual(self.run_tool("code_in_pages.py", "--check")[0], 0)

    def test_notices_code_without_marker(self):
        self.write("docs/a.md", "<!-- code: x.c -->\n```c\n```\n\n```c\nint three;\n```\n")
        status, printed = self.run_tool("code_in_pages.py")
        self.assertEqual((status, "without a marker" in printed), (1, True), printed)

    def test_refuses_markers_that_it_cannot_follow(self):
        for marker, complaint in (("y.c", "no such file"), ('x.c, from "int" to "}"', "2 lines begin with 'int'"),
                                  ('x.c, from "int two" to "y"', "no line after 'int two' begins with 'y'")):
            self.page(marker, "")
            status, printed = self.run_tool("code_in_pages.py")
            self.assertEqual((status, complaint in printed), (1, True), printed)

    def test_refuses_a_marker_without_block(self):
        self.write("docs/a.md", "<!-- code: x.c -->\ntext\n")
        self.assertIn("a marker is not followed by a block of code", self.run_tool("code_in_pages.py")[1])


unittest.main()
