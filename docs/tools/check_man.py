#!/usr/bin/env python3
"""Checks that the man pages of section 3 have every exported name, and compiles their declarations.

    check_man.py <version script> <folder of man pages> <scratch folder> <C compiler> -I<folder of headers> [<option>...]

Each name of the version script, and each inline function of a header, is in the NAME and the SYNOPSIS of exactly one page,
and no other names are. The declarations of all SYNOPSIS sections go into one C file after #include <userlib.h>: the
compiler refuses those that contradict the headers.
"""
import re
import subprocess
import sys
from pathlib import Path

import command
import headers


def section(page, name):
    match = re.search(r"^\.Sh %s\n(.*?)(?=^\.Sh )" % name, page, re.M | re.S)
    return match.group(1).split("\n") if match else []


def declarations(lines):
    """Pairs of a name and its declaration in C."""
    result = None
    for line in lines:
        if line.startswith(".Ft "):
            result = line[len(".Ft ") :]
        elif line.startswith(".Fn "):
            name, arguments = line[len(".Fn ") :].split(" ", 1)
            yield name, "%s %s(%s);" % (result, name, ", ".join(re.findall(r'"([^"]*)"', arguments)))
        elif line.startswith(".Vt extern "):
            text = line[len(".Vt ") :]
            yield re.search(r"(\w+)(?:\[\w+\])? ;$", text).group(1), text


def main(script, pages, scratch, *compiler):
    text = re.sub(r"#[^\n]*", "", Path(script).read_text(encoding="utf-8"))
    listed = re.search(r"global:(.*?)local:", text, re.S)
    if not listed:
        sys.exit("%s: has no names between 'global:' and 'local:'" % script)
    exported = set(re.findall(r"(\w+);", listed.group(1)))
    folder = next((option[len("-I") :] for option in compiler if option.startswith("-I")), None)
    if folder is None:
        raise command.UsageError("the compiler needs an option -I<folder of headers>")
    for header in Path(folder).glob("nuv_*.h"):
        exported |= {each.name for item in headers.items(header) for each in item.declarations if each.is_inline}
    complaints, code = [], ["#include <userlib.h>"]
    where = {"NAME": {}, "SYNOPSIS": {}}
    for path in sorted(Path(pages).glob("nuv_*.3")):
        page = path.read_text(encoding="utf-8")
        for line in section(page, "NAME"):
            if line.startswith(".Nm "):
                where["NAME"].setdefault(line.split()[1], []).append(path.name)
        for name, declaration in declarations(section(page, "SYNOPSIS")):
            where["SYNOPSIS"].setdefault(name, []).append(path.name)
            code += ['#line 1 "%s: %s"' % (path.name, name), declaration]
    for title, names in where.items():
        complaints += ["%s: in no %s" % (name, title) for name in sorted(exported - names.keys())]
        complaints += ["%s: in the %s of %s, but not exported" % (name, title, names[name][0])
                       for name in sorted(names.keys() - exported)]
        complaints += ["%s: in the %s of %s" % (name, title, " and ".join(found))
                       for name, found in sorted(names.items()) if len(found) > 1]
    source = Path(scratch) / "synopses.c"
    source.parent.mkdir(parents=True, exist_ok=True)
    source.write_text("\n".join(code) + "\n", encoding="utf-8")
    compiled = subprocess.run([*compiler, "-fsyntax-only", "-Werror", source], check=False)
    print("\n".join(complaints + ["%d declarations" % (len(code) // 2)]))
    return int(bool(complaints) or not exported or compiled.returncode != 0)


command.run(main, __doc__)
