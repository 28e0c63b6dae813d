#!/usr/bin/env python3
"""Checks before a benchmark whether this machine is suitable: surroundings.py QUESTION...

Exits with 1 if a question cannot be measured here, and says what to do; prints a warning if figures would only be worse.
"""

import argparse
import os
import resource
import sys
from pathlib import Path

# The files that the largest scene of the reactor opens, and those that a program has open anyway.
DESCRIPTORS = 1000 + 24


def obstacles(questions, root, environment, descriptors):
    """What prevents a measurement, or would make a result wrong, and what to do."""
    if "trace" in questions and (root / "etc/quiet").exists():
        yield ("/etc/quiet exists, and keeps traces off the console: 'trace' has no lines to measure. Move it away, or "
               "leave the question out")
    if "reactor" in questions and descriptors < DESCRIPTORS:
        yield (f"a process can open {descriptors} files, and 'reactor' needs {DESCRIPTORS}: raise the limit (ulimit -Hn), or "
               "leave the question out")
    for variable in ("LD_PRELOAD", "LD_LIBRARY_PATH"):
        if environment.get(variable):
            yield f"{variable} is '{environment[variable]}', so other libraries might be measured: unset it"


def nuisances(root, load, processors):
    """What makes all figures worse."""
    if load > processors / 4:
        yield (f"the machine is busy: its load is {load:.1f} on {processors} processors, and should be below "
               f"{processors / 4:.1f}. This affects ratios less than times, and scripts/instructions not at all")
    governor = root / "sys/devices/system/cpu/cpu0/cpufreq/scaling_governor"
    if governor.exists() and governor.read_text(encoding="utf-8").strip() == "powersave":
        yield f"the processor changes its clock rate: {governor} is 'powersave', and should be 'performance'"


def main(arguments, root=Path("/"), environment=None, descriptors=None, load=None, processors=None):
    parser = argparse.ArgumentParser(prog="surroundings.py", description=__doc__.split("\n", maxsplit=1)[0])
    parser.add_argument("questions", nargs="+", metavar="QUESTION")
    questions = parser.parse_args(arguments).questions
    environment = os.environ if environment is None else environment
    descriptors = resource.getrlimit(resource.RLIMIT_NOFILE)[1] if descriptors is None else descriptors
    descriptors = sys.maxsize if descriptors == resource.RLIM_INFINITY else descriptors
    load = os.getloadavg()[0] if load is None else load
    found = list(obstacles(questions, root, environment, descriptors))
    for text in found:
        print(f"bench: {text}", file=sys.stderr)
    for text in nuisances(root, load, processors or os.cpu_count() or 1):
        print(f"bench: warning: {text}", file=sys.stderr)
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
