#!/usr/bin/env python3
"""Looks for the C code of a page among the example programs, which are compiled and run.

    check_readme.py <page> <folder of examples>
"""
import re
import sys
from pathlib import Path

blocks = re.findall(r"^```c\n(.*?)^```$", Path(sys.argv[1]).read_text(encoding="utf-8"), re.M | re.S)
programs = [path.read_text(encoding="utf-8") for path in Path(sys.argv[2]).glob("*.c")]
strange = [block for block in blocks if block not in programs]
for block in strange:
    print("is none of the examples:\n" + block)
print("%d blocks of code" % len(blocks))
sys.exit(bool(strange) or not blocks)
