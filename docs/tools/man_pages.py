#!/usr/bin/env python3
"""Writes the man pages of section 3 from the public headers, one for each family.

    man_pages.py [--check] <project folder>

A page says what the header says, shows the family's example program whole, and lists the contracts of the family's page in
docs/families. In the other pages, what stands below a line '.\\" example <file> [<first>-<last>]' is taken from that file of
docs/examples. With --check nothing is written: each page that differs from what would be written is complained about.
"""
import re
import sys
import textwrap
from pathlib import Path

import headers
from check_contracts import HEADING, ROW

DATE = "November 21, 2026"
CALL = re.compile(r'^([("]*)([A-Za-z_]\w*)\(\)(\S*)$')
SENTENCE = re.compile(r'(?<=[.!?])(["\')]*)\s+(?=["\'(]*[A-Z0-9a-z_])')
RELATED = {
    "addressmanager": ["indexpool"],
    "assert": ["sysloglevel"],
    "console": ["select", "sysloglevel"],
    "daemon": ["utility"],
    "frame": ["memory"],
    "indexmap": ["indexpool"],
    "indexpool": ["addressmanager", "indexmap"],
    "level": ["sysloglevel", "tracelevelinit"],
    "memory": ["frame", "message"],
    "message": ["memory", "messagedata", "messageheader", "pipe"],
    "messagedata": ["memory", "message"],
    "messageheader": ["message", "sysloglevel"],
    "pipe": ["message", "select"],
    "select": ["pipe", "selectset", "timeoutset", "timer"],
    "selectset": ["select"],
    "syslog": ["sysloglevel"],
    "sysloglevel": ["assert", "level", "syslog", "tracelevelinit"],
    "time": ["timeoutset"],
    "timeoutset": ["indexpool", "select", "time"],
    "timer": ["select", "time", "timeoutset"],
    "tracelevelinit": ["level", "sysloglevel"],
    "udpclient": ["pipe", "select", "udpserver"],
    "udpserver": ["pipe", "select", "udpclient"],
    "utility": ["convert", "daemon"],
}


def escaped(line):
    line = line.replace("\\", "\\e")
    return "\\&" + line if line.startswith((".", "'")) else line


def literal(lines):
    return [".Bd -literal -offset indent"] + [escaped(line) for line in lines] + [".Ed"]


def call(match):
    """A function's name in a text, with the punctuation round it, as a macro line."""
    before, name, behind = match.groups()
    line = ".No \\&%s Ns Fn %s" % (before.replace('"', "\\(dq"), name) if before else ".Fn " + name
    while behind:
        if behind[0] in ".,;:)?!":
            line += " " + behind[0]
            behind = behind[1:]
        else:
            return line + " Ns " + behind.replace('"', "\\(dq").replace("\\ ", "\\e")
    return line


def paragraph(text):
    lines, words = [], []

    def flush():
        if words:
            wrapped = textwrap.wrap(" ".join(words), 78, break_long_words=False, break_on_hyphens=False)
            lines.extend(escaped(line) for line in wrapped)
            words.clear()

    for sentence in SENTENCE.sub(lambda match: match.group(1) + "\n", text).split("\n"):
        for word in sentence.split():
            found = CALL.match(word)
            if found:
                flush()
                lines.append(call(found))
            else:
                words.append(word)
        flush()
    return lines


