#!/usr/bin/env python3
"""Prints a plain Markdown page for Doxygen.

    markdown_filter.py <project folder> <page>

Headings get labels, which links between pages refer to. A link to something outside the reference becomes its text;
docs/tools/finish_html.py copies the pictures. Text that Doxygen would take for commands is escaped. Line numbers stay the
same, apart from a table of contents after the heading.
"""
import html
import os
import re
import sys
from pathlib import Path

import command
import markdown

LONG = 4  # least number of sections for a table of contents
# Folders whose pages are subpages of another one in the reference.
PARENT = {"families": "docs/families.md", "decisions": "docs/decisions/README.md"}


def label(page):
    """The label of a page, by its path in the project; None if it is not in the reference."""
    path = Path(page)
    if page in ("README.md", "docs/mainpage.md"):
        return "mainpage"
    if page in ("CHANGELOG.md", "CONTRIBUTING.md"):
        return path.stem.lower()
    if path.suffix != ".md" or path.parts[0] != "docs":
        return None
    if len(path.parts) == 2:
        return path.stem
    if path.parts[1] == "families":
        return "family_" + path.stem
    if path.parts[1] == "decisions":
        return "decisions" if path.stem == "README" else "decision_" + path.stem.replace("-", "_")
    return None


def section_label(page, anchor):
    return "%s_%s" % (label(page), re.sub(r"\W", "_", anchor))


class Page:
    def __init__(self, project, path):
        self.project = project
        self.name = os.path.relpath(path, project)
        self.text = Path(path).read_text(encoding="utf-8")
        self.anchors = iter([anchor for _, _, anchor in markdown.headings(self.text)])

    def heading(self, match):
        anchor = next(self.anchors)
        marks, text = match.group(1), self.inline(match.group(2))
        if marks != "#":
            return "%s %s {#%s}" % (marks, text, section_label(self.name, anchor))
        sections = sum(level == 2 for level, _, _ in markdown.headings(self.text))
        contents = "\n[TOC]" if sections >= LONG and label(self.name) != "mainpage" else ""
        return "# %s {#%s}%s" % (text, label(self.name), contents)

    def link(self, match):
        is_image, text, target = match.groups()
        if is_image:
            return '<img src="%s" alt="%s"/>' % (self.from_docs(target), html.escape(text))
        text = self.inline(text)
        if re.match(r"[a-z]+:", target):
            return "[%s](%s)" % (text, target)
        path, _, anchor = target.partition("#")
        page = os.path.normpath(os.path.join(os.path.dirname(self.name), path)) if path else self.name
        if page == "userlib/include":
            return "[%s](files.html)" % text
        if page.startswith("userlib/include/"):
            return "[%s](@ref %s)" % (text, os.path.basename(page))
        if not label(page):
            return text
        if not anchor and os.path.dirname(page) and PARENT.get(os.path.basename(os.path.dirname(page))) == self.name:
            return '@subpage %s "%s"' % (label(page), text)
        return "[%s](@ref %s)" % (text, section_label(page, anchor) if anchor else label(page))

    def from_docs(self, target):
        return os.path.relpath(os.path.join(os.path.dirname(self.name), target), "docs")

    def code(self, match):
        text = match.group(2)
        if not re.search(r"[\\%@#<&]", text):
            return match.group()
        # Between backticks Doxygen drops a "%" before a word, and interprets commands.
        text = html.escape(text.strip() if len(match.group(1)) > 1 else text, False)
        # In a table, a bar in code is escaped by a backslash.
        escaped = re.sub(r"([\\%@#])(?!124;)", r"\\\1", text.replace("\\|", "&#124;"))
        return "<code>%s</code>" % escaped

    def inline(self, text):
        """Escapes text outside code blocks: code spans, links, and what Doxygen would take for a command."""
        parts, position = [], 0
        while True:
            code, link = markdown.CODE_SPAN.search(text, position), markdown.LINK.search(text, position)
            first = min((match for match in (code, link) if match), key=lambda match: match.start(), default=None)
            end = first.start() if first else len(text)
            parts.append(re.sub(r"([\\@])", r"\\\1", text[position:end]))
            if not first:
                return "".join(parts)
            parts.append(self.code(first) if first is code else self.link(first))
            position = first.end()

    def prose(self, lines):
        result, run = [], []
        for line in lines + [None]:
            match = line is not None and markdown.HEADING.match(line)
            if line is not None and not match:
                run.append("" if line.startswith("<!-- code: ") else line)
                continue
            if run:
                result += self.inline("\n".join(run)).split("\n")
                run = []
            if match:
                result.append(self.heading(match))
        return result

    def shown(self):
        lines = []
        for is_code, piece in markdown.pieces(self.text):
            lines += piece if is_code else self.prose(piece)
        return "\n".join(lines)


def main(project, page):
    sys.stdout.write(Page(Path(project), Path(page).resolve()).shown())


command.run(main, __doc__)
