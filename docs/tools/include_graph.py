#!/usr/bin/env python3
"""Draws the includes of the library: a box for each subsystem, an arrow from each part to those that it uses.

    include_graph.py [--check] <source tree>

Writes docs/figures/includes.svg, or with --check fails if that is out of date. Nearly every part checks contracts: these
have a dot, and their arrows to the contracts are merged into one line at the right.
"""
import itertools
from collections import namedtuple
from pathlib import Path

import command
from includes import CodeMap, Tree

FIGURE = "docs/figures/includes.svg"
CONTRACTS = "nuv_assert"
WIDTH, LEFT, RIGHT = 760, 140, 690  # boxes are between LEFT and RIGHT
WALLS = (40, 705)  # of the rooms
BOX, ROW, PADDING, ALLEY, TOP = 28, 56, 14, 14, 20  # heights: a box, its row, around the rows, between rooms, above all
GAP = 14  # least distance of two boxes

STYLE = """text{font-family:-apple-system,'Segoe UI',Helvetica,Arial,'DejaVu Sans',sans-serif;font-size:13px}
.ground{fill:#ffffff}.room{fill:#f1f4f6;stroke:#d5dce1}.box{fill:#ffffff;stroke:#8fa3b0}.ink{fill:#1b1b1b}.soft{fill:#5c5c5c}
.name{font-weight:600}.line{fill:none;stroke:#51606a;stroke-width:1.4}.head,.dot{fill:#51606a}
.up{stroke:#c2410c;stroke-dasharray:5 3}.uphead{fill:#c2410c}
@media(prefers-color-scheme:dark){.ground{fill:#0d1117}.room{fill:#171d25;stroke:#2b323b}.box{fill:#0d1117;stroke:#6b7884}
.ink{fill:#ececec}.soft{fill:#a9b0b8}.line{stroke:#a9b6c0}.head,.dot{fill:#a9b6c0}.up{stroke:#ff9d5c}.uphead{fill:#ff9d5c}}"""
HEADS = "".join("""<marker id="%s" viewBox="0 0 8 8" refX="7" refY="4" markerWidth="8" markerHeight="8" orient="auto">
<path class="%s" d="M0 0.5L8 4L0 7.5z"/></marker>""" % (name, name) for name in ("head", "uphead"))

# The place in a row where the arrows to a part of a lower row pass through.
Way = namedtuple("Way", "used level")


def label(part):
    """The families of a part, without their common prefix: message, data, header."""
    first, *others = part.name.split(", ")
    return ", ".join([first] + [other.removeprefix(first) for other in others])


def width(item):
    return 0 if isinstance(item, Way) else 24 + round(7.2 * len(label(item)))


def mean(values, otherwise):
    values = list(values)
    return sum(values) / len(values) if values else otherwise


