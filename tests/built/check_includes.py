#!/usr/bin/env python3
"""Finds sources that use a precompiled header without including it, directly or through a header of this project. They
compile only where the header is precompiled.

    check_includes.py <folder of sources> <folder of further headers>... -- <precompiled header>...
"""
import re
import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[2] / "docs/tools"))
import command  # noqa: E402

# Expressions that show that a header is used. Each precompiled header needs one.
USED = {
    "gtest/gtest.h": r"\b(?:TEST(?:_[FP])?|(?:EXPECT|ASSERT)_\w+)\(|\btesting::",
    "algorithm": r"\bstd::(?:sort|stable_sort|find|find_if|count|count_if|copy|copy_n|fill|fill_n|equal|all_of|any_of|none_of|"
                 r"min|max|clamp|min_element|max_element|remove_if|reverse|shuffle|transform|for_each|generate|replace|ranges::\w+)"
                 r"\(",
    "array": r"\bstd::array\b",
    "cerrno": r"\berrno\b",
    "cstdio": r"\bstd::(?:printf|fprintf|snprintf|sscanf|fopen|fclose|fputs|puts|fflush|fread|fwrite|remove|rename|FILE)\b",
    "cstdlib": r"\bstd::(?:getenv|malloc|calloc|realloc|free|exit|_Exit|abort|atoi|strtol|strtoul)\b",
    "cstring": r"\bstd::(?:strlen|strcmp|strncmp|strcpy|strchr|strstr|strerror|memcpy|memcmp|memset|memmove)\b",
    "functional": r"\bstd::(?:function|reference_wrapper|ref|cref|invoke)\b",
    "optional": r"\bstd::(?:optional|nullopt|make_optional)\b",
    "string": r"\bstd::(?:string|to_string|stoi|stoul)\b",
    "utility": r"\bstd::(?:move|forward|exchange|swap|pair|make_pair|as_const)\b",
    "vector": r"\bstd::vector\b",
}
INCLUDE = re.compile(r'^#include (?:<([^>]+)>|"([^"]+)")', re.M)
COMMENT = re.compile(r'//[^\n]*|/\*.*?\*/|"(?:[^"\\\n]|\\.)*"', re.S)


def included(path, folders, seen):
    """Every system header that a file includes, also through headers of its own folder or of the given ones."""
    for system, own in INCLUDE.findall(path.read_text(encoding="utf-8")):
        found = next((place for place in (base / own for base in (path.parent, *folders)) if own and place.is_file()), None)
        if found and found not in seen:
            seen.add(found)
            yield from included(found, folders, seen)
        yield system


def main(*arguments):
    if "--" not in arguments[1:]:
        raise command.UsageError("the arguments must be folders, '--' and headers")
    end = arguments.index("--")
    folders, headers = [Path(argument) for argument in arguments[:end]], arguments[end + 1:]
    unknown = [header for header in headers if header not in USED]
    if unknown:
        sys.exit("check_includes.py: no expression in USED for " + ", ".join(unknown))
    sources = [path for path in sorted(folders[0].rglob("*.*")) if path.suffix in (".cpp", ".h")]
    forgotten = 0
    for path in sources:
        text = COMMENT.sub("", path.read_text(encoding="utf-8"))
        there = set(included(path, folders, {path}))
        for header in headers:
            used = re.search(USED[header], text)
            if used and header not in there:
                print("%s: uses %s without <%s>" % (path, used.group().rstrip("("), header))
                forgotten += 1
    print("%d sources, %d forgotten" % (len(sources), forgotten))
    return 1 if forgotten or not sources else 0


command.run(main, __doc__)
