#!/usr/bin/env python3
"""Reports benchmark results: prints tables, writes the page and its plots, and fails if a bar is missed.

report.py --results DIR [--bars DIR] [--page FILE --plots DIR] [--quiet] QUESTION...

DIR/<question>.json is the output of a question's program (Google Benchmark's JSON, with repetitions), and the optional
DIR/<question>.device.json the output with the library as built for devices. <question>.toml beside the program has the
bars, which apply to the former. Exits with 0 if every bar is met, 1 if one is missed, 2 if the input is invalid.
"""

import argparse
import datetime
import json
import math
import os
import platform
import re
import statistics
import subprocess
import sys
import tomllib
from dataclasses import dataclass, field
from pathlib import Path

sys.dont_write_bytecode = True

import plots  # noqa: E402

OURS = "userlib"
LIMIT = "limit"
TO_NANOSECONDS = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}
# Google Benchmark appends these to the name of a benchmark that asks for them.
NAME_SUFFIXES = re.compile(r"/(real_time|manual_time|process_time|(iterations|repeats|min_time|min_warmup_time):[^/]*)")
# The fields of a repetition that are not counters of the program.
STANDARD_FIELDS = {
    "name", "family_index", "per_family_instance_index", "run_name", "run_type", "repetitions", "repetition_index",
    "threads", "iterations", "real_time", "cpu_time", "time_unit", "label", "error_occurred", "error_message",
    "bytes_per_second", "items_per_second",
}
BAR_FIELDS = {
    "case": str, "against": list, "at_most": (int, float), "counter": str, "reason": str,
    "expected_at_most": (int, float),
}
QUESTION_FIELDS = {"question": str, "note": str, "plot": bool, "device": bool, "bar": list}
# The Debian package of a peer, for its version.
PEER_PACKAGES = {
    "libevent": "libevent-dev", "libev": "libev-dev", "libuv": "libuv1-dev", "glib": "libglib2.0-dev",
    "sd-event": "libsystemd-dev", "re2": "libre2-dev", "pcre2": "libpcre2-dev", "spdlog": "libspdlog-dev",
    "openssl": "libssl-dev",
}


class InputError(Exception):
    """The results or the bars are invalid; the text says why."""


# ---- Bars ----


@dataclass
class Bar:
    case: str
    against: list
    at_most: float
    counter: str = ""
    reason: str = ""
    expected_at_most: float = 0

    @property
    def gate(self):
        """The ratio above which the run fails."""
        return self.expected_at_most if self.reason else self.at_most


@dataclass
class Question:
    name: str
    question: str
    note: str
    bars: list
    has_plot: bool = True  # false if a counter matters more than the times


def check_fields(table, fields, required, where):
    for key, value in table.items():
        if key not in fields:
            raise InputError(f"{where}: unknown key '{key}': must be one of {', '.join(fields)}")
        if not isinstance(value, fields[key]) or (isinstance(value, bool) and fields[key] is not bool):
            raise InputError(f"{where}: '{key}' has the wrong type: {value!r}")
    for key in required:
        if key not in table:
            raise InputError(f"{where}: '{key}' is missing")


def read_bar(table, where):
    check_fields(table, BAR_FIELDS, ["case", "against", "at_most"], where)
    bar = Bar(**table)
    where = f"{where} for case '{bar.case}'"
    if not bar.against or not all(isinstance(side, str) for side in bar.against):
        raise InputError(f"{where}: 'against' must name at least one side")
    if bar.at_most <= 0:
        raise InputError(f"{where}: 'at_most' must be above 0, and is {bar.at_most}")
    if bool(bar.reason) != ("expected_at_most" in table):
        raise InputError(f"{where}: 'reason' and 'expected_at_most' go together")
    if bar.reason and bar.expected_at_most <= bar.at_most:
        raise InputError(f"{where}: 'expected_at_most' must be above 'at_most', and is {bar.expected_at_most}")
    return bar


def read_question(directory, name):
    path = Path(directory) / f"{name}.toml"
    try:
        table = tomllib.loads(path.read_text(encoding="utf-8"))
    except FileNotFoundError:
        raise InputError(f"{path}: no such file") from None
    except (tomllib.TOMLDecodeError, UnicodeDecodeError) as error:
        raise InputError(f"{path}: not valid TOML: {error}") from None
    check_fields(table, QUESTION_FIELDS, ["question", "note"], path)
    bars = [read_bar(bar, f"{path}: bar {i + 1}") for i, bar in enumerate(table.get("bar", []))]
    return Question(name, table["question"], table["note"].strip(), bars, table.get("plot", True))


