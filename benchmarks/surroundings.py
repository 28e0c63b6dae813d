#!/usr/bin/env python3
"""Names what spoils a measurement on this machine, before anything is measured: surroundings.py QUESTION...

Ends with 1 if a question cannot be measured here, and says what to do; what only makes the figures worse is a warning.
"""

import argparse
import os
import resource
import sys
from pathlib import Path

# What the largest scene of the reactor opens, and what a program has open anyway.
DESCRIPTORS = 1000 + 24


def obstacles(questions, root, environment, descriptors):
    """What is in the way of a question, or would make a result wrong, and what to do."""
    if "trace" in questions and (root / "etc/quiet").exists():
        yield ("/etc/quiet is there, and keeps traces off the console: 'trace' has no lines to measure. Move the file away "
               "and back again, or leave the question out")
    if "reactor" in questions and descriptors < DESCRIPTORS:
        yield (f"a process may open {descriptors} files, and 'reactor' opens {DESCRIPTORS}: raise the limit (ulimit -Hn), or "
               "leave the question out")
    for variable in ("LD_PRELOAD", "LD_LIBRARY_PATH"):
        if environment.get(variable):
            yield (f"{variable} is '{environment[variable]}': something else than the libraries in question might be "
                   "measured. Unset it")


def nuisances(root, load, processors):
    """What makes the figures of all questions worse."""
    if load > processors / 4:
        yield (f"the machine has other work: its load is {load:.1f} with {processors} processors, and should be below "
               f"{processors / 4:.1f}. Ratios suffer less than times; scripts/instructions does not suffer")
    governor = root / "sys/devices/system/cpu/cpu0/cpufreq/scaling_governor"
    if governor.exists() and governor.read_text(encoding="utf-8").strip() == "powersave":
        yield f"the processor changes its pace: {governor} is 'powersave', and should be 'performance'"


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
