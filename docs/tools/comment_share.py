#!/usr/bin/env python3
"""Measures the share of comment in each public header.

    comment_share.py [--check] <folder of public headers>

Counts the lines of a header with nothing but comment, as a share of the lines that are not empty. A line with code counts
as code. With --check a share outside 45 to 55 % is an error, except for the headers in REASONS, which must need it.
"""
import sys
from pathlib import Path

import command

LEAST, MOST = 45, 55
# Headers with limits of their own, and why.
REASONS = {
    "nuv_cert_verify.h": (56, 62, "four functions, and an example that they need"),
    "nuv_timer.h": (28, 44, "the bodies of its functions are code"),
    "userlib.h": (36, 44, "a list of includes below the conventions"),
}


def counts(text):
    """The numbers of lines with only comment, and of lines that are not empty."""
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
        return "%s: %.1f %% comment: must be %d to %d %%" % (name, share, least, most)
    if reason and LEAST <= share <= MOST:
        return "%s: %.1f %% comment: must be removed from REASONS" % (name, share)
    return None


def main(folder, *, check=False):
    headers = sorted(Path(folder).glob("*.h"))
    if not headers:
        sys.exit("comment_share.py: '%s': must be a folder with headers" % folder)
    found = {path.name: counts(path.read_text(encoding="utf-8")) for path in headers}
    complaints = []
    for name, (comments, lines) in found.items():
        share = 100 * comments / lines
        print("%-24s %4d of %4d  %5.1f %%%s" % (name, comments, lines, share, "  " + REASONS[name][2] if name in REASONS else ""))
        complaints.append(complaint(name, share))
    comments, lines = (sum(column) for column in zip(*found.values()))
    print("%-24s %4d of %4d  %5.1f %%" % ("all", comments, lines, 100 * comments / lines))
    complaints += ["%s: in REASONS, but not among the headers" % name for name in REASONS if name not in found]
    complaints = [each for each in complaints if each]
    if check:
        print("\n".join(complaints))
    return int(check and bool(complaints))


if __name__ == "__main__":
    command.run(main, __doc__)
