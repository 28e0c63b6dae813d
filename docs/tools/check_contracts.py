#!/usr/bin/env python3
"""Compares the contract tables of the family pages, and the conditions that headers quote, with the sources.

    check_contracts.py <folder of sources> <folder of family pages>

Each class and text that a source can report must stand in the table of its family, and nothing else may. A table is the
one below a line "Reported under `<name>`:". What a header quotes and looks like a condition must be a text of its family.
"""
import re
import sys
from pathlib import Path

import headers
from contracts import contracts

HEADING = re.compile(r"^Reported under `(\w+)`:$")
ROW = re.compile(r"^\| ([a-z ]+) \| `([^`]+)` \| (\S.*) \|$")
NONE = "This family checks no contracts."


def tables(page):
    name = None
    for line in page.read_text().split("\n"):
        heading = HEADING.match(line)
        if heading:
            name = heading.group(1)
            yield name, None
        elif line.startswith("| ") and line != "| class | text | meaning |":
            row = ROW.match(line)
            if not row or not name:
                raise SystemExit("%s: no row of a contract table: %s" % (page.name, line))
            yield name, (row.group(1), row.group(2))


CONDITION = re.compile(r" (?:==|!=|<|>|<=|>=) |is_null")


def belongs(name, family):
    """Tells whether contracts that are reported under the name are those of the family: nuv_level_access of nuv_level."""
    return (name + "_").startswith(family + "_")


def misquoted(header, checked):
    known = {text for name, rows in checked.items() if belongs(name, header.stem) for _, text in rows}
    for item in headers.items(header):
        text = "\n".join(line for line in item.text.split("\n") if not line.startswith("    "))
        for quoted in re.findall(r'"([^"]+)"', text):
            quoted = re.sub(r"\s+", " ", quoted)
            if CONDITION.search(quoted) and quoted not in known:
                yield quoted


def main():
    sources, pages = Path(sys.argv[1]), Path(sys.argv[2])
    checked = contracts(sources)
    documented, complaints = {}, []
    for page in sorted(pages.glob("*.md")):
        rows = list(tables(page))
        if bool(rows) == (NONE in page.read_text()):
            complaints.append('%s: wants either a table or "%s"' % (page.name, NONE))
        for name, row in rows:
            if not belongs(name, "nuv_" + page.stem):
                complaints.append("%s: '%s' belongs to another page" % (page.name, name))
            known = documented.setdefault(name, set())
            if row in known:
                complaints.append("%s: twice: %s: %s" % ((name,) + row))
            if row:
                known.add(row)
    for header in sorted((sources.parent / "include").glob("nuv_*.h")):
        if header.stem != "nuv_api" and not (pages / (header.stem[len("nuv_") :] + ".md")).exists():
            complaints.append("%s: has no page" % header.name)
        complaints += ["%s: quotes what nobody checks: %s" % (header.name, text) for text in misquoted(header, checked)]
    for name in sorted(checked.keys() | documented.keys()):
        in_source, in_page = checked.get(name, set()), documented.get(name, set())
        complaints += ["%s: not documented: %s: %s" % ((name,) + row) for row in sorted(in_source - in_page)]
        complaints += ["%s: not checked: %s: %s" % ((name,) + row) for row in sorted(in_page - in_source)]
    print("\n".join(complaints + ["%d contracts" % sum(map(len, checked.values()))]))
    sys.exit(bool(complaints) or not checked)


if __name__ == "__main__":
    main()
