#!/usr/bin/env python3
"""Completes the HTML reference after Doxygen.

    finish_html.py <folder of pages> <folder of HTML>

Copies pictures, makes wide tables scroll, writes search.html with an index of all texts, and removes files that no page
loads, and dead links.
"""
import json
import re
import shutil
from html.parser import HTMLParser
from pathlib import Path

import command

PICTURE = re.compile(r'<img\b[^>]*?\bsrc="([^":]+)"')
# Links to the sections of a record, some of which are dead; pop-ups that would need a script; switches for folders,
# which stay open.
NOISE = re.compile(r'  <div class="summary">.*?</div>\n|<div class="ttc"[^\n]*?</div></div>\n|<div class="levels">.*?</div>|<span[^>]*class="arrow"[^>]*>.*?</span>'
                   r'|<span style="width:[0-9]+px;display:inline-block;">&#160;</span>'
                   r'|<span class="(?:icona|iconfopen|iconfclosed|icondoc)"[^>]*>(?:<span class="icon">.*?</span></span>|</span>)', re.S)
TABLE = re.compile(r'<table class="(?:markdownTable|fieldtable|params|doxtable)">.*?</table>', re.S)
# In the list of headers each description begins with "userlib: ".
BRIEF = re.compile(r'(<td class="desc">)Userlib: (\w)')
# Lists of names, which the search would find instead of the pages that they link to.
LISTS = re.compile(r"^(?:annotated|classes|dir_.*|files|functions.*|globals.*|hierarchy|namespaces|namespacemembers.*|pages|"
                   r"search|structs)\.html$|-members\.html$")

SEARCH = """<div class="header"><div class="headertitle"><div class="title">Search</div></div></div>
<div class="contents">
<input id="question" type="search" aria-label="Search for" autocomplete="off">
<p id="summary" role="status"></p>
<ol id="results"></ol>
<noscript><p>The search needs JavaScript. "Names" above lists all functions.</p></noscript>
</div>
<script src="search_index.js"></script>
<script src="search.js"></script>
"""


class Sections(HTMLParser):
    """Splits a page into sections: (heading, anchor, text)."""

    def __init__(self, page):
        super().__init__()
        self.title, self.found = "", []
        self.anchor, self.depth, self.is_heading, self.is_title, self.is_skipped = "", 0, False, False, 0
        self.feed(page)
        self.close()

    def handle_starttag(self, tag, attributes):
        attributes = dict(attributes)
        kinds = (attributes.get("class") or "").split()
        if tag == "div":
            if "contents" in kinds:
                self.depth, self.found = 1, [["", "", []]]
            elif self.depth:
                self.depth += 1
            self.is_title = "title" in kinds
            if "line" in kinds and self.found:
                self.found[-1][2].append(" ")
        if not self.depth:
            return
        if tag == "a" and attributes.get("id"):
            self.anchor = attributes["id"]
        if tag in ("h1", "h2", "h3", "h4"):
            self.found.append(["", self.anchor, []])
            self.is_heading = True
        if tag == "span" and "permalink" in kinds:
            self.is_skipped = 1
        if tag in ("p", "li", "td", "th", "tr", "dt", "dd", "pre", "br"):
            self.found[-1][2].append(" ")

    def handle_endtag(self, tag):
        if tag == "div":
            self.depth = max(0, self.depth - 1)
            self.is_title = False
        elif tag in ("h1", "h2", "h3", "h4"):
            self.is_heading = False
        elif tag == "span":
            self.is_skipped = 0

    def handle_data(self, data):
        if self.is_title:
            self.title += data
        if not self.depth or self.is_skipped:
            return
        if self.is_heading:
            self.found[-1][0] += data
            if not self.found[-1][1]:
                self.found[-1][1] = self.anchor
        else:
            self.found[-1][2].append(data)

    def rows(self, name):
        title = " ".join(self.title.split())
        for heading, anchor, texts in self.found:
            text = " ".join("".join(texts).split())
            heading = " ".join(heading.split())
            if heading or text:
                yield [title, heading or title, name + ("#" + anchor if anchor else ""), text]


def copy_pictures(page, html, folder):
    for name in PICTURE.findall(page):
        source, target = folder / name, html / name
        if source.is_file():
            target.parent.mkdir(parents=True, exist_ok=True)
            shutil.copyfile(source, target)


def write_search(html, rows):
    index = json.dumps(rows, ensure_ascii=False, separators=(",", ":")).replace("],[", "],\n[")
    (html / "search_index.js").write_text("const searchIndex = %s;\n" % index, encoding="utf-8")
    first = (html / "index.html").read_text(encoding="utf-8")
    head, foot = first[: first.index("</header>")], first[first.index("<footer>") :]
    head = re.sub(r"<title>.*?</title>", "<title>userlib: search</title>", head, flags=re.S)
    head = re.sub(r"<form .*?</form>\n", "", head, flags=re.S)
    (html / "search.html").write_text(head + "</header>\n</div>\n" + SEARCH + foot, encoding="utf-8")


def remove_unused(html):
    used = {"search_index.js", "search.js", "style.css"}
    for path in html.iterdir():
        if path.suffix in (".css", ".js", ".png", ".svg") and path.name not in used:
            path.unlink()


def main(folder, html):
    folder, html = Path(folder), Path(html)
    rows = []
    for path in sorted(html.glob("*.html")):
        page = NOISE.sub("", path.read_text(encoding="utf-8"))
        page = BRIEF.sub(lambda match: match.group(1) + match.group(2).upper(), page)
        page = TABLE.sub(lambda match: '<div class="wide">%s</div>' % match.group(), page)
        path.write_text(page, encoding="utf-8")
        copy_pictures(page, html, folder)
        if not LISTS.search(path.name):
            rows += Sections(page).rows(path.name)
    remove_unused(html)
    for name in ("style.css", "search.js"):
        shutil.copyfile(folder / "html" / name, html / name)
    write_search(html, rows)


command.run(main, __doc__)
