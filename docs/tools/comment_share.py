#!/usr/bin/env python3
"""Measures how much of each public header is comment.

    comment_share.py [--check] <folder of public headers>

Counts the lines of a header that hold nothing but comment, as a share of those that are not empty. A comment behind code
does not count: the line is code. With --check a share outside of 45 to 55 % is complained about, but for the headers that
have a reason to differ, which stand in this script and must still have it.
"""
import sys
from pathlib import Path

LEAST, MOST = 45, 55
# Between which shares a header may differ, and why.
REASONS = {
    "nuv_cert_verify.h": (56, 62, "four functions, and an example that they need"),
    "nuv_timer.h": (28, 44, "the bodies of its functions are code"),
    "userlib.h": (36, 44, "a list of includes below the conventions"),
}


def counts(text):
    """The lines that are comment alone, and those that are not empty."""
    comments = lines = 0
    is_inside = False
    for line in map(str.strip, text.split("\n")):
        if not line:
            continue
        lines += 1
        if is_inside or line.startswith(("/*", "//")):
            comments += 1
            is_inside = (is_inside or line.startswith("/*")) and "*/" not in line
    return comments, lines


def complaint(name, share):
    least, most, reason = REASONS.get(name, (LEAST, MOST, None))
    if not least <= share <= most:
        return "%s: %.1f %% comment; it should have %d to %d %%" % (name, share, least, most)
    if reason and LEAST <= share <= MOST:
        return "%s: %.1f %% comment needs no reason; take it out of REASONS" % (name, share)
    return None


def main():
    headers = sorted(Path(sys.argv[-1]).glob("*.h"))
    if not headers:
        sys.exit("comment_share.py: '%s' is not a folder with headers" % sys.argv[-1])
    found = {path.name: counts(path.read_text(encoding="utf-8")) for path in headers}
    complaints = []
    for name, (comments, lines) in found.items():
        share = 100 * comments / lines
        print("%-24s %4d of %4d  %5.1f %%%s" % (name, comments, lines, share, "  " + REASONS[name][2] if name in REASONS else ""))
        complaints.append(complaint(name, share))
    comments, lines = (sum(column) for column in zip(*found.values()))
    print("%-24s %4d of %4d  %5.1f %%" % ("all", comments, lines, 100 * comments / lines))
    complaints += ["%s: is not among the headers" % name for name in REASONS if name not in found]
    complaints = [each for each in complaints if each]
    if sys.argv[1] == "--check":
        print("\n".join(complaints))
        sys.exit(bool(complaints))


if __name__ == "__main__":
    main()