def prose(text):
    """The paragraphs, lists and literal blocks of a comment."""
    lines, blocks = [], []
    for line in text.split("\n"):
        kind = "blank" if not line else "code" if line.startswith("    ") else "text"
        if kind == "text" and re.match(r" ?- ", line):
            kind = "item"
            blocks.append([kind, [line.lstrip(" -")]])
        elif kind == "text" and line.startswith("   ") and blocks and blocks[-1][0] == "item":
            blocks[-1][1].append(line.strip())
        elif kind == "code" and blocks and blocks[-1][0] == "item" and blocks[-1][1]:
            blocks[-1][1].append(line.strip())
        elif kind == "blank" and blocks and blocks[-1][0] == "code":
            blocks[-1][1].append("")
        elif kind == "blank":
            blocks.append(["blank", []])
        elif blocks and blocks[-1][0] == kind:
            blocks[-1][1].append(line)
        else:
            blocks.append([kind, [line]])
    blocks = [block for block in blocks if block[0] != "blank"]
    in_list = False
    for i, (kind, content) in enumerate(blocks):
        if kind == "item":
            if not in_list:
                lines.append(".Bl -bullet")
                in_list = True
            lines += [".It"] + paragraph(" ".join(content))
            continue
        if in_list:
            lines.append(".El")
            in_list = False
        if kind == "code":
            while not content[-1]:
                content.pop()
            lines += literal(textwrap.dedent("\n".join(content)).split("\n"))
        else:
            lines += ([".Pp"] if i > 0 else []) + paragraph(" ".join(content))
    if in_list:
        lines.append(".El")
    return lines


def declared(item):
    """A record, constant or macro as a reader wants to see it: a macro without what it is made of."""
    if item.code.startswith("#define"):
        shown = []
        for macro in re.split(r"\n(?=#define)", item.code):
            function_like = re.match(r"#define (\w+\([^)]*\))", macro)
            shown.append(function_like.group(1) if function_like else macro)
        code = "\n".join(shown)
    else:
        code = item.code
    return code.replace("/**<", "/*").split("\n")


def mdoc_type(text):
    return re.sub(r"(\w)(\*+) ?", r"\1 \2", text).strip()


def synopsis(item):
    if item.is_variable:
        return [".Vt " + mdoc_type(item.declaration).rstrip(";") + " ;"]
    result, name, rest = re.match(r"(.*?)(\w+)\((.*)\);$", item.declaration).groups()
    arguments = [] if rest == "void" else [mdoc_type(argument.strip()) for argument in rest.split(",")]
    return [".Ft " + mdoc_type(result), ".Fn %s %s" % (name, " ".join('"%s"' % text for text in arguments or ["void"]))]


def without_name(item):
    """An operation's text opens with its name, which the page shows in front of it anyway."""
    text = item.text
    if item.is_function and re.match(re.escape(item.name) + r"\s+[a-z]", text):
        text = text[len(item.name) :].lstrip()
        text = text[0].upper() + text[1:]
    return text


def description(items):
    """What stands below the opening comment: records and constants first, then the operations."""
    records = [item for item in items if item.code and not (item.is_function or item.is_variable)]
    constants = [item for item in records if "NUV_LOG_" not in item.code]
    lines = []
    if constants:
        lines.append(".Ss Records and constants")
        for i, item in enumerate(constants):
            lines += ([".Pp"] if i > 0 else []) + prose(item.text) + literal(declared(item))
    in_list = False
    heading = ".Ss Operations"
    for item in items:
        group = re.match(r"@name ([^\n]*)\n*(.*)", item.text, re.S)
        if group or (item.code and item not in constants):
            if group or heading:
                lines += [".El"] if in_list else []
                in_list = False
                lines.append(".Ss " + group.group(1) if group else heading)
                heading = None
                text = group.group(2).replace("@{", "").strip("\n ") if group else ""
                lines += prose(text) if text else []
                if group:
                    continue
            if not in_list:
                lines.append(".Bl -tag -width Ds")
                in_list = True
            if item.code.startswith("#define"):
                macro = item.code[len("#define ") :]
                term = "Dv " + re.match(r"\w+", macro).group()
            else:
                term = ("Fn " if item.is_function else "Va ") + item.name
            lines += [".It " + term] + prose(without_name(item))
        elif item.text == "@}":
            lines += [".El"] if in_list else []
            in_list = False
            heading = ".Ss Further operations"
    return lines + ([".El"] if in_list else [])


