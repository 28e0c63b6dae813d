#!/usr/bin/env python3
"""Writes the man pages of section 3 from the public headers, one per family, and the examples in the other pages.

    man_pages.py --output <folder> <project folder>
    man_pages.py [--check] <project folder>

A page of section 3 has the text of the header, the sections of the family's page in docs/families, the whole example
program, and the family's contracts from docs/contracts.md. These pages are not in the source tree: the build writes them to
a folder of its own. The other pages are written by hand; the text below a line '.\\" example <file> [<first>-<last>]' comes
from that file of docs/examples, and is updated without --output. With --check nothing is written, and each outdated page is
an error.
"""
import re
import textwrap
from pathlib import Path

import command
import headers
from contracts_page import rows_of

DATE = "November 21, 2026"
CALL = re.compile(r'^([("]*)([A-Za-z_]\w*)\(\)(\S*)$')
LINK = re.compile(r"\[([^\]]*)\]\(([^)]*)\)", re.S)
MACRO = re.compile(r"^[A-Z][a-z]$|^[A-Z]{2}$|^%[A-Z]$")
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
    """A function's name in a text, with its punctuation, as a macro line."""
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


def term(text):
    """The term of a list item, with macro names escaped."""
    return ".It " + " ".join("\\&" + word if MACRO.match(word) else word for word in text.replace("\\", "\\e").split())


def table(rows):
    """A table as a list: the first column is the term, the others are preceded by their headings."""
    cells = [[cell.strip() for cell in row.strip().strip("|").split("|")] for row in rows]
    headings, lines = cells[0], [".Bl -tag -width Ds"]
    for cell in cells[2:]:
        rest = cell[1] if len(cell) == 2 else "; ".join(
            "%s: %s" % pair if pair[0] else pair[1] for pair in zip(headings[1:], cell[1:]) if pair[1])
        lines += [term(cell[0])] + paragraph(rest)
    return lines + [".El"]


def kind_of(line, previous):
    """The kind of a line: text, code, a row of a table, an item of a list or its continuation, or blank."""
    if not line.strip():
        return "blank"
    if line.startswith("|"):
        return "row"
    if re.match(r" ?- ", line):
        return "item"
    if previous == "item" and line.startswith("  "):
        return "item"
    return "code" if line.startswith("    ") else "text"


def blocks_of(text):
    """Pairs of a kind and consecutive lines of that kind."""
    blocks = []
    for line in text.split("\n"):
        previous = blocks[-1][0] if blocks else "blank"
        kind = kind_of(line, previous)
        if kind == "item" and re.match(r" ?- ", line):
            blocks.append([kind, [line.lstrip(" -")]])
        elif kind == "blank" and previous == "code":
            blocks[-1][1].append("")
        elif kind == previous:
            blocks[-1][1].append(line.strip() if kind == "item" else line)
        else:
            blocks.append([kind, [line]])
    return [block for block in blocks if block[0] != "blank"]


def prose(text):
    """The paragraphs, lists, tables and literal blocks of a comment."""
    lines, in_list = [], False
    for i, (kind, content) in enumerate(blocks_of(text)):
        if kind == "item":
            lines += ([] if in_list else [".Bl -bullet"]) + [".It"] + paragraph(" ".join(content))
            in_list = True
            continue
        lines += [".El"] if in_list else []
        in_list = False
        if kind == "code":
            lines += literal(textwrap.dedent("\n".join(content)).rstrip("\n").split("\n"))
        elif kind == "row":
            lines += table(content)
        else:
            lines += ([".Pp"] if i > 0 else []) + paragraph(" ".join(content))
    return lines + ([".El"] if in_list else [])


def plain_markdown(text):
    """A text of a page without Markdown; links become references to man pages if there are any."""

    def link(match):
        page = re.match(r"(\w+)\.md", match.group(2))
        return match.group(1) + (" (nuv_%s(3))" % page.group(1) if page else "")

    text = re.sub(r"^```\w*\n(.*?)^```$", lambda code: textwrap.indent(code.group(1), "    "), text, flags=re.M | re.S)
    return LINK.sub(link, text).replace("`", "").replace("**", "")


def sections(page):
    """The sections of a family's page, without the example and the contracts."""
    lines = []
    for section in re.split(r"^## ", page, flags=re.M)[1:]:
        title, _, text = section.partition("\n")
        if title not in ("Example", "Contracts"):
            lines += [".Ss " + title.replace("`", "")] + prose(plain_markdown(text).strip("\n"))
    return lines


def declared(item):
    """A record, constant or macro for the reader: a function-like macro without its body."""
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


def synopsis(each):
    if each.is_variable:
        return [".Vt " + mdoc_type(each.declaration).rstrip(";") + " ;"]
    result, name, rest = re.match(r"(.*?)(\w+)\((.*)\);$", each.declaration).groups()
    arguments = [] if rest == "void" else [mdoc_type(argument.strip()) for argument in rest.split(",")]
    return [".Ft " + mdoc_type(result), ".Fn %s %s" % (name, " ".join('"%s"' % text for text in arguments or ["void"]))]


def without_name(item):
    """The text of an operation without its leading name, which the page shows anyway."""
    text, each = item.text, item.declarations[0]
    if len(item.declarations) == 1 and each.is_function and re.match(re.escape(each.name) + r"\s+[a-z]", text):
        text = text[len(each.name) :].lstrip()
        text = text[0].upper() + text[1:]
    return text


def list_term(item):
    """The names that a text is about: one, or all of a block."""
    macros = ["Dv " + each.name if each.is_macro else "Fn " + each.name if each.is_function else "Va " + each.name
              for each in item.declarations]
    if len(macros) == 1:
        return [".It " + macros[0]]
    return [".It Xo"] + ["." + macro + " ," for macro in macros[:-1]] + ["." + macros[-1], ".Xc"]


