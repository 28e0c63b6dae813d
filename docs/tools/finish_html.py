#!/usr/bin/env python3
"""Does for the reference in HTML what Doxygen leaves undone: brings the pictures along, and takes
away the row of links to the sections of a record, some of which lead to nothing.

    finish_html.py <folder of pages> <folder of HTML>
"""
import re
import shutil
import sys
from pathlib import Path

SUMMARY = re.compile(r'  <div class="summary">.*?</div>\n', re.S)
PICTURE = re.compile(r'<img\b[^>]*?\bsrc="([^":]+)"')


def copy_pictures(page, html, folder):
    for name in PICTURE.findall(page):
        source, target = folder / name, html / name
        if source.is_file():
            target.parent.mkdir(parents=True, exist_ok=True)
            shutil.copyfile(source, target)


def main():
    folder, html = Path(sys.argv[1]), Path(sys.argv[2])
    for path in sorted(html.glob("*.html")):
        page = SUMMARY.sub("", path.read_text(encoding="utf-8"))
        path.write_text(page, encoding="utf-8")
        copy_pictures(page, html, folder)


main()
