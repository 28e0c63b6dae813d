#!/usr/bin/env python3
"""Checks that the example code in the headers comes from the example programs, which are compiled and run.

    check_headers.py <folder of public headers> <folder of examples>

Each line of code in a comment must be in docs/examples/<family>.c, in the same order; "..." leaves some out. White space
and comments are ignored.
"""
import re
from pathlib import Path

import command

COMMENT = re.compile(r"/\*\*.*?\*/", re.S)
CODE = re.compile(r"^ \*(?: {5,}\S.*)?$")


def bare(code):
    code = re.sub(r'("(?:[^"\\\n]|\\.)*")|//[^\n]*|/\*.*?\*/', lambda match: match.group(1) or "", code, flags=re.S)
    return re.sub(r"\s+", "", code)


def blocks(header):
    """The blocks of code in the comments of a header: indented lines, at least one of which ends like a statement."""
    for comment in COMMENT.findall(header):
        block = []
        for line in comment.split("\n") + ["end"]:
            if CODE.match(line) and (block or line.strip() != "*"):
                block.append(line[2:].strip())
                continue
            if any(re.search(r"[;{]$", bare(text)) for text in block):
                yield block
            block = []


def main(headers, examples):
    lines = failures = 0
    for header in sorted(Path(headers).glob("nuv_*.h")):
        path = Path(examples) / (header.stem[len("nuv_") :] + ".c")
        for block in blocks(header.read_text()):
            example, position = bare(path.read_text()), 0
            for line in block:
                code = bare(line)
                if not code or code.startswith("..."):
                    continue
                lines += 1
                code = code[: -len("...")] if code.endswith("...") else code
                found = example.find(code, position)
                if found < 0:
                    print("%s: not in %s, or not in this order: %s" % (header.name, path.name, line))
                    failures += 1
                else:
                    position = found + len(code)
    print("%d lines of code in the headers" % lines)
    return int(failures > 0 or lines == 0)


command.run(main, __doc__)
