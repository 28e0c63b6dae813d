#!/usr/bin/env python3
"""Checks the links of the documentation, except those to other sites.

    check_links.py tree <project folder>       the Markdown of a checkout
    check_links.py pages <folder>              the Markdown of an installed copy, and any HTML beside it
    check_links.py html <folder>               the reference in HTML
    check_links.py installed <cmake> <build>   the same for what the component Documentation installs

The target of a link exists, and so does its anchor, a heading or a name. In a checkout, a source file that a page names as
`io/channel.h` exists, too, in whatever folder; pages that tell of the past may name what has gone. Markdown has no Doxygen
commands, which other viewers would show; HTML loads nothing from other sites, and has no table with an empty heading row.
"""
import os
import re
import subprocess
import tempfile
from html.parser import HTMLParser
from pathlib import Path
from urllib.parse import unquote

import command
import markdown

ELSEWHERE = re.compile(r"^(?:https?|mailto|javascript):")
DIRECTIVE = re.compile(r"@(?:ref|subpage|page|section|image|include|see)\b|\\(?:image|include|verbinclude|dontinclude|skip|"
                       r"until|line|ref|subpage|snippet)\b|\{#\w+\}|^\[TOC\]", re.M)
SOURCE = re.compile(r"(?:[\w.-]+/)*[\w.-]+\.(?:h|hpp|c|cpp|py|sh|md|toml|map)")
PAST = ("CHANGELOG.md", "docs/decisions/")


class Html(HTMLParser):
    """The links, loaded files and anchors of an HTML page."""

    def __init__(self, path):
        super().__init__()
        self.links, self.loads, self.anchors, self.empty_heads = [], [], set(), []
        self.head, self.cells = None, []
        self.feed(path.read_text(encoding="utf-8"))
        self.close()

    def handle_starttag(self, tag, attributes):
        attributes = dict(attributes)
        self.anchors.update(value for name, value in attributes.items() if name == "id" or (tag, name) == ("a", "name"))
        target = attributes.get("href") or attributes.get("src") or attributes.get("data")
        if tag in ("a", "area") and target:
            self.links.append((self.getpos()[0], target))
        elif tag in ("link", "script", "img", "iframe", "object", "source") and target:
            self.loads.append((self.getpos()[0], target))
        if tag == "tr":
            self.cells = []
        elif tag == "th":
            self.cells.append("")
            self.head = True

    def handle_endtag(self, tag):
        if tag == "th":
            self.head = None
        elif tag == "tr" and self.cells and not "".join(self.cells).strip():
            self.empty_heads.append(self.getpos()[0])

    def handle_data(self, data):
        if self.head:
            self.cells[-1] += data


class Checker:
    def __init__(self, root):
        self.root = Path(root).resolve()
        self.complaints, self.count = [], 0
        self.known = {}

    def complain(self, page, line, text):
        self.complaints.append("%s:%d: %s" % (page.relative_to(self.root), line, text))

    def anchors(self, path):
        if path not in self.known:
            if path.suffix == ".md":
                self.known[path] = markdown.anchors(path.read_text(encoding="utf-8"))
            elif path.suffix == ".html":
                self.known[path] = Html(path).anchors
            else:
                self.known[path] = None
        return self.known[path]

    def follow(self, page, line, target):
        self.count += 1
        if ELSEWHERE.match(target):
            return
        path, _, anchor = unquote(target).partition("#")
        path = path.partition("?")[0]
        found = Path(os.path.normpath(page.parent / path)) if path else page
        if not found.exists():
            self.complain(page, line, "'%s' does not exist" % target)
        elif self.root not in (found, *found.parents):
            self.complain(page, line, "'%s' is outside the folder" % target)
        elif self.is_left_out(found):
            self.complain(page, line, "'%s' is not part of the project" % target)
        elif anchor and self.anchors(found) is not None and anchor not in self.anchors(found):
            self.complain(page, line, "'%s': %s has no such anchor" % (target, found.name))

    def is_left_out(self, path):
        return False

    def markdown(self, page):
        text = page.read_text(encoding="utf-8")
        for line, target in markdown.links(text):
            self.follow(page, line, target)
        plain = markdown.prose(text)
        for match in DIRECTIVE.finditer(plain):
            self.complain(page, plain.count("\n", 0, match.start()) + 1, "'%s' is a command of Doxygen" % match.group())

    def html(self, page):
        found = Html(page)
        for line, target in found.links:
            self.follow(page, line, target)
        for line, target in found.loads:
            if re.match(r"(?:[a-z]+:)?//", target):
                self.complain(page, line, "'%s' is loaded from another site" % target)
            else:
                self.follow(page, line, target)
        for line in found.empty_heads:
            self.complain(page, line, "a table has an empty heading row")


class TreeChecker(Checker):
    """A checkout: files that git ignores are not valid targets."""

    def __init__(self, root):
        super().__init__(root)
        listed = subprocess.run(["git", "-C", self.root, "ls-files", "-z", "--cached", "--others", "--exclude-standard"],
                                capture_output=True, encoding="utf-8")
        names = listed.stdout.split("\0") if listed.returncode == 0 else self.without_git()
        self.files = {self.root / name for name in names if name}
        self.folders = {folder for file in self.files for folder in file.parents}

    def without_git(self):
        return [os.path.relpath(path, self.root) for path in self.root.rglob("*")
                if path.is_file() and "build" not in path.relative_to(self.root).parts[:1]]

    def is_left_out(self, path):
        return path not in self.files and path not in self.folders

    def markdown(self, page):
        super().markdown(page)
        if str(page.relative_to(self.root)).startswith(PAST):
            return
        for line, code in markdown.code_spans(page.read_text(encoding="utf-8")):
            if SOURCE.fullmatch(code) and not any(str(file).endswith("/" + code) for file in self.files):
                self.complain(page, line, "there is no file `%s`" % code)

    def pages(self):
        return sorted(path for path in self.files if path.suffix == ".md" and path.exists())


def check(mode, root):
    checker = TreeChecker(root) if mode == "tree" else Checker(root)
    pages = checker.pages() if mode == "tree" else sorted(checker.root.rglob("*.md")) if mode == "pages" else []
    for page in pages:
        checker.markdown(page)
    html_pages = [] if mode == "tree" else sorted(checker.root.rglob("*.html"))
    for page in html_pages:
        checker.html(page)
    print("\n".join(checker.complaints))
    print("%d links on %d pages, %d problems" % (checker.count, len(pages) + len(html_pages), len(checker.complaints)))
    return int(bool(checker.complaints) or not checker.count)


def check_installed(cmake, build):
    with tempfile.TemporaryDirectory() as prefix:
        subprocess.run([cmake, "--install", build, "--prefix", prefix, "--component", "Documentation"], check=True,
                       stdout=subprocess.DEVNULL)
        return check("pages", prefix)


def main(mode, *places):
    if mode == "installed" and len(places) == 2:
        return check_installed(*places)
    if mode not in ("tree", "pages", "html") or len(places) != 1:
        raise command.UsageError("unknown mode '%s', or not the arguments that it needs" % mode)
    return check(mode, *places)


command.run(main, __doc__)