# ---- Results ----


@dataclass
class Side:
    """The measurements of one side of a case: one value per repetition."""

    nanoseconds: list = field(default_factory=list)
    counters: dict = field(default_factory=dict)

    def median(self, counter=""):
        return statistics.median(self.counters[counter] if counter else self.nanoseconds)

    def spread(self):
        """Half the interquartile range, as a fraction of the median."""
        if len(self.nanoseconds) < 4:
            return 0.0
        low, _, high = statistics.quantiles(self.nanoseconds, n=4)
        return (high - low) / 2 / self.median()


@dataclass
class Results:
    cases: dict  # case -> side -> Side, in the order of the program
    context: dict
    device: dict = field(default_factory=dict)  # the same for the library as built for devices

    @property
    def repetitions(self):
        return min((len(side.nanoseconds) for sides in self.cases.values() for side in sides.values()), default=0)

    def sides(self):
        """All sides, ours first and the limit second."""
        seen = dict.fromkeys(side for sides in self.cases.values() for side in sides)
        return sorted(seen, key=lambda side: {OURS: 0, LIMIT: 1}.get(side, 2))


def read_results(directory, name):
    path = Path(directory) / f"{name}.json"
    try:
        document = json.loads(path.read_text(encoding="utf-8"))
        runs = document["benchmarks"]
    except FileNotFoundError:
        raise InputError(f"{path}: no such file") from None
    except (ValueError, KeyError, TypeError) as error:
        raise InputError(f"{path}: not the results of a benchmark: {error!r}") from None
    results = Results({}, document.get("context", {}))
    # Random interleaving has shuffled the runs; restore the program's order.
    for run in sorted(runs, key=lambda each: (each.get("family_index", 0), each.get("per_family_instance_index", 0))):
        if run.get("error_occurred"):
            raise InputError(f"{path}: {run['name']}: {run.get('error_message', 'it failed')}")
        if run.get("run_type") != "iteration":
            continue
        full_name = run.get("run_name", run["name"])
        case, slash, side = NAME_SUFFIXES.sub("", full_name).rpartition("/")
        if not slash:
            raise InputError(f"{path}: '{full_name}' is not of the form case/side")
        is_real = "/real_time" in full_name or "/manual_time" in full_name
        measured = results.cases.setdefault(case, {}).setdefault(side, Side())
        time = run["real_time" if is_real else "cpu_time"] * TO_NANOSECONDS[run["time_unit"]]
        measured.nanoseconds.append(time)
        for key, value in run.items():
            if key not in STANDARD_FIELDS and isinstance(value, (int, float)):
                measured.counters.setdefault(key, []).append(value)
    if not results.cases:
        raise InputError(f"{path}: nothing was measured")
    return results


def read_both_results(directory, name):
    results = read_results(directory, name)
    if (Path(directory) / f"{name}.device.json").exists():
        results.device = read_results(directory, f"{name}.device").cases
    return results


# ---- Verdicts ----


@dataclass
class Verdict:
    bar: Bar
    ratio: float
    rival: str

    @property
    def is_met(self):
        return self.ratio <= self.bar.at_most

    @property
    def passes(self):
        return self.ratio <= self.bar.gate


def divide(ours, theirs):
    if theirs != 0:
        return ours / theirs
    return 1.0 if ours == 0 else math.inf


def value_of(results, case, side, counter, where):
    if case not in results.cases:
        raise InputError(f"{where}: case '{case}' was not measured")
    if side not in results.cases[case]:
        raise InputError(f"{where}: case '{case}' was not measured for '{side}'")
    measured = results.cases[case][side]
    if counter and counter not in measured.counters:
        raise InputError(f"{where}: case '{case}' has no counter '{counter}' for '{side}'")
    return measured.median(counter)


def judge(question, results):
    verdicts = []
    for bar in question.bars:
        where = f"{question.name}.toml"
        ours = value_of(results, bar.case, OURS, bar.counter, where)
        theirs = {side: value_of(results, bar.case, side, bar.counter, where) for side in bar.against}
        rival = min(theirs, key=theirs.get)
        verdicts.append(Verdict(bar, divide(ours, theirs[rival]), rival))
    return verdicts