def description(items):
    """The text after the opening comment: records and constants first, then the operations."""
    constants = [item for item in items if item.code and not item.exported and "NUV_LOG_" not in item.code]
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
            lines += list_term(item) + prose(without_name(item))
        elif item.text == "@}":
            lines += [".El"] if in_list else []
            in_list = False
            heading = ".Ss Further operations"
    return lines + ([".El"] if in_list else [])


def diagnostics(family, reports):
    lines = []
    for name in sorted(reports):
        if not (name + "_").startswith("nuv_%s_" % family):
            continue
        lines += [".El", ".Pp"] if lines else []
        lines += ["Reported under", ".Dq %s :" % name, ".Bl -tag -width Ds"]
        for kind, text, where, meaning in reports[name]:
            where = "every operation" if where == "all" else where.replace("all but", "every operation but")
            said = "%s (%s)." % (meaning[0].upper() + meaning[1:], where)
            lines += [term("%s: %s" % (kind, text.replace("()", "\0&()"))).replace("\0", "\\")]
            lines += paragraph(plain_markdown(said))
    if not lines:
        return ["This family checks no contracts."]
    return lines + [
        ".El",
        ".Pp",
        "What follows a report is decided by the error handler, see",
        ".Xr nuv_assert 3 .",
    ]


def page_of(family, project, reports):
    items = headers.items(project / "userlib/include" / ("nuv_%s.h" % family))
    opening = items[0].text.replace("@file\n", "")
    title, _, body = opening.partition("\n\n")
    exported = [each for item in items for each in item.exported]
    lines = ['.\\" Written by docs/tools/man_pages.py from nuv_%s.h.' % family]
    lines += [".Dd " + DATE, ".Dt NUV_%s 3" % family.upper(), ".Os", ".Sh NAME"]
    lines += [".Nm %s%s" % (each.name, " ," if each is not exported[-1] else "") for each in exported]
    summary = re.sub(r"\s+", " ", title).replace("userlib: ", "", 1).split(". ")[0].rstrip(".")
    lines += [".Nd " + summary, ".Sh SYNOPSIS", ".In userlib.h"]
    for each in exported:
        lines += synopsis(each)
    lines += [".Pp", "Link with", ".Fl luserlib .", ".Sh DESCRIPTION"]
    lines += prose(body) + description(items[1:])
    lines += sections((project / "docs/families" / (family + ".md")).read_text(encoding="utf-8"))
    example = (project / "docs/examples" / (family + ".c")).read_text(encoding="utf-8").rstrip("\n").split("\n")
    printed = (project / "docs/examples" / (family + ".out")).read_text(encoding="utf-8").rstrip("\n").split("\n")
    lines += [".Sh EXAMPLES"] + literal(example)
    given = project / "docs/examples" / (family + ".in")
    if given.exists():
        lines += [".Pp", "Given this on its standard input:"] + literal(given.read_text(encoding="utf-8").rstrip("\n").split("\n"))
    lines += [".Pp", "It prints:" if not given.exists() else "it prints:"] + literal(printed)
    lines += [".Sh DIAGNOSTICS"] + diagnostics(family, reports)
    lines += [".Sh SEE ALSO"]
    related = sorted("nuv_%s" % other for other in RELATED.get(family, []))
    lines += [".Xr %s 3 ," % name for name in related] + [".Xr userlib 7"]
    return "\n".join(line.rstrip() for line in lines) + "\n"


EXAMPLE = re.compile(r'^(\.\\" example (\S+)(?: (\d+)-(\d+))?\n\.Bd [^\n]*\n).*?^\.Ed$', re.M | re.S)


def with_examples(page, project):
    """A handwritten page with its current examples."""

    def example(match):
        lines = (project / "docs/examples" / match.group(2)).read_text(encoding="utf-8").rstrip("\n").split("\n")
        if match.group(3):
            lines = lines[int(match.group(3)) - 1 : int(match.group(4))]
        return match.group(1) + "\n".join(escaped(line) for line in lines) + "\n.Ed"

    return EXAMPLE.sub(example, page.read_text(encoding="utf-8"))


def generated(project):
    """Maps the file name of each page of section 3 to its text: those of the families, and for each name a link to its
    family's."""
    reports = rows_of((project / "docs/contracts.md").read_text(encoding="utf-8"))
    pages = {}
    for family, names in headers.exported_names(project / "userlib/include").items():
        if family != "nuv_api":
            pages[family + ".3"] = page_of(family[len("nuv_") :], project, reports)
            pages.update({name + ".3": ".so man3/%s.3\n" % family for name in names})
    return pages


def write(folder, pages):
    """Makes the folder hold these pages and no others; unchanged files are not touched."""
    folder.mkdir(parents=True, exist_ok=True)
    for path in folder.glob("*.3"):
        if path.name not in pages:
            path.unlink()
    for name, text in pages.items():
        path = folder / name
        if not path.exists() or path.read_text(encoding="utf-8") != text:
            path.write_text(text, encoding="utf-8")


def main(project, *, check=False, output=None):
    project = Path(project)
    if output:
        write(Path(output), generated(project))
        return 0
    stale, pages = 0, sorted((project / "docs/man").glob("*.[1-8]"))
    for path in pages:
        text = with_examples(path, project)
        if not check:
            path.write_text(text, encoding="utf-8")
        elif path.read_text(encoding="utf-8") != text:
            print("%s: is out of date: run docs/tools/man_pages.py ." % path.name)
            stale += 1
    if not pages:
        print("%s: has no man pages" % (project / "docs/man"))
    return int(stale > 0 or not pages)


command.run(main, __doc__)
