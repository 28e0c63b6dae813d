#!/usr/bin/env python3
"""Finds test sources that use what a precompiled header declares, and include it neither themselves nor by way of a header
of this project. They compile where the header is precompiled, and perhaps nowhere else.

    check_includes.py <folder of tests> <folder of what they test>... -- <precompiled header>...
"""
import re
import sys
from pathlib import Path

# What tells that a header is used. A header that is missing here cannot be precompiled.
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
    """Every header of the system that a file includes, also by way of headers of its own folder or of these."""
    for system, own in INCLUDE.findall(path.read_text(encoding="utf-8")):
        found = next((place for place in (base / own for base in (path.parent, *folders)) if own and place.is_file()), None)
        if found and found not in seen:
            seen.add(found)
            yield from included(found, folders, seen)
        yield system


def main():
    end = sys.argv.index("--")
    folders, headers = [Path(argument) for argument in sys.argv[1:end]], sys.argv[end + 1:]
    unknown = [header for header in headers if header not in USED]
    if unknown:
        sys.exit("check_includes.py cannot tell who uses " + ", ".join(unknown))
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


if __name__ == "__main__":
    sys.exit(main())
