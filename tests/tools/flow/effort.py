#!/usr/bin/env python3
"""Has userlib-flow count a long log with little memory, and compares its CPU time with that of grep.

    effort.py USERLIB-FLOW

The memory must not grow with the log: the limit allows only a few bytes per line. The CPU time is a ratio to that of
`grep -c` over the same file in the same run. benchmarks/flow.toml has a tighter limit; this one only finds gross mistakes.
"""
import os
import resource
import subprocess
import sys
import tempfile

LINES = 1_000_000
MOST_DATA = 8 << 20  # bytes of writable memory
RUNS = 3
MOST_OF_GREP = 16.0
LINES_OF_A_CALL = (
    "tracemf: card:{port} -->{line} dial 110--> channel:7070  RX",
    "tracemf: channel:7070 -->{line} dial 110--> dial layer:0  RX",
    "tracemf: dial layer:0 -->{line} complete 110 110--> channel:7070  TX",
    "tracemf: channel:7070 -->{line} complete 110 110--> card:{port}  TX",
    "info:Line   line {line}: 110 is complete by 110",
)


def write_log(path, lines):
    with open(path, "w", encoding="utf-8") as log:
        for call in range(lines // len(LINES_OF_A_CALL)):
            seconds, milliseconds = divmod(call, 1000)
            time = "Mar  5 %02d:%02d:%02d:%03d:" % (seconds // 3600, seconds // 60 % 60, seconds % 60, milliseconds)
            line = call * 7 % 256
            log.writelines(time + text.format(line=line, port=30000 + line) + "\n" for text in LINES_OF_A_CALL)


def limit_memory():
    resource.setrlimit(resource.RLIMIT_DATA, (MOST_DATA, MOST_DATA))


def measure(*command):
    """The output of the command, and its CPU time in seconds."""
    with tempfile.TemporaryFile() as output:
        child = subprocess.Popen(command, stdout=output, preexec_fn=limit_memory)
        status, usage = os.wait4(child.pid, 0)[1:]
        child.returncode = os.waitstatus_to_exitcode(status)
        if child.returncode != 0:
            sys.exit("effort: %s exits with status %d" % (" ".join(map(str, command)), child.returncode))
        output.seek(0)
        return output.read().decode(), usage.ru_utime + usage.ru_stime


def least_of(*command):
    """The output, and the least CPU time of several runs."""
    runs = [measure(*command) for _ in range(RUNS)]
    return runs[0][0], min(seconds for _, seconds in runs)


def main(flow):
    with tempfile.NamedTemporaryFile(suffix=".log") as log:
        write_log(log.name, LINES)
        counted, seconds = least_of(flow, "--stats", log.name)
        _, grep = least_of("grep", "-c", "tracemf", log.name)
    print("%d lines: %.3f s, %.1f of grep -c" % (LINES, seconds, seconds / grep))
    if "{0:,} lines: {0:,} traces, 0 foreign, 0 broken, 0 cut\n".format(LINES) not in counted:
        sys.exit("effort: not all lines are counted:\n" + counted)
    if seconds > MOST_OF_GREP * grep:
        sys.exit("effort: must take at most %.0f times as long as grep" % MOST_OF_GREP)


if len(sys.argv) != 2:
    sys.exit(__doc__)
main(sys.argv[1])