class Layout:
    """The positions: rows from the top, and in each of them boxes and ways from left to right."""

    def __init__(self, rows, arrows, shift):
        self.rows = [[*row[i * shift % len(row):], *row[:i * shift % len(row)]] for i, row in enumerate(rows)]
        self.shift = shift
        self.level = {part: i for i, row in enumerate(rows) for part in row}
        self.steps = sorted({step for arrow in arrows for step in self.steps_of(*arrow)}, key=str)
        self.beside = {item: [] for row in self.rows for item in row}
        for upper, lower in self.steps:
            self.beside[upper].append(lower)
            self.beside[lower].append(upper)
        self.x = {}
        for row in self.rows:
            self.spread(row)
        for _ in range(12):
            for row in self.rows:
                row.sort(key=lambda item: mean((self.x[other] for other in self.beside[item]), self.x[item]))
                self.spread(row)
        for _ in range(40):
            for row in self.rows:
                self.straighten(row)

    @property
    def cost(self):
        """Low for short and straight lines."""
        return sum((self.x[upper] - self.x[lower]) ** 2 for upper, lower in self.steps)

    def steps_of(self, user, used):
        """The steps of an arrow from row to row; arrows to the same part share their ways."""
        levels = range(self.level[user] + 1, self.level[used])
        stops = [user, *(Way(used, level) for level in levels), used]
        for way in stops[1:-1]:
            row = self.rows[way.level]
            if way not in row:
                row.insert(self.shift * 5 % (len(row) + 1), way)
        return itertools.pairwise(stops)

    def spread(self, row):
        gap = (RIGHT - LEFT - sum(map(width, row))) / (len(row) + 1)
        end = LEFT
        for item in row:
            self.x[item] = end + gap + width(item) / 2
            end += gap + width(item)

    def straighten(self, row):
        """Moves everything towards its connected items, as far as the neighbours allow."""
        wanted = [(self.x[item] + mean((self.x[other] for other in self.beside[item]), self.x[item])) / 2 for item in row]
        for i, item in enumerate(row):
            low = self.x[row[i - 1]] + self.distance(row[i - 1], item) if i else LEFT + width(item) / 2
            wanted[i] = self.x[item] = max(wanted[i], low)
        for i in range(len(row) - 1, -1, -1):
            after = row[i + 1:i + 2]
            high = self.x[after[0]] - self.distance(row[i], after[0]) if after else RIGHT - width(row[i]) / 2
            self.x[row[i]] = min(self.x[row[i]], high)

    @staticmethod
    def distance(left, right):
        return (width(left) + width(right)) / 2 + GAP


