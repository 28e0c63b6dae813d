#!/usr/bin/env python3
"""Tests benchmarks/report.py with valid and invalid results and bars."""

import contextlib
import io
import json
import sys
import tempfile
import unittest
import xml.etree.ElementTree
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[3] / "benchmarks"))
sys.dont_write_bytecode = True

import report  # noqa: E402

NOTE = 'question = "How fast?"\nnote = "Both do the same."\n'


def bar(case, against, at_most, more=""):
    return f'[[bar]]\ncase = "{case}"\nagainst = {json.dumps(against)}\nat_most = {at_most}\n{more}\n'


def runs(name, times, unit="ns", family=0, **more):
    """The repetitions of one benchmark, and an aggregate that must be ignored."""
    result = [
        {"name": name, "run_name": name, "run_type": "iteration", "family_index": family, "repetition_index": i,
         "iterations": 100, "real_time": time * 2, "cpu_time": time, "time_unit": unit, **more}
        for i, time in enumerate(times)
    ]
    result.append({"name": name + "_mean", "run_name": name, "run_type": "aggregate", "family_index": family,
                   "real_time": 99999.0, "cpu_time": 99999.0, "time_unit": unit})
    return result


class ReportTest(unittest.TestCase):
    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.directory = Path(directory.name)
        self.measured = (
            runs("size/1/userlib", [50, 10, 30, 20, 40], family=0)
            + runs("size/1/limit", [25] * 5, family=1)
            + runs("size/1/libone", [60] * 5, family=2)
            + runs("size/1/libtwo", [90] * 5, family=3)
        )

    def report(self, toml, measured=None, arguments=()):
        """Returns (exit status, standard output, standard error)."""
        (self.directory / "speed.toml").write_text(toml, encoding="utf-8")
        document = {"context": {"host_name": "secret", "num_cpus": 2, "load_avg": [0.25, 9, 9]},
                    "benchmarks": self.measured if measured is None else measured}
        (self.directory / "speed.json").write_text(json.dumps(document), encoding="utf-8")
        return self.run_main([*arguments, "speed"])

    def run_main(self, arguments):
        out, err = io.StringIO(), io.StringIO()
        with contextlib.redirect_stdout(out), contextlib.redirect_stderr(err):
            place = str(self.directory)
            status = report.main(["--results", place, "--bars", place, *arguments])
        return status, out.getvalue(), err.getvalue()

    def row(self, output, case):
        return next(line.split() for line in output.splitlines() if line.split()[:1] == [case])

    # ---- Tables and ratios ----

    def test_takes_medians_and_their_ratios(self):
        status, out, err = self.report(NOTE)
        self.assertEqual((status, err), (0, ""))
        self.assertEqual(self.row(out, "case"), "case userlib limit libone libtwo ours / limit ours / best peer".split())
        self.assertEqual(self.row(out, "size/1"), ["size/1", "30.0", "25.0", "60.0", "90.0", "1.20", "0.50"])

    def test_shows_what_devices_have_with_the_ratios_of_its_own_run(self):
        device = (runs("size/1/userlib", [80] * 5, family=0) + runs("size/1/limit", [20] * 5, family=1)
                  + runs("size/1/libone", [160] * 5, family=2))
        (self.directory / "speed.device.json").write_text(json.dumps({"benchmarks": device}), encoding="utf-8")
        status, out, err = self.report(NOTE + bar("size/1", ["limit"], 1.2))
        self.assertEqual((status, err), (0, ""))  # the bar is for the other run
        self.assertTrue(out.splitlines()[3].endswith("device  device / limit  device / best peer"))
        self.assertEqual(self.row(out, "size/1")[5:], ["1.20", "0.50", "80.0", "4.00", "0.50"])

    def test_keeps_the_order_of_the_program(self):
        _, out, _ = self.report(NOTE, runs("b/userlib", [2], family=7) + runs("a/userlib", [1], family=9))
        self.assertLess(out.index("b  "), out.index("a  "))
        _, out, _ = self.report(NOTE, runs("b/userlib", [2], family=9) + runs("a/userlib", [1], family=7))
        self.assertLess(out.index("a  "), out.index("b  "))

    def test_understands_units_and_wall_clock_names(self):
        measured = runs("run/userlib/real_time", [3], unit="us") + runs("run/limit/iterations:7", [2], unit="us")
        _, out, _ = self.report(NOTE, measured)
        self.assertEqual(self.row(out, "run"), ["run", "6,000", "2,000", "3.00"])

    def test_shows_counters(self):
        measured = runs("run/userlib", [3], calls=2.0) + runs("run/limit", [3], calls=1.0)
        status, out, _ = self.report(NOTE + bar("run", ["limit"], 2, 'counter = "calls"'), measured)
        self.assertEqual(status, 0)
        self.assertIn("calls at most 2 of limit", out)

    def test_draws_nothing_where_the_times_tell_little(self):
        for plot, expected in (("true", ["speed.svg"]), ("false", [])):
            plots = self.directory / f"plots_{plot}"
            status, _, _ = self.report(NOTE + f"plot = {plot}\n", arguments=[
                "--page", str(self.directory / "page.md"), "--plots", str(plots)])
            self.assertEqual(status, 0)
            self.assertEqual([path.name for path in plots.iterdir()], expected)

    # ---- Bars ----

    def test_meets_a_bar_exactly(self):
        status, out, _ = self.report(NOTE + bar("size/1", ["limit"], 1.2))
        self.assertEqual(status, 0)
        self.assertIn(" met", out)

    def test_fails_and_names_a_missed_bar(self):
        status, out, err = self.report(NOTE + bar("size/1", ["limit"], 1.19))
        self.assertEqual(status, 1)
        self.assertIn("MISSED", out)
        self.assertEqual(err, "report: speed: size/1: 1.20 of limit, the bar is 1.19\n")

    def test_compares_with_the_fastest_of_the_named_sides(self):
        self.assertEqual(self.report(NOTE + bar("size/1", ["libtwo", "libone"], 0.5))[0], 0)
        status, _, err = self.report(NOTE + bar("size/1", ["libtwo", "libone"], 0.49))
        self.assertEqual(status, 1)
        self.assertIn("0.50 of libone", err)

    def test_fails_for_a_counter(self):
        measured = runs("run/userlib", [3], calls=3.0) + runs("run/limit", [30], calls=1.0)
        status, _, err = self.report(NOTE + bar("run", ["limit"], 2, 'counter = "calls"'), measured)
        self.assertEqual(status, 1)
        self.assertIn("3.00 of limit, the bar is 2 for calls", err)

    def test_counts_more_than_nothing_as_too_much(self):
        measured = runs("run/userlib", [3], calls=1.0) + runs("run/limit", [3], calls=0.0)
        self.assertEqual(self.report(NOTE + bar("run", ["limit"], 2, 'counter = "calls"'), measured)[0], 1)
        measured = runs("run/userlib", [3], calls=0.0) + runs("run/limit", [3], calls=0.0)
        self.assertEqual(self.report(NOTE + bar("run", ["limit"], 2, 'counter = "calls"'), measured)[0], 0)

    def test_lets_an_explained_miss_pass_up_to_its_own_bar(self):
        reason = 'reason = "the kernel"\nexpected_at_most = 1.3'
        status, out, _ = self.report(NOTE + bar("size/1", ["limit"], 1.1, reason))
        self.assertEqual(status, 0)
        self.assertIn("missed, below 1.3 as expected", out)
        self.assertIn("the kernel", out)
        reason = 'reason = "the kernel"\nexpected_at_most = 1.15'
        status, out, err = self.report(NOTE + bar("size/1", ["limit"], 1.1, reason))
        self.assertEqual(status, 1)
        self.assertIn("the bar is 1.15", err)

    def test_says_a_reason_once_for_all_cases_that_it_is_about(self):
        reason = 'reason = "the kernel"\nexpected_at_most = 3'
        measured = self.measured + runs("size/2/userlib", [50] * 5, family=4) + runs("size/2/limit", [25] * 5, family=5)
        toml = NOTE + bar("size/1", ["limit"], 1.1, reason) + bar("size/2", ["limit"], 1.1, reason)
        _, out, _ = self.report(toml, measured)
        self.assertIn("  size/1, size/2: the kernel\n", out)
        self.assertEqual(out.count("the kernel"), 1)

    def test_is_quiet_but_for_misses(self):
        self.assertEqual(self.report(NOTE + bar("size/1", ["limit"], 1.2), arguments=["--quiet"]), (0, "", ""))
        status, out, err = self.report(NOTE + bar("size/1", ["limit"], 1.1), arguments=["--quiet"])
        self.assertEqual((status, out), (1, ""))
        self.assertIn("size/1", err)

    # ---- Wrong input ----

    def test_refuses_what_makes_no_sense(self):
        cases = [
            ("case that was not measured", NOTE + bar("size/2", ["limit"], 1), "case 'size/2' was not measured\n"),
            ("side that was not measured", NOTE + bar("size/1", ["libsix"], 1), "was not measured for 'libsix'"),
            ("counter that nobody has", NOTE + bar("size/1", ["limit"], 1, 'counter = "x"'), "no counter 'x'"),
            ("broken TOML", NOTE + "[[bar]\n", "speed.toml: not valid TOML:"),
            ("no question", 'note = "x"', "'question' is missing"),
            ("bar without ratio", NOTE + '[[bar]]\ncase = "size/1"\nagainst = ["limit"]', "'at_most' is missing"),
            ("unknown key", NOTE + bar("size/1", ["limit"], 1, "atmost = 2"), "unknown key 'atmost'"),
            ("ratio as a text", NOTE + bar("size/1", ["limit"], '"1"'), "'at_most' has the wrong type"),
            ("ratio of nothing", NOTE + bar("size/1", ["limit"], 0), "must be above 0"),
            ("nobody to compare with", NOTE + bar("size/1", [], 1), "must name at least one side"),
            ("reason without its bar", NOTE + bar("size/1", ["limit"], 1, 'reason = "x"'), "go together"),
            ("stricter expectation", NOTE + bar("size/1", ["limit"], 1, 'reason = "x"\nexpected_at_most = 0.9'),
             "must be above 'at_most'"),
        ]
        for name, toml, complaint in cases:
            with self.subTest(name):
                status, out, err = self.report(toml)
                self.assertEqual((status, out), (2, ""))
                self.assertIn(complaint, err)

    def test_refuses_results_that_cannot_be_used(self):
        failed = runs("size/1/userlib", [1])[:1]
        failed[0].update(error_occurred=True, error_message="the digests differ")
        cases = [
            ("failed run", failed, "size/1/userlib: the digests differ"),
            ("nothing", [], "nothing was measured"),
            ("name without a side", runs("userlib", [1]), "'userlib' is not of the form case/side"),
        ]
        for name, measured, complaint in cases:
            with self.subTest(name):
                status, _, err = self.report(NOTE, measured)
                self.assertEqual(status, 2)
                self.assertIn(complaint, err)
        (self.directory / "speed.json").write_text("{", encoding="utf-8")
        status, _, err = self.run_main(["speed"])
        self.assertEqual(status, 2)
        self.assertIn("speed.json: not the results of a benchmark", err)

    def test_refuses_missing_files(self):
        status, _, err = self.run_main(["speed"])
        self.assertEqual(status, 2)
        self.assertIn("speed.toml: no such file", err)
        (self.directory / "speed.toml").write_text(NOTE, encoding="utf-8")
        status, _, err = self.run_main(["speed"])
        self.assertEqual(status, 2)
        self.assertIn("speed.json: no such file", err)

    # ---- The page ----

    def page(self, toml, measured=None):
        arguments = ["--page", str(self.directory / "page.md"), "--plots", str(self.directory / "plots")]
        status, _, err = self.report(toml, measured, arguments)
        return status, err, (self.directory / "page.md").read_text(encoding="utf-8")

    def test_writes_a_page(self):
        status, _, page = self.page(NOTE + bar("size/1", ["limit"], 1.2))
        self.assertEqual(status, 0)
        for content in ["## How fast?", "Both do the same.", "Median of 5 repetitions",
                        "| size/1 | 30.0 | 25.0 | 60.0 | 90.0 | 1.20 | 0.50 |",
                        "| size/1 | at most 1.2 of limit | 1.20 | met |", "1 of 1 bars are met.",
                        "load 0.2 to 0.2.", "(plots/speed.svg)"]:
            self.assertIn(content, page)
        self.assertNotIn("secret", page)

    def test_keeps_what_was_counted(self):
        _, _, page = self.page(NOTE)
        self.assertIn("<!-- instructions -->\n<!-- end -->\n", page)
        counted = "<!-- instructions -->\n| an event | 734 |\n<!-- end -->\n"
        (self.directory / "page.md").write_text(f"long ago\n{counted}", encoding="utf-8")
        _, _, page = self.page(NOTE)
        self.assertEqual(page.count(counted), 1)
        self.assertEqual(page.count("<!-- instructions -->"), 1)
        self.assertNotIn("long ago", page)

    def test_writes_the_page_of_a_miss_too(self):
        status, _, page = self.page(NOTE + bar("size/1", ["limit"], 1.1))
        self.assertEqual(status, 1)
        self.assertIn("MISSED", page)
        self.assertIn("0 of 1 bars are met.", page)

    def test_draws_lines_for_sizes_and_dots_for_the_rest(self):
        measured = []
        for size in (1, 16, 100):
            measured += runs(f"size/{size}/userlib", [size * 3]) + runs(f"size/{size}/lib<two>", [size * 5])
        measured += runs("other/userlib", [0]) + runs("other/limit", [7])
        _, _, page = self.page(NOTE, measured)
        self.assertIn("(plots/speed_size.svg)", page)
        for name, shape in (("speed_size", "polyline"), ("speed", "circle")):
            svg = (self.directory / "plots" / f"{name}.svg").read_text(encoding="utf-8")
            xml.etree.ElementTree.fromstring(svg)  # well-formed, whatever the names are
            self.assertIn(f"<{shape}", svg)


if __name__ == "__main__":
    unittest.main()
