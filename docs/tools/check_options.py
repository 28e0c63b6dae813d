#!/usr/bin/env python3
"""Compares the options in a program's --help with those in its man page.

    check_options.py <program> <man page>
"""
import re
import subprocess
from pathlib import Path

import command


def main(program, page):
    text = subprocess.run([program, "--help"], check=True, capture_output=True, encoding="utf-8").stdout
    in_help = set(re.findall(r"(?<![\w-])--([a-z][a-z-]*)", text))
    in_page = set(re.findall(r"\bFl -([a-z][a-z-]*)", Path(page).read_text(encoding="utf-8")))
    for option in sorted(in_help - in_page):
        print("--%s: not in the man page" % option)
    for option in sorted(in_page - in_help):
        print("--%s: not in the output of --help" % option)
    print("%d options" % len(in_help))
    return int(in_help != in_page or not in_help)


command.run(main, __doc__)
