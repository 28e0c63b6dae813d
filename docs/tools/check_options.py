#!/usr/bin/env python3
"""Compares the options that a program tells about with those of its man page.

    check_options.py <program> <man page>
"""
import re
import subprocess
import sys
from pathlib import Path

text = subprocess.run([sys.argv[1], "--help"], check=True, capture_output=True, encoding="utf-8").stdout
told = set(re.findall(r"(?<![\w-])--([a-z][a-z-]*)", text))
page = set(re.findall(r"\bFl -([a-z][a-z-]*)", Path(sys.argv[2]).read_text(encoding="utf-8")))
for option in sorted(told - page):
    print("--%s: not in the page" % option)
for option in sorted(page - told):
    print("--%s: not in what the program tells" % option)
print("%d options" % len(told))
sys.exit(told != page or not told)
