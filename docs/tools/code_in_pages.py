#!/usr/bin/env python3
"""Updates the code in pages: each block of code after a marker gets the content of the file that the marker names.

    code_in_pages.py [--check] <project folder>

A marker is a line of its own before the block; its path is relative to the page. The second form takes an excerpt, from the
line that begins with the first text to the next line that begins with the last one, ignoring indentation:

    <!-- code: ../examples/select.c -->
    <!-- code: ../../examples/first_daemon.c, from "static int32_t on_line" to "}" -->

C and C++ without a marker is an error. With --check nothing is written, and each page that would change is an error.
"""
import re
from pathlib import Path

import command

MARKED = re.compile(r'^<!-- code: ([^\s,]+)(?:, from "([^\n]+?)" to "([^\n]+)")? -->\n+(```\w*)\n(.*?)^```$', re.M | re.S)
MARKER = re.compile(r"^<!-- code: ", re.M)
UNMARKED = re.compile(r"(^<!-- code: [^\n]*\n+)?^```(?:c|cpp|c\+\+)\n", re.M)


def pages(project):
    folders = ("docs", "examples", "tools", "packaging")
    return sorted([*project.glob("*.md"), *(page for folder in folders for page in (project / folder).rglob("*.md"))])


def excerpt(text, first, last, marker):
    lines = text.split("\n")
    starts = [i for i, line in enumerate(lines) if line.strip().startswith(first)]
    if len(starts) != 1:
        raise SystemExit("%s: %d lines begin with '%s': must be one" % (marker, len(starts), first))
    indent = len(lines[starts[0]]) - len(lines[starts[0]].lstrip())
    ends = [i for i in range(starts[0], len(lines)) if lines[i][indent:].startswith(last)]
    if not ends:
        raise SystemExit("%s: no line after '%s' begins with '%s'" % (marker, first, last))
    return "\n".join(line[indent:] if not line[:indent].strip() else line for line in lines[starts[0] : ends[0] + 1])


def filled(page):
    """The page with its current code."""

    def code(match):
        marker = match.group().split("\n", 1)[0]
        path = page.parent / match.group(1)
        if not path.is_file():
            raise SystemExit("%s: %s: no such file" % (page, marker))
        text = path.read_text(encoding="utf-8").rstrip("\n")
        if match.group(2):
            text = excerpt(text, match.group(2), match.group(3), "%s: %s" % (page, marker))
        if re.search("^```", text, re.M):
            raise SystemExit("%s: %s: the file contains ```, which would end the block" % (page, marker))
        return "%s\n%s\n%s\n```" % (marker, match.group(4), text)

    text = page.read_text(encoding="utf-8")
    if len(MARKER.findall(text)) != len(MARKED.findall(text)):
        raise SystemExit("%s: a marker is not followed by a block of code" % page)
    return MARKED.sub(code, text)


def main(project, *, check=False):
    project = Path(project)
    blocks, complaints = 0, []
    for page in pages(project):
        old, new = page.read_text(encoding="utf-8"), filled(page)
        blocks += len(MARKED.findall(old))
        name = page.relative_to(project)
        if check and new != old:
            complaints.append("%s: its code is out of date: run docs/tools/code_in_pages.py ." % name)
        elif new != old:
            page.write_text(new, encoding="utf-8")
        if any(not marker for marker in UNMARKED.findall(new)):
            complaints.append("%s: has C or C++ without a marker" % name)
    print("\n".join(complaints + ["%d blocks of code in pages" % blocks]))
    return int(bool(complaints) or not blocks)


command.run(main, __doc__)
