#!/usr/bin/env python3
"""Compares the calls of the C library and OpenSSL that a page lists by family with the undefined symbols of the objects.

    calls.py [--update] <page> <nm> <object file>...

The page's table is between <!-- calls --> and <!-- end -->; --update writes it. Calls that compilers insert are not
listed, and the names of fortified calls count as the plain calls.
"""
import re
import subprocess
import sys
from pathlib import Path

import command

# Calls that compilers insert or replace, depending on the options.
COMPILERS_OWN = re.compile(r"mem(cpy|move|set|cmp)|strlen|_GLOBAL_OFFSET_TABLE_|__stack_chk_\w+|__popcount\w+|__fdelt_chk")
SOURCE_NAMES = {"__errno_location": "errno", "puts": "printf", "putchar": "printf", "fwrite": "fputs"}


def family(path):
    return re.sub(r"^(nuv_(sysloglevel|level))_.*", r"\1", path.name.split(".")[0])


def name_in_source(name):
    name = name.split("@")[0]
    name = re.sub(r"^__isoc\d+_", "", re.sub(r"^__(\w+)_chk$", r"\1", name))
    return SOURCE_NAMES.get(name, name)


def calls_of(nm, objects):
    defined, wanted = set(), {}
    listing = subprocess.run([nm, "-A", *objects], check=True, capture_output=True, encoding="utf-8").stdout
    for line in listing.splitlines():
        path, symbol = line.split(":", 1)
        *_, kind, name = symbol.split()
        if kind not in "Uw":
            defined.add(name)
        elif not COMPILERS_OWN.fullmatch(name):
            wanted.setdefault(family(Path(path)), set()).add(name)
    calls = {}
    for name, names in wanted.items():
        calls[name] = {name_in_source(call) for call in names - defined}
    return {name: names for name, names in sorted(calls.items()) if names}


def as_table(calls):
    rows = ["| `%s` | %s |" % (name, ", ".join("`%s`" % call for call in sorted(names)))
            for name, names in calls.items()]
    return "| family | calls |\n|---|---|\n" + "\n".join(rows) + "\n"


def main(page, nm, *objects, update=False):
    text = Path(page).read_text(encoding="utf-8")
    found = re.search(r"(?<=<!-- calls -->\n).*?(?=<!-- end -->)", text, re.S)
    if not found:
        sys.exit("%s: has no table of calls" % page)
    calls = calls_of(nm, objects)
    if update:
        Path(page).write_text(text[:found.start()] + as_table(calls) + text[found.end():], encoding="utf-8")
        return 0
    listed = {name: set(re.findall(r"`(\w+)`", names)) for name, names in
            re.findall(r"^\| `(\w+)` \| (.*) \|$", found.group(), re.M)}
    wrong = 0
    for name in sorted(listed.keys() | calls.keys()):
        for call in sorted(calls.get(name, set()) - listed.get(name, set())):
            print("%s: calls %s, which is not on the page" % (name, call))
            wrong += 1
        for call in sorted(listed.get(name, set()) - calls.get(name, set())):
            print("%s: does not call %s, which is on the page" % (name, call))
            wrong += 1
    if wrong:
        print("to update the table, build the target docs_calls")
    print("%d calls" % len(set().union(*calls.values())))
    return 1 if wrong or not calls else 0


command.run(main, __doc__)
