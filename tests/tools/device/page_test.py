#!/usr/bin/env python3
"""Tests tests/device/page.py and docs/tools/tables.py: how tables of docs/footprint.md are compared and written."""

import sys
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[3]
sys.path.insert(0, str(ROOT / "tests/device"))
sys.dont_write_bytecode = True

import page  # noqa: E402
import tables  # noqa: E402

TEXT = """# Footprint

<!-- footprint: library -->
| | text | data |
|---|---:|---:|
| vax, `-O2` | 100 |  |
<!-- end -->

In KiB:

<!-- footprint: board_memory -->
| | 1 | 20 |
|---|---:|---:|
| hog | 100 / 200 | 1000 / 4000 |
<!-- end -->

<!-- footprint: board_start -->
<!-- end -->

The end.
"""
ROWS = {"hog": {"1": "100 / 200", "20": "1000 / 4000"}}


def rows_with(cell):
    return {"hog": {"1": "100 / 200", "20": cell}}


class PageTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.page = page.Page(Path(folder.name) / "page.md")
        self.page.path.write_text(TEXT, encoding="utf-8")

    def differences(self, rows, share=0.05, few=8):
        return self.page.differences("board_memory", rows, share, few)

    def test_equal(self):
        self.assertEqual(self.differences(ROWS, 0, 0), [])

    def test_takes_a_share_more_or_less(self):
        for cell in ("1050 / 4000", "950 / 4200", "1000 / 3800"):
            self.assertEqual(self.differences(rows_with(cell)), [])
        for cell in ("1051 / 4000", "949 / 4000", "1000 / 4201", "1000 / 3799"):
            self.assertEqual(self.differences(rows_with(cell)), ["hog, 20: %s; the page says 1000 / 4000" % cell])

    def test_takes_a_few_more_or_less(self):
        self.assertEqual(self.differences(rows_with("1060 / 3940"), few=60), [])
        self.assertEqual(len(self.differences(rows_with("1061 / 4000"), few=60)), 1)

    def test_other_numbers_in_a_cell(self):
        for cell in ("1000", "1000 / 4000 / 1", "", "none"):
            self.assertEqual(len(self.differences(rows_with(cell))), 1)

    def test_other_rows_and_columns(self):
        for rows in ({}, {"pig": ROWS["hog"]}, {**ROWS, "pig": ROWS["hog"]}, {"hog": {"1": "100 / 200"}},
                     {"hog": {**ROWS["hog"], "40": "1"}}):
            self.assertEqual(self.differences(rows), ["the table board_memory has other rows or columns"])

    def test_update_writes_one_table(self):
        self.page.update("board_memory", rows_with("5 / 6"))
        self.assertEqual(self.page.path.read_text(encoding="utf-8"), TEXT.replace("1000 / 4000", "5 / 6"))
        self.assertEqual(self.differences(rows_with("5 / 6"), 0, 0), [])

    def test_update_fills_an_empty_table(self):
        self.assertEqual(len(self.page.differences("board_start", {"hog": {"first wait": 7}}, 0, 0)), 1)
        self.page.update("board_start", {"hog": {"first wait": 7}})
        written = "<!-- footprint: board_start -->\n| | first wait |\n|---|---:|\n| hog | 7 |\n<!-- end -->"
        self.assertIn(written, self.page.path.read_text(encoding="utf-8"))
        self.assertEqual(self.page.differences("board_start", {"hog": {"first wait": 7}}, 0, 0), [])

    def test_no_such_table(self):
        with self.assertRaises(KeyError):
            self.page.differences("board", {}, 0, 0)


class FootprintTest(unittest.TestCase):
    """docs/footprint.md itself."""

    def setUp(self):
        self.text = page.Page().path.read_text(encoding="utf-8")

    def test_has_the_tables_of_the_board(self):
        read = tables.read_tables(self.text)
        for name in ("board_memory", "board_start"):
            self.assertGreater(len(read[name]), 3)

    def test_is_as_it_would_be_written(self):
        self.assertEqual(tables.write_tables(self.text, tables.read_tables(self.text)), self.text)


if __name__ == "__main__":
    unittest.main()