# ---- Texts ----


def number(value):
    """Three significant digits, and no exponent."""
    if value == 0:
        return "0"
    if math.isinf(value):
        return "inf"
    digits = max(0, 2 - math.floor(math.log10(abs(value))))
    return f"{value:,.{min(digits, 4)}f}"


def ratio_text(ratio):
    return f"{ratio:.3f}" if ratio < 0.095 else f"{ratio:.2f}"


def peers_of(sides):
    return [side for side in sides if side not in (OURS, LIMIT)]


def bar_text(verdict):
    what = f"{verdict.bar.counter} " if verdict.bar.counter else ""
    against = verdict.bar.against
    rival = against[0] if len(against) == 1 else "fastest of " + ", ".join(against)
    return f"{what}at most {verdict.bar.at_most:g} of {rival}"


def verdict_text(verdict):
    if verdict.is_met:
        return "met"
    if verdict.passes:
        return f"missed, below {verdict.bar.expected_at_most:g} as expected"
    return "MISSED"


def ratios(measured, has_limit, has_peers):
    """The ratios of ours to the limit and to the best peer, as far as the table has these columns."""
    medians = {side: measured[side].median() for side in measured}
    cells = []
    if has_limit:
        both = OURS in medians and LIMIT in medians
        cells.append(ratio_text(divide(medians[OURS], medians[LIMIT])) if both else "")
    if has_peers:
        peers = [medians[side] for side in peers_of(measured)]
        cells.append(ratio_text(divide(medians[OURS], min(peers))) if peers and OURS in medians else "")
    return cells


def time_rows(results):
    """Header and rows of the table of times. The device's build was measured in a run of its own, with its own ratios."""
    sides = results.sides()
    has_limit = LIMIT in sides
    has_peers = bool(peers_of(sides))
    rivals = (["limit"] if has_limit else []) + (["best peer"] if has_peers else [])
    header = ["case"] + sides + [f"ours / {rival}" for rival in rivals]
    if results.device:
        header += ["device"] + [f"device / {rival}" for rival in rivals]
    rows = []
    for case, measured in results.cases.items():
        row = [case] + [number(measured[side].median()) if side in measured else "" for side in sides]
        row += ratios(measured, has_limit, has_peers)
        if results.device:
            device = results.device.get(case, {})
            row.append(number(device[OURS].median()) if OURS in device else "")
            row += ratios(device, has_limit, has_peers)
        rows.append(row)
    return header, rows


def counter_rows(results):
    sides = results.sides()
    rows = []
    for case, measured in results.cases.items():
        for counter in dict.fromkeys(key for side in measured.values() for key in side.counters):
            row = [case, counter]
            for side in sides:
                has = side in measured and counter in measured[side].counters
                row.append(number(measured[side].median(counter)) if has else "")
            rows.append(row)
    return ["case", "figure"] + sides, rows


def bar_rows(verdicts):
    rows = [[v.bar.case, bar_text(v), ratio_text(v.ratio), verdict_text(v)] for v in verdicts]
    return ["case", "bar", "ratio", "verdict"], rows


def as_text(header, rows):
    widths = [max(len(row[i]) for row in [header] + rows) for i in range(len(header))]
    lines = []
    for row in [header] + rows:
        cells = [cell.ljust(width) if i == 0 else cell.rjust(width) for i, (cell, width) in enumerate(zip(row, widths))]
        lines.append("  " + "  ".join(cells).rstrip())
    return "\n".join(lines)


def as_markdown(header, rows, left=1):
    align = ["---"] * left + ["---:"] * (len(header) - left)
    lines = ["| " + " | ".join(cells) + " |" for cells in [header, align] + rows]
    return "\n".join(lines)


def reasons(verdicts, all_misses):
    """(cases, reason) for each reason why bars are missed: those that still pass, or all."""
    cases = {}
    for verdict in verdicts:
        if verdict.bar.reason and not verdict.is_met and (verdict.passes or all_misses):
            cases.setdefault(verdict.bar.reason, []).append(verdict.bar.case)
    return [(list(dict.fromkeys(names)), reason) for reason, names in cases.items()]


