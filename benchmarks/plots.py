"""Plots of measured times as SVG: readable on light and dark ground, in colours that colour-blind readers can tell apart,
with our side in front.
"""

import math
import re
from html import escape

FONT = "font-family: -apple-system, 'Segoe UI', Helvetica, Arial, 'DejaVu Sans', sans-serif"
# Ours, the limit, and the peers in turn, each with its colours on light and on dark ground.
OURS_COLOUR = ("#0063b1", "#5db8ff")
LIMIT_COLOUR = ("#6b6b6b", "#a8a8a8")
PEER_COLOURS = [
    ("#c2410c", "#ff9d5c"),
    ("#00785a", "#3fd3a4"),
    ("#9c3587", "#eb8fd5"),
    ("#8a6d00", "#e6c229"),
    ("#5b4bb5", "#b3a6ff"),
]
WIDTH = 760
MARGIN_RIGHT = 110
MARGIN_TOP = 74
ROW = 30
LINE_PLOT_HEIGHT = 430


# ---- Small pieces ----


def style(sides, ours, limit):
    colours = {}
    peers = [side for side in sides if side not in (ours, limit)]
    for i, side in enumerate(peers):
        colours[side] = PEER_COLOURS[i % len(PEER_COLOURS)]
    colours[ours] = OURS_COLOUR
    colours[limit] = LIMIT_COLOUR

    def rules(which, ground, ink, soft, grid):
        lines = [f".ground{{fill:{ground}}}.ink{{fill:{ink}}}.soft{{fill:{soft}}}",
                 f".grid{{stroke:{grid};stroke-width:1}}.halo{{stroke:{ground}}}"]
        for i, side in enumerate(sides):
            lines.append(f".s{i}{{fill:{colours[side][which]};stroke:{colours[side][which]}}}")
        return "".join(lines)

    light = rules(0, "#ffffff", "#1b1b1b", "#5c5c5c", "#e3e3e3")
    dark = rules(1, "#0d1117", "#ececec", "#a9b0b8", "#2b323b")
    common = f"text{{{FONT};font-size:13px}}.title{{font-size:17px;font-weight:600}}.strong{{font-weight:700}}"
    common += ".line{fill:none}"
    return f"<style>{common}{light}@media(prefers-color-scheme:dark){{{dark}}}.label{{stroke:none}}</style>"


def text(x, y, content, classes="ink", anchor="start"):
    return f'<text x="{x:.1f}" y="{y:.1f}" class="{classes}" text-anchor="{anchor}">{escape(content)}</text>'


def line(x1, y1, x2, y2, classes="grid", more=""):
    return f'<line x1="{x1:.1f}" y1="{y1:.1f}" x2="{x2:.1f}" y2="{y2:.1f}" class="{classes}"{more}/>'


def marker(shape, x, y, size, classes):
    """Each peer has its own shape, so that colour is not the only difference."""
    tail = f'class="{classes}" stroke-width="1.5"/>'
    points = {
        "square": [(-1, -1), (1, -1), (1, 1), (-1, 1)],
        "triangle": [(0, -1.25), (1.15, 0.9), (-1.15, 0.9)],
        "diamond": [(0, -1.35), (1.35, 0), (0, 1.35), (-1.35, 0)],
        "wedge": [(0, 1.25), (1.15, -0.9), (-1.15, -0.9)],
    }.get(shape)
    if points is None:
        return f'<circle cx="{x:.1f}" cy="{y:.1f}" r="{size:.1f}" {tail}'
    path = " ".join(f"{x + dx * size * 0.9:.1f},{y + dy * size * 0.9:.1f}" for dx, dy in points)
    return f'<polygon points="{path}" {tail}'


def shape_of(side, sides, ours, limit):
    peers = [each for each in sides if each not in (ours, limit)]
    if side in (ours, limit):
        return "circle"
    return ["square", "triangle", "diamond", "wedge"][peers.index(side) % 4]


