"""The tables of docs/footprint.md with what is measured on the board: tests compare with them, or write them."""
import re
import sys

from recipes import ROOT

sys.path.insert(0, str(ROOT / "docs/tools"))

from tables import read_tables, write_tables  # noqa: E402


class Page:
    def __init__(self, path=ROOT / "docs/footprint.md"):
        self.path = path

    def differences(self, name, rows, share, few):
        """Where a table differs from these rows (row to column to text), in sentences. A number may differ by a share of
        the page's, or by a few."""
        table = self._tables()[name]
        if {row: list(cells) for row, cells in table.items()} != {row: list(cells) for row, cells in rows.items()}:
            return ["the table %s has other rows or columns" % name]
        return ["%s, %s: %s; the page says %s" % (row, column, cell, table[row][column])
                for row, cells in rows.items() for column, cell in cells.items()
                if not is_near(numbers(cell), numbers(table[row][column]), share, few)]

    def update(self, name, rows):
        tables = self._tables()
        tables[name] = rows
        self.path.write_text(write_tables(self._text(), tables), encoding="utf-8")

    def _tables(self):
        return read_tables(self._text())

    def _text(self):
        return self.path.read_text(encoding="utf-8")


def numbers(cell):
    return [float(number) for number in re.findall(r"\d+(?:\.\d+)?", str(cell))]


def is_near(measured, said, share, few):
    return len(measured) == len(said) and all(abs(a - b) <= max(few, b * share) for a, b in zip(measured, said))