def diagnostics(page):
    lines = []
    for line in page.read_text(encoding="utf-8").split("\n"):
        heading, row = HEADING.match(line), ROW.match(line)
        if heading:
            lines += [".El", ".Pp"] if lines else []
            lines += ["Reported under", ".Dq %s :" % heading.group(1), ".Bl -tag -width Ds"]
        elif row:
            kind, text, meaning = row.groups()
            lines += [".It %s: %s" % (kind, text.replace("()", "\\&()"))] + paragraph(
                (meaning[0].upper() + meaning[1:]).replace("`", "") + "."
            )
    if not lines:
        return ["This family checks no contracts."]
    return lines + [
        ".El",
        ".Pp",
        "What follows a report is decided by the error handler, see",
        ".Xr nuv_assert 3 .",
    ]


def page_of(family, project):
    items = headers.items(project / "userlib/include" / ("nuv_%s.h" % family))
    opening = items[0].text.replace("@file\n", "")
    title, _, body = opening.partition("\n\n")
    exported = [item for item in items if item.is_function or item.is_variable]
    lines = ['.\\" Written by docs/tools/man_pages.py from nuv_%s.h: change that header, not this page.' % family]
    lines += [".Dd " + DATE, ".Dt NUV_%s 3" % family.upper(), ".Os", ".Sh NAME"]
    lines += [".Nm %s%s" % (item.name, " ," if item is not exported[-1] else "") for item in exported]
    summary = re.sub(r"\s+", " ", title).replace("userlib: ", "", 1).split(". ")[0].rstrip(".")
    lines += [".Nd " + summary, ".Sh SYNOPSIS", ".In userlib.h"]
    for item in exported:
        lines += synopsis(item)
    lines += [".Pp", "Link with", ".Fl luserlib .", ".Sh DESCRIPTION"]
    lines += prose(body) + description(items[1:])
    example = (project / "docs/examples" / (family + ".c")).read_text(encoding="utf-8").rstrip("\n").split("\n")
    printed = (project / "docs/examples" / (family + ".out")).read_text(encoding="utf-8").rstrip("\n").split("\n")
    lines += [".Sh EXAMPLES"] + literal(example) + [".Pp", "It prints:"] + literal(printed)
    lines += [".Sh DIAGNOSTICS"] + diagnostics(project / "docs/families" / (family + ".md"))
    lines += [".Sh SEE ALSO"]
    related = sorted("nuv_%s" % other for other in RELATED.get(family, []))
    lines += [".Xr %s 3 ," % name for name in related] + [".Xr userlib 7"]
    return "\n".join(line.rstrip() for line in lines) + "\n"


EXAMPLE = re.compile(r'^(\.\\" example (\S+)(?: (\d+)-(\d+))?\n\.Bd [^\n]*\n).*?^\.Ed$', re.M | re.S)


def with_examples(page, project):
    """A page that is written by hand, with its examples as they are now."""

    def example(match):
        lines = (project / "docs/examples" / match.group(2)).read_text(encoding="utf-8").rstrip("\n").split("\n")
        if match.group(3):
            lines = lines[int(match.group(3)) - 1 : int(match.group(4))]
        return match.group(1) + "\n".join(escaped(line) for line in lines) + "\n.Ed"

    return EXAMPLE.sub(example, page.read_text(encoding="utf-8"))


def main():
    is_check = sys.argv[1] == "--check"
    project = Path(sys.argv[-1])
    families = [path.stem[len("nuv_") :] for path in sorted((project / "userlib/include").glob("nuv_*.h"))]
    pages = {project / "docs/man" / ("nuv_%s.3" % name): page_of(name, project) for name in families if name != "api"}
    for path in sorted((project / "docs/man").glob("*.[1-8]")):
        if path not in pages and not path.name.startswith("nuv_"):
            pages[path] = with_examples(path, project)
    stale = 0
    for path, text in pages.items():
        if not is_check:
            path.write_text(text, encoding="utf-8")
        elif not path.exists() or path.read_text(encoding="utf-8") != text:
            print("%s: not what docs/tools/man_pages.py would write; run it" % path.name)
            stale += 1
    sys.exit(stale > 0)


main()