def duration(nanoseconds):
    for unit, size in (("s", 1e9), ("ms", 1e6), ("µs", 1e3)):
        if nanoseconds >= size:
            return f"{nanoseconds / size:g} {unit}"
    return f"{nanoseconds:g} ns"


class LogAxis:
    """Converts values to positions, and places the ticks."""

    def __init__(self, values, start, end):
        low, high = math.log10(min(values)), math.log10(max(values))
        room = max((high - low) * 0.06, 0.04)
        self.low, self.high = low - room, high + room
        self.start, self.end = start, end

    def place(self, value):
        part = (math.log10(value) - self.low) / (self.high - self.low)
        return self.start + part * (self.end - self.start)

    def ticks(self):
        for mantissas in ((1,), (1, 3), (1, 2, 5), (1, 1.5, 2, 3, 4, 5, 6, 7, 8, 9)):
            ticks = []
            for exponent in range(math.floor(self.low), math.ceil(self.high) + 1):
                ticks += [mantissa * 10.0**exponent for mantissa in mantissas]
            ticks = [tick for tick in ticks if self.low <= math.log10(tick) <= self.high]
            if len(ticks) >= 4:
                break
        return ticks


def spread_labels(labels, distance, low, high):
    """Moves labels (place, text, ...) apart until none overlaps its neighbour, between low and high."""
    labels = sorted(labels)
    places = [label[0] for label in labels]
    for _ in range(200):
        moved = False
        for i in range(len(places) - 1):
            overlap = distance - (places[i + 1] - places[i])
            if overlap > 0.01:
                places[i] -= overlap / 2
                places[i + 1] += overlap / 2
                moved = True
        for i, place in enumerate(places):
            places[i] = min(max(place, low), high)
        if not moved:
            break
    return [(place, *label[1:]) for place, label in zip(places, labels)]


def document(width, height, title, subtitle, body, sides, ours, limit):
    return "\n".join([
        f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {height:.0f}" width="{width}" '
        f'height="{height:.0f}" role="img" aria-label="{escape(title, quote=True)}">',
        f"<title>{escape(title)}</title>",
        style(sides, ours, limit),
        f'<rect class="ground" width="{width}" height="{height:.0f}" rx="8"/>',
        text(20, 30, title, "ink title"),
        text(20, 51, subtitle, "soft"),
        *body,
        "</svg>",
    ]) + "\n"


# ---- Times over a number ----


def line_plot(title, family, points, sides, ours, limit):
    """points: number -> side -> nanoseconds."""
    numbers = sorted(points)
    left, right, top = 78, WIDTH - MARGIN_RIGHT, MARGIN_TOP
    bottom = top + LINE_PLOT_HEIGHT - 130
    values = [value for measured in points.values() for value in measured.values()]
    across = LogAxis(numbers, left, right)
    up = LogAxis(values, bottom, top)
    body = []
    for tick in up.ticks():
        y = up.place(tick)
        body += [line(left, y, right, y), text(left - 10, y + 4.5, duration(tick), "soft", "end")]
    for number in numbers:
        x = across.place(number)
        body += [line(x, bottom, x, bottom + 5), text(x, bottom + 22, f"{number:g}", "soft", "middle")]
    body.append(text((left + right) / 2, bottom + 44, f"{family.strip('/')} …", "soft", "middle"))
    labels = []
    # The last one drawn is in front.
    for side in sorted(in_order(points.values(), ours, limit), key=lambda each: (each == ours, each != limit)):
        i = sides.index(side)
        has = [number for number in numbers if side in points[number]]
        path = " ".join(f"{across.place(number):.1f},{up.place(points[number][side]):.1f}" for number in has)
        width = 3.5 if side == ours else 1.8
        dashes = ' stroke-dasharray="6 5"' if side == limit else ""
        body.append(f'<polyline points="{path}" class="s{i} line" style="fill:none" stroke-width="{width}"{dashes}/>')
        if side != limit:
            shape = shape_of(side, sides, ours, limit)
            size = 5.5 if side == ours else 4.2
            body += [marker(shape, across.place(n), up.place(points[n][side]), size, f"s{i}") for n in has]
        labels.append((up.place(points[has[-1]][side]), side, i))
    for y, side, i in spread_labels(labels, 17, top, bottom):
        body.append(text(right + 12, y + 4.5, side, f"s{i} label" + (" strong" if side == ours else "")))
    return document(WIDTH, bottom + 62, title, "median time per operation; both scales are logarithmic", body, sides,
                    ours, limit)


