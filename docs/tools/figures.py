#!/usr/bin/env python3
"""Draws docs/figures/*.dot with Graphviz, for light and dark pages.

    figures.py [--check] <folder of figures>

A picture contains a checksum of its source. With --check nothing is drawn, and each outdated picture is an error.
"""
import hashlib
import re
import subprocess
from pathlib import Path

import command

# The colours of the drawings, and those to replace them on a dark page.
DARK = {
    "#eef3f6": "#1d2a33", "#9fb4c0": "#5f7685", "#51606a": "#a9b6c0", "#f1e0ea": "#3a2433", "#f5ead3": "#362c16",
    "#f6d9d5": "#3f211d", "#e3efdc": "#22311b", "black": "#e6edf2",
}


def style():
    rules = "".join('[%s="%s"]{%s:%s}' % (paint, light, paint, dark) for light, dark in DARK.items()
                    for paint in ("fill", "stroke"))
    return "<style>@media(prefers-color-scheme:dark){text{fill:#e6edf2}%s}</style>" % rules


def mark(source):
    return "<!-- %s %s -->" % (source.name, hashlib.sha256(source.read_bytes()).hexdigest()[:16])


def drawn(source):
    svg = subprocess.run(["dot", "-Tsvg", source], check=True, capture_output=True, encoding="utf-8").stdout
    svg = re.sub(r"<!--.*?-->\n?", "", svg[svg.index("<svg") :], flags=re.S)
    strange = set(re.findall(r'(?:fill|stroke)="([^"]*)"', svg)) - set(DARK) - {"none", "transparent"}
    if strange:
        raise SystemExit("%s: has colours that DARK does not list: %s" % (source.name, ", ".join(sorted(strange))))
    return re.sub(r">", ">\n%s\n%s" % (mark(source), style()), svg, count=1)


def main(folder, *, check=False):
    complaints = []
    sources = sorted(Path(folder).glob("*.dot"))
    for source in sources:
        picture = source.with_suffix(".svg")
        if not check:
            picture.write_text(drawn(source), encoding="utf-8")
        elif not picture.exists() or mark(source) not in picture.read_text(encoding="utf-8"):
            complaints.append("%s: is older than %s: run docs/tools/figures.py docs/figures" % (picture, source.name))
    print("\n".join(complaints + ["%d figures" % len(sources)]))
    return int(bool(complaints) or not sources)


command.run(main, __doc__)