class Picture:
    def __init__(self, code_map, arrows):
        self.code_map = code_map
        self.contracts = code_map.part_of(CONTRACTS)
        self.up = [arrow for arrow in arrows if arrow in code_map.exceptions]
        self.checking = {user for user, used in arrows if used == self.contracts}
        self.down = [arrow for arrow in arrows if arrow not in self.up and arrow[1] != self.contracts]
        rows = [row for folder in reversed(code_map.folders) for row in self.rows_of(folder)]
        # The result depends on the initial order, so try several.
        self.layout = min((Layout(rows, self.down, shift) for shift in range(20)), key=lambda layout: layout.cost)
        self.x, self.y, self.rooms, top = self.layout.x, {}, {}, TOP
        for folder, rows in itertools.groupby(zip(rows, self.layout.rows), key=lambda pair: pair[0][0].folder):
            rows = list(rows)
            height = ROW * len(rows) - (ROW - BOX) + 2 * PADDING
            self.rooms[folder] = (top, height)
            for i, (_, row) in enumerate(rows):
                self.y.update(dict.fromkeys(row, top + PADDING + BOX / 2 + ROW * i))
            top += height + ALLEY
        self.height = top + 54

    def rows_of(self, folder):
        """The parts of a subsystem: users above the parts that they use, unconnected parts at the top."""
        parts = [part for part in self.code_map.parts if part.folder == folder]
        inside = {(user, used) for user, used in self.down if {user, used} <= set(parts)}
        inside |= {(user, self.contracts) for user in self.checking & set(parts) if self.contracts in parts}

        def depth(part):
            return 1 + max((depth(used) for user, used in inside if user == part), default=0)

        lowest = {part: depth(part) for part in parts}
        joined = {part for arrow in inside for part in arrow}
        lowest.update((part, max(lowest.values())) for part in parts if part not in joined)
        return [[part for part in parts if lowest[part] == level] for level in range(max(lowest.values()), 0, -1)]

    def draw(self):
        yield ('<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 %d %d" width="%d" height="%d" role="img" '
               'aria-label="The includes of the library">' % (WIDTH, self.height, WIDTH, self.height))
        yield "<title>The includes of the library</title>\n<style>%s</style>\n<defs>%s</defs>" % (STYLE, HEADS)
        yield '<rect class="ground" width="%d" height="%d" rx="8"/>' % (WIDTH, self.height)
        for folder, (top, height) in self.rooms.items():
            yield '<rect class="room" x="%d" y="%g" width="%d" height="%g" rx="6"/>' % (
                WALLS[0], top, WALLS[1] - WALLS[0], height)
            yield text(WALLS[0] + 12, top + height / 2 + 4, "ink name", folder)
        yield self.draw_contracts()
        yield from (self.draw_step(*step) for step in self.layout.steps)
        yield from (self.draw_exception(*arrow) for arrow in self.up)
        for row in self.layout.rows:
            yield from (self.draw_box(part) for part in row if not isinstance(part, Way))
        yield from self.draw_legend()
        yield "</svg>\n"

    def draw_box(self, part):
        left, top = self.x[part] - width(part) / 2, self.y[part] - BOX / 2
        box = '<rect class="box" x="%.1f" y="%.1f" width="%d" height="%d" rx="5"/>' % (left, top, width(part), BOX)
        name = text(self.x[part], self.y[part] + 4.5, "ink", label(part), "middle")
        return box + name + (dot(left + width(part), top) if part in self.checking else "")

    def draw_step(self, upper, lower):
        top, bottom = self.y[upper] + BOX / 2, self.y[lower] - BOX / 2
        bend = (top + bottom) / 2
        way = "M%.1f %.1fC%.1f %.1f %.1f %.1f %.1f %.1f" % (
            self.x[upper], top, self.x[upper], bend, self.x[lower], bend, self.x[lower], bottom)
        return line(way + "v%d" % BOX, head="") if isinstance(lower, Way) else line(way)

    def draw_contracts(self):
        """From each room that checks contracts to a line at the right, which ends at the contracts."""
        rooms = [room for folder, room in self.rooms.items() if any(part.folder == folder for part in self.checking)]
        middles = [top + height / 2 for top, height in rooms]
        trunk = WIDTH - 24
        ways = ["M%d %gH%d" % (WALLS[1], middle, trunk) for middle in middles[:-1]]
        ways.append("M%d %gV%g" % (trunk, middles[0], self.y[self.contracts]))
        return line("".join(ways) + "H%.1f" % (self.x[self.contracts] + width(self.contracts) / 2))

    def draw_exception(self, user, used):
        if user.folder == used.folder:
            way = "M%.1f %.1fL%.1f %.1f" % (self.x[user] + 14, self.y[user] - BOX / 2,
                                            self.x[used] + 14, self.y[used] + BOX / 2)
        else:
            way = "M%.1f %.1fH%dV%.1fH%.1f" % (self.x[user] - width(user) / 2, self.y[user], WALLS[0] // 2,
                                               self.y[used], self.x[used] - width(used) / 2)
        return line(way, "line up", "uphead")

    def draw_legend(self):
        y = self.height - 46
        yield dot(56, y - 4)
        yield text(76, y, "soft", "checks contracts, and so uses %s: the line at the right" % self.contracts.name)
        yield line("M44 %gH66" % (y + 20), "line up", "uphead")
        yield text(76, y + 24, "soft", "points up, on purpose")


def line(way, kind="line", head="head"):
    return '<path class="%s"%s d="%s"/>' % (kind, head and ' marker-end="url(#%s)"' % head, way)


def text(x, y, kind, content, anchor="start"):
    return '<text x="%.1f" y="%.1f" class="%s" text-anchor="%s">%s</text>' % (x, y, kind, anchor, content)


def dot(x, y):
    return '<circle class="dot" cx="%.1f" cy="%.1f" r="4"/>' % (x, y)


def main(root, *, check=False):
    root = Path(root)
    code_map = CodeMap(root)
    drawn = "\n".join(Picture(code_map, Tree(root).uses(code_map)).draw())
    figure = root / FIGURE
    if not check:
        figure.write_text(drawn, encoding="utf-8")
    elif not figure.is_file() or figure.read_text(encoding="utf-8") != drawn:
        print("%s: must be what docs/tools/include_graph.py draws: run it" % FIGURE)
        return 1
    return 0


command.run(main, __doc__)