def print_question(question, results, verdicts):
    print(f"\n{question.question} ({question.name}, median of {results.repetitions}, in ns)\n")
    print(as_text(*time_rows(results)))
    header, rows = counter_rows(results)
    if rows:
        print("\n" + as_text(header, rows))
    if verdicts:
        print("\n" + as_text(*bar_rows(verdicts)))
    for cases, reason in reasons(verdicts, all_misses=False):
        print(f"  {', '.join(cases)}: {reason}")


# ---- The page ----


def command_output(*command):
    try:
        done = subprocess.run(command, capture_output=True, text=True, check=True, timeout=20)
        return done.stdout.strip()
    except (OSError, subprocess.SubprocessError):
        return ""


def machine_line(results):
    """Processor, kernel and compiler, but nothing that identifies the machine."""
    model = "an unnamed processor"
    try:
        names = re.findall(r"^model name\s*:\s*(.*)$", Path("/proc/cpuinfo").read_text(encoding="utf-8"), re.MULTILINE)
        model = names[0].strip() if names else platform.machine()
    except OSError:
        pass
    cores = next((r.context.get("num_cpus") for r in results if r.context.get("num_cpus")), os.cpu_count())
    kernel = ".".join(platform.release().split(".")[:2])
    c_library = " ".join(platform.libc_ver()).strip()
    compiler = command_output(os.environ.get("CXX", "c++"), "--version").split("\n")[0]
    parts = [f"{model}, {cores} processors", f"{platform.system()} {kernel}", c_library, compiler, "-O2", load_text(results)]
    return ", ".join(part for part in parts if part)


def load_text(results):
    """The load of the machine when the programs started."""
    loads = [r.context["load_avg"][0] for r in results if r.context.get("load_avg")]
    return f"load {min(loads):.1f} to {max(loads):.1f}" if loads else ""


def peer_versions(results):
    sides = dict.fromkeys(side for r in results for side in peers_of(r.sides()))
    texts = []
    for side in sides:
        if side in PEER_PACKAGES:
            version = command_output("dpkg-query", "-W", "-f", "${source:Upstream-Version}", PEER_PACKAGES[side])
            texts.append(f"{side} {version}".strip())
    return ", ".join(texts)


def question_section(question, results, verdicts, plot_names):
    lines = [f"## {question.question}", "", question.note, ""]
    for plot in plot_names:
        lines += [f"![{question.question}]({plot})", ""]
    lines += [f"Median of {results.repetitions} repetitions, in nanoseconds.", "", as_markdown(*time_rows(results)), ""]
    header, rows = counter_rows(results)
    if rows:
        lines += [as_markdown(header, rows, left=2), ""]
    if verdicts:
        lines += [as_markdown(*bar_rows(verdicts), left=2), ""]
    for cases, reason in reasons(verdicts, all_misses=True):
        lines += [f"{', '.join(f'`{case}`' for case in cases)}: {reason}", ""]
    return lines


HOW = """# Benchmarks

`benchmarks` has one program per question. It compares our call with the calls of libraries that a daemon might use instead
(the peers), and with the same work done by system calls or plain loops alone (the limit); their repetitions run in random
order. What counts is the ratio of the medians: both sides had the same machine at the same time, so the ratio carries over
to other machines where nanoseconds do not. A bar is the greatest ratio that is accepted.

    scripts/bench                           all questions; writes this page and its plots
    scripts/bench --repetitions 20 reactor  only some, without changing this page

The script installs the peers from Debian's packages, builds the preset `bench` and fails if a bar is missed. A question with
a missed bar is measured again as a whole, with twice the repetitions, at most twice; the last measurement counts for all of
its cases. Times are CPU time of the measured thread, unless the question says otherwise.

To be fair, both sides do the same work on the same descriptors, bytes and texts, in the same process. Their results are
checked, and a wrong result fails the run. All are shared libraries as they ship: the peers as in their Debian packages, ours
as in its own packages, with Debian's usual optimisation (-O2). The bars apply to that.

`device` is our library as built for devices, with -Os and link-time optimisation, measured in a run of its own with the same
program; its ratios are those of that run.

Before measuring, the script checks for what would spoil the results: a file `/etc/quiet`, too few descriptors, preloaded
libraries, a busy machine. A bar of a few nanoseconds leaves room for other machines, on which the same ratio was 1.6 instead
of 1.2: such an operation has a closer limit by its count of instructions.
"""


