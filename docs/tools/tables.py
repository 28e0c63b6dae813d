"""The tables of docs/footprint.md, between "<!-- footprint: NAME -->" and "<!-- end -->": row to column to text."""
import re


def read_tables(page):
    tables = {}
    for name, block in re.findall(r"<!-- footprint: (\w+) -->\n(.*?)<!-- end -->", page, re.S):
        lines = [[cell.strip() for cell in line.strip("|\n").split("|")] for line in block.splitlines() if line]
        tables[name] = {cells[0]: dict(zip(lines[0][1:], cells[1:])) for cells in lines[2:]} if lines else {}
    return tables


def as_table(rows):
    if not rows:
        return ""
    columns = list(dict.fromkeys(column for figures in rows.values() for column in figures))
    lines = ["| | %s |" % " | ".join(columns), "|---|%s" % ("---:|" * len(columns))]
    for row, figures in rows.items():
        lines.append("| %s | %s |" % (row, " | ".join(str(figures.get(column, "")) for column in columns)))
    return "\n".join(lines) + "\n"


def write_tables(page, tables):
    """The page with these tables."""
    return re.sub(r"(<!-- footprint: (\w+) -->\n).*?(<!-- end -->)",
                  lambda match: match.group(1) + as_table(tables[match.group(2)]) + match.group(3), page, flags=re.S)