# ---- Times of single cases ----


def dot_plot(title, cases, sides, ours, limit):
    # About 7 units per letter of the longest name.
    left = 30 + max(len(case) for case in cases) * 7.3
    right = WIDTH - 40
    legend = MARGIN_TOP
    top = legend + 24
    bottom = top + len(cases) * ROW
    values = [value for measured in cases.values() for value in measured.values()]
    across = LogAxis(values, left, right)
    body = []
    x = 24.0
    for side in in_order(cases.values(), ours, limit):
        i = sides.index(side)
        body.append(limit_mark(x, legend - 4, i) if side == limit else
                    marker(shape_of(side, sides, ours, limit), x, legend - 4, 5.5 if side == ours else 4.4, f"s{i}"))
        body.append(text(x + 11, legend, side, "ink" + (" strong" if side == ours else "")))
        x += 36 + 7.4 * len(side)
    last = -math.inf
    for tick in across.ticks():
        x = across.place(tick)
        body.append(line(x, top, x, bottom))
        if x - last > 58:
            body.append(text(x, bottom + 20, duration(tick), "soft", "middle"))
            last = x
    for row, (case, measured) in enumerate(cases.items()):
        y = top + (row + 0.5) * ROW
        body.append(text(left - 14, y + 4.5, case, "ink", "end"))
        ends = [across.place(value) for value in measured.values()]
        body.append(line(min(ends), y, max(ends), y, "grid", ' style="stroke-width:3"'))
        for side in sorted(measured, key=lambda each: (each == ours, each != limit)):
            i = sides.index(side)
            place = across.place(measured[side])
            if side == limit:
                body.append(limit_mark(place, y, i))
            else:
                shape = shape_of(side, sides, ours, limit)
                body.append(marker(shape, place, y, 6.5 if side == ours else 4.6, f"s{i}"))
    return document(WIDTH, bottom + 38, title, "median time per operation, on a logarithmic scale", body, sides, ours,
                    limit)


def limit_mark(x, y, i):
    return line(x, y - 10, x, y + 10, f"s{i}", ' style="stroke-width:3"')


# ---- The plots of a question ----


def in_order(measured, ours, limit):
    seen = dict.fromkeys(side for sides in measured for side in sides)
    return sorted(seen, key=lambda side: {ours: 0, limit: 1}.get(side, 2))


def families_of(cases):
    """Groups of at least three cases that differ only in a number: prefix -> number -> case."""
    families = {}
    for case in cases:
        match = re.fullmatch(r"(.*/|)(\d+)", case)
        if match and int(match[2]) > 0:
            families.setdefault(match[1], {})[int(match[2])] = case
    return {prefix: numbers for prefix, numbers in families.items() if len(numbers) >= 3}


def draw(title, cases, ours, limit):
    """Yields (suffix of the file name, SVG). cases: case -> side -> object with median()."""
    medians = {case: {side: max(measured.median(), 0.01) for side, measured in sides.items()}
               for case, sides in cases.items()}
    # A side has the same style in all plots of a question.
    sides = in_order(medians.values(), ours, limit)
    alone = dict(medians)
    for prefix, numbers in families_of(medians).items():
        points = {number: medians[case] for number, case in numbers.items()}
        suffix = "_" + prefix.strip("/").replace("/", "_") if prefix else "_sizes"
        yield suffix, line_plot(title, prefix, points, sides, ours, limit)
        for case in numbers.values():
            del alone[case]
    if alone:
        yield "", dot_plot(title, alone, sides, ours, limit)