COUNTED = """## Counted in instructions

The instructions that one operation takes outside the kernel, a figure that depends neither on the load nor on the age of the
machine. `package` is the library as in Debian's packages (-O2), `device` as on devices (-Os and link-time optimisation);
`by hand` is comparable work in the program itself: a loop around `select()`, an array of timers, a mask, `printf()`, each
pattern symbol by symbol, and functions with the library's checks. It leaves out what it does not need: no callback changes
its set, no descriptor has an owner, no handle is wrong. The calling program is compiled with -O2, and calls a shared object.

`scripts/instructions` counts with valgrind on x86-64, and with a plugin of QEMU's user-mode emulators for other processors
(`--target mips`). Each question runs N times and 2 N times, so that the difference excludes the start.
`scripts/instructions --check` fails if anything takes over 3 % more than the figures in `benchmarks/instructions`, and
`--update` stores the new figures and writes these tables.

"""
COUNTS = re.compile(r"<!-- instructions -->\n.*?<!-- end -->\n", re.S)


def counted_section(page):
    """The section with the tables that scripts/instructions wrote to the page."""
    text = page.read_text(encoding="utf-8") if page.exists() else ""
    kept = COUNTS.search(text)
    return COUNTED + (kept.group(0) if kept else "<!-- instructions -->\n<!-- end -->\n")


def write_page(page, plot_directory, entries):
    page = Path(page)
    plot_directory = Path(plot_directory)
    plot_directory.mkdir(parents=True, exist_ok=True)
    all_results = [results for _, results, _ in entries]
    lines = [HOW]
    lines += [f"Measured on {datetime.date.today().isoformat()}: {machine_line(all_results)}.", ""]
    versions = peer_versions(all_results)
    if versions:
        lines += [f"Peers: {versions}.", ""]
    verdicts = [verdict for _, _, some in entries for verdict in some]
    if verdicts:
        met = sum(verdict.is_met for verdict in verdicts)
        lines += [f"{met} of {len(verdicts)} bars are met.", ""]
    lines += [counted_section(page)]
    for question, results, some in entries:
        names = []
        drawn = plots.draw(question.question, results.cases, OURS, LIMIT) if question.has_plot else []
        for suffix, svg in drawn:
            path = plot_directory / f"{question.name}{suffix}.svg"
            path.write_text(svg, encoding="utf-8")
            names.append(os.path.relpath(path, page.parent))
        lines += question_section(question, results, some, names)
    page.write_text("\n".join(lines).rstrip() + "\n", encoding="utf-8")


# ---- Main ----


def parse_arguments(arguments):
    parser = argparse.ArgumentParser(prog="report.py", description=__doc__.split("\n", maxsplit=1)[0])
    parser.add_argument("--results", required=True, help="directory with <question>.json")
    parser.add_argument("--bars", default=Path(__file__).parent, help="directory with <question>.toml")
    parser.add_argument("--page", help="Markdown file to write")
    parser.add_argument("--plots", help="directory for the plots of the page")
    parser.add_argument("--quiet", action="store_true", help="print only missed bars")
    parser.add_argument("questions", nargs="+", metavar="QUESTION")
    options = parser.parse_args(arguments)
    if bool(options.page) != bool(options.plots):
        parser.error("--page and --plots must be given together")
    return options


def main(arguments):
    options = parse_arguments(arguments)
    entries = []
    try:
        for name in options.questions:
            question = read_question(options.bars, name)
            results = read_both_results(options.results, name)
            entries.append((question, results, judge(question, results)))
    except InputError as error:
        print(f"report: {error}", file=sys.stderr)
        return 2
    if not options.quiet:
        for entry in entries:
            print_question(*entry)
        print()
    if options.page:
        write_page(options.page, options.plots, entries)
    missed = 0
    for question, _, verdicts in entries:
        for verdict in verdicts:
            if not verdict.passes:
                missed += 1
                print(f"report: {question.name}: {verdict.bar.case}: {ratio_text(verdict.ratio)} of {verdict.rival}, "
                      f"the bar is {verdict.bar.gate:g}{' for ' + verdict.bar.counter if verdict.bar.counter else ''}",
                      file=sys.stderr)
    return 1 if missed else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
