#!/usr/bin/env python3
"""Writes docs/contracts.md, the list of all contract reports, from the sources.

    contracts_page.py [--check] <project folder>

A row has the class, the text, and the functions that check it, all from the source. Its meaning is written by hand on the
page itself, and kept. A new contract gets a row without a meaning. With --check nothing is written: the page must be up to
date, each row must have a meaning, and each quotation in a header that looks like a condition must be a text of its family.
Each header has a page in docs/families, and each page with contracts links to this one.
"""
import re
from pathlib import Path

import command
import headers
from contracts import contracts, reporters

INTRODUCTION = """# Contracts

Every operation checks what its caller promised. This page lists all of these checks, as `docs/tools/contracts_page.py` finds
them in the sources: what a report says, which functions make it, and what it means. A report is one line: the name of the
family, the line of its source file, the class and the text.

    error: nuv_frame:42   :require failed:0 != a_this

| class | what was wrong |
|---|---|
| require failed | an argument, or the state on entry |
| ensure failed | the result, or the state before return |
| check failed | something inside the operation |
| null pointer | a member that must be set is null, mostly because there is no memory |
| resource error | something is used up, or the system does not give it |

What follows a report is up to the [error handler](families/assert.md): the one that is installed at the start ends the
process with status 255. After a handler that returns, the operation carries on as if the check had passed.

Names are short where they can be: in the table of `nuv_frame`, `swap` is `NUV_Frame_swap`.
"""
HEADING = re.compile(r"^## (nuv_\w+)")
COLUMNS = "| class | text | checked by | meaning |"
ROW = re.compile(r"^\| ([a-z ]+) \| `([^`]+)` \| ([^|]+) \| ([^|]*?) ?\|$")
CONDITION = re.compile(r" (?:==|!=|<|>|<=|>=) |is_null")


def rows_of(page):
    """The rows of the page by name: class, text, functions, meaning."""
    name, found = None, {}
    for line in page.split("\n"):
        heading, row = HEADING.match(line), ROW.match(line)
        if heading:
            name = heading.group(1)
        elif row and name:
            found.setdefault(name, []).append(row.groups())
    return found


def short(name, functions):
    """Maps the functions to their names in a table."""
    family = name[len("nuv_") :].replace("_access", "").replace("_", "")
    return {function: re.sub(r"^NUV_%s_(?=[a-z])" % family, "", function, flags=re.I) for function in functions}


def checked_by(name, where, all_of_them):
    names = short(name, where | all_of_them)
    left = all_of_them - where
    if where >= all_of_them and len(where) == len(all_of_them) > 1:
        return "all"
    if where <= all_of_them and len(where) > 4 and len(left) <= 2:
        return "all but " + ", ".join("`%s`" % names[each] for each in sorted(left))
    return ", ".join("`%s`" % names[each] for each in sorted(where))


def page_of(project, meanings):
    source = project / "userlib/source"
    found, of_family = contracts(source), reporters(source)
    lines = [INTRODUCTION]
    for name in sorted(found):
        lines += ["## " + name, "", COLUMNS, "|---|---|---|---|"]
        for row, where in found[name].items():
            meaning = meanings.get((name,) + row, "")
            lines.append("| %s | `%s` | %s | %s |" % (row + (checked_by(name, where, of_family[name]), meaning)))
        lines.append("")
    return "\n".join(lines).replace("|  |", "| |")


def belongs(name, family):
    """Whether a reported name belongs to a family, as nuv_level_access does to nuv_level."""
    return (name + "_").startswith(family + "_")


def misquoted(header, rows):
    known = {row[1] for name, of_name in rows.items() if belongs(name, header.stem) for row in of_name}
    for item in headers.items(header):
        text = "\n".join(line for line in item.text.split("\n") if not line.startswith("    "))
        for quoted in re.findall(r'"([^"]+)"', text):
            quoted = re.sub(r"\s+", " ", quoted)
            if CONDITION.search(quoted) and quoted not in known:
                yield quoted


def family_complaints(project, rows):
    for header in sorted((project / "userlib/include").glob("nuv_*.h")):
        yield from ("%s: quotes a contract that no function checks: %s" % (header.name, text) for text in misquoted(header, rows))
        if header.stem == "nuv_api":
            continue
        page = project / "docs/families" / (header.stem[len("nuv_") :] + ".md")
        has_contracts = any(belongs(name, header.stem) for name in rows)
        if not page.exists():
            yield "%s: has no page" % header.name
        elif has_contracts != ("../contracts.md#" in page.read_text(encoding="utf-8")):
            yield "%s: %s" % (page.name, "does not link to its contracts" if has_contracts else "links to contracts, but has none")


def main(project, *, check=False):
    project = Path(project)
    path = project / "docs/contracts.md"
    before = path.read_text(encoding="utf-8") if path.exists() else ""
    meanings = {(name, kind, text): meaning for name, rows in rows_of(before).items() for kind, text, _, meaning in rows}
    page = page_of(project, meanings)
    if not check:
        path.write_text(page, encoding="utf-8")
    rows = rows_of(page)
    complaints = ["%s: needs a meaning in docs/contracts.md: %s: %s" % (name, kind, text)
                  for name, of_name in rows.items() for kind, text, _, meaning in of_name if not meaning]
    if check and page != before:
        complaints.append("docs/contracts.md: is out of date: run docs/tools/contracts_page.py .")
    if check:
        complaints += family_complaints(project, rows)
    print("\n".join(complaints + ["%d contracts" % sum(map(len, rows.values()))]))
    return int(bool(complaints) or not rows)


if __name__ == "__main__":
    command.run(main, __doc__)
