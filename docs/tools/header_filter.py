#!/usr/bin/env python3
"""Prints a public header for Doxygen.

    header_filter.py <header>

The headers put literal text in double quotes. Doxygen would find tags and emphasis in a contract text such as
"((void *)0) != a_this", so quoted text becomes code, and "<" is escaped elsewhere. The comment of a block of declarations
is repeated for each of them, which changes line numbers.
"""
import html
import re
import sys
from pathlib import Path

import command

COMMENT = re.compile(r'"(?:[^"\\\n]|\\.)*"|/\*\*.*?\*/', re.S)
# A line of code: indented by four more blanks than text, unlike the further lines of a list item.
CODE = re.compile(r"^ \*\s{5,}")
QUOTED = re.compile(r'"([^"]+)"')


def as_code(match):
    lines = match.group(1).split("\n")
    text = re.sub(r"\n \*\s*", " ", match.group(1))
    code = "`" + text + "`"
    if re.search(r"[\\%]", text):
        # Between backticks, Doxygen drops a "%" before a word and misreads a backslash.
        code = "<tt>" + re.sub(r"([\\%])", r"\\\1", html.escape(text)) + "</tt>"
    return code + "\n * " * (len(lines) - 1)


def prose(text):
    pieces = []
    end = 0
    for match in QUOTED.finditer(text):
        pieces.append(text[end : match.start()].replace("<", "&lt;"))
        pieces.append(as_code(match))
        end = match.end()
    pieces.append(text[end:].replace("<", "&lt;"))
    return "".join(pieces)


def is_code(lines, i):
    """An indented line is code only after an empty line or other code."""
    if not CODE.match(lines[i]):
        return False
    while i > 0 and CODE.match(lines[i]):
        i -= 1
    return lines[i].strip() == "*"


def comment(match):
    text = match.group()
    if not text.startswith("/**"):
        return text
    lines = text.replace("/**<", "/**\x00").split("\n")
    result, pending = [], []
    for i, line in enumerate(lines):
        if is_code(lines, i):
            if pending:
                result.append(prose("\n".join(pending)))
                pending = []
            result.append(line)
        else:
            pending.append(line)
    if pending:
        result.append(prose("\n".join(pending)))
    return "\n".join(result).replace("\x00", "<")


def is_declaration(line):
    return line.startswith(("NUV_API ", "#define "))


def is_end_of_declaration(line):
    return "*/" not in line and not line.endswith(("\\", ",")) and not line.startswith("#if")


def distributed(text):
    """The text with the comment of a block repeated for each declaration of the block."""
    result, said, lines = [], None, text.split("\n")
    for i, line in enumerate(lines):
        if line.startswith("/**"):
            end = next(j for j in range(i, len(lines)) if "*/" in lines[j])
            said = lines[i : end + 1]
        elif not line:
            said = None
        elif said and is_declaration(line) and "/**<" not in line and is_end_of_declaration(lines[i - 1]):
            result += said
        result.append(line)
    return "\n".join(result)


def with_link(text, name):
    """The text with a link from the opening comment to the family's page."""
    family = re.match(r"nuv_(?!api)(\w+)\.h$", name)
    if not family:
        return text
    link = " * @see @ref family_%s, with a whole program and what each contract means. */" % family.group(1)
    return text.replace("\n */", "\n" + link, 1)


def main(header):
    path = Path(header)
    sys.stdout.write(with_link(distributed(COMMENT.sub(comment, path.read_text(encoding="utf-8"))), path.name))


command.run(main, __doc__)
