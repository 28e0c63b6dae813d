#!/usr/bin/env python3
"""Prints a C++ header for Doxygen.

    cpp_filter.py <header>

Many members only call the operation of the same name, and have no comment. They get one that links to the operation. Line
numbers stay the same.
"""
import re
import sys
from pathlib import Path

import command

OPERATION = re.compile(r"\bNUV_[A-Z]\w+_\w+(?=\()")
LABEL = re.compile(r"^ ?(public|private|protected):")
CLASS = re.compile(r"^(?:class|struct) (\w+)[^;]*\{")
# Strings, characters and comments, whose brackets do not count.
HIDDEN = re.compile(r'"(?:[^"\\\n]|\\.)*"|\'(?:[^\'\\\n]|\\.)*\'|//.*')


def depth_of(line):
    bare = HIDDEN.sub("", line)
    return bare.count("{") - bare.count("}"), bare.count("(") - bare.count(")")


def extent(lines, start):
    """The lines of the member that begins at start."""
    braces = brackets = 0
    for end in range(start, len(lines)):
        more = depth_of(lines[end])
        braces, brackets = braces + more[0], brackets + more[1]
        bare = HIDDEN.sub("", lines[end]).rstrip()
        is_head = bare.lstrip().startswith("template") and bare.endswith(">")
        if braces == 0 and brackets == 0 and not is_head and bare.endswith((";", "}")):
            return end + 1
    return len(lines)


def words_for(text, owner):
    operation = OPERATION.search(text)
    name = re.search(r"(~?\w+|operator\W+)\(", text)
    name = name.group(1) if name else ""
    if "= delete" in text:
        return "There is none."
    if name == owner:
        return "Takes over what the other one holds." if "&&" in text else "Constructs the record."
    if name == "~" + owner:
        return "Ends its life."
    if name.startswith("operator=") and "&&" in text:
        return "Takes over what the other one holds."
    if name == "record" or name.startswith("operator->"):
        return "Gives the record to functions of C."
    if operation:
        return "Calls %s()." % operation.group()
    return None


def documented(lines):
    owner, is_public, previous = None, False, None
    i = 0
    while i < len(lines):
        line = lines[i]
        opened = CLASS.match(line)
        if opened:
            owner, is_public, previous = opened.group(1), line.startswith("struct"), None
        elif line.startswith("};"):
            owner = None
        elif owner and LABEL.match(line):
            is_public, previous = LABEL.match(line).group(1) == "public", None
        elif owner and not line.strip():
            previous = None
        elif owner and re.match(r"^  [^\s/}#]", line):
            end = extent(lines, i)
            member = "\n".join(lines[i:end])
            has_comment = lines[i - 1].lstrip().startswith("///") or "///<" in member
            if is_public and not has_comment and not member.lstrip().startswith(("friend", "static_assert")):
                said = words_for(member, owner) or ("Like the one above." if previous else "See %s." % owner)
                lines[i] = "  /** %s */ %s" % (said, line.lstrip())
            if CLASS.match(member[2:]):
                # A nested class: the same, indented by two more blanks.
                inner = documented([inside[2:] for inside in lines[i:end]])
                lines[i:end] = ["  " + inside if inside else "" for inside in inner]
            previous = member
            i = end
            continue
        i += 1
    return lines


def main(header):
    sys.stdout.write("\n".join(documented(Path(header).read_text(encoding="utf-8").split("\n"))))


command.run(main, __doc__)
