"""Draws a plot as SVG, by hand: bars with whiskers from minimum to maximum, or lines on two logarithmic axes.

Colours of medium brightness on no background: they read on white and on black.
"""

import math
import re
from xml.sax.saxutils import escape

from report.table import number, plain, with_unit

WIDTH = 760
LEFT, RIGHT, TOP, BASE = 80, 32, 40, 326  # of the plot within its axes; labels and legend stand below
TEXT = "#808080"
GRID = "#80808055"
# A peer has the same colour in every plot, and so has a library: shades of it where it has several series. What else
# is shared takes the rest.
PEERS = {"condvar": "#d9772b", "poco_queue": "#c9a227", "zeromq": "#3f9d5f", "nats": "#b0509a", "nats_own": "#8a2f4f",
         "jetstream": "#7a6fd0"}
LIBRARIES = (("#3b82c4", "#7fb3e6", "#1d4f80"), ("#c8504f", "#e69a99", "#7d2a29"), ("#2bb5b8", "#86dcde", "#14696b"),
             ("#6f9a2f", "#aacd76", "#415c17"), ("#8d6e53", "#c2a78f", "#544031"))
REST = ("#d46a9f", "#a08ab8")
FLOOR = "#909090"
LABEL_HEIGHT = 14
LOGARITHMIC_FROM = 20  # largest over smallest


def draw(chart, series):
    """The text of an SVG file. series: {Series: {x: Spread}}, not empty."""
    names = in_order(series)
    colours = colours_of(names)
    canvas = Canvas(chart, series)
    key, height = legend(names, colours, BASE + 24 + LABEL_HEIGHT * canvas.label_lines())
    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {height}" '
             f'font-family="sans-serif" font-size="12" fill="{TEXT}">',
             f"<title>{escape(chart.title)}</title>",
             text(WIDTH / 2, 20, chart.title, anchor="middle", size=14)]
    parts += canvas.grid()
    parts += canvas.lines(names, colours) if chart.lines else canvas.bars(names, colours)
    return "\n".join(parts + key + ["</svg>"]) + "\n"


def in_order(series):
    """The libraries one after the other, then the peers by name, then floors: the same in every run."""
    def place(one):
        rank = 2 if is_floor(one) else 1 if one.place is None else 0
        return rank, one.place or 0, numbers_in(one.name), one.name

    return sorted(series, key=place)


def is_floor(one):
    return one.name.startswith("floor")


def colours_of(names):
    """By series. names: in order."""
    colours = {}
    shades = {}  # how many of a library's are taken
    rest = 0
    for one in names:
        if one.name in PEERS:
            colours[one] = PEERS[one.name]
        elif is_floor(one):
            # One that belongs to one line of the service has its colour.
            colours[one] = next((colours[other] for other in names if other in colours and other.place == one.place
                                 and other.name == one.name.replace("floor, ", "service, ", 1)), FLOOR)
        elif one.place is not None:
            of_library = LIBRARIES[one.place % len(LIBRARIES)]
            colours[one] = of_library[shades.setdefault(one.place, 0) % len(of_library)]
            shades[one.place] += 1
        else:
            colours[one] = REST[rest % len(REST)]
            rest += 1
    return colours


def numbers_in(label):
    """What labels are sorted by: S = 8 before S = 64."""
    return [float(part) for part in re.findall(r"\d+", str(label))]


def words_of(label):
    """The lines in which it stands below the axis."""
    return label.split(", ")


def text(x, y, content, anchor="start", size=12):
    return f'<text x="{x:.1f}" y="{y:.1f}" text-anchor="{anchor}" font-size="{size}">{escape(content)}</text>'


def line(x1, y1, x2, y2, colour, width=1.0):
    return f'<line x1="{x1:.1f}" y1="{y1:.1f}" x2="{x2:.1f}" y2="{y2:.1f}" stroke="{colour}" stroke-width="{width}"/>'


def legend(names, colours, y):
    """Its parts, and the height of a picture that it ends. y: of its first line."""
    parts = []
    x = LEFT
    for one in names:
        width = 24 + 7 * len(one.label)
        if x > LEFT and x + width > WIDTH - RIGHT:
            x, y = LEFT, y + 16
        parts.append(f'<rect x="{x}" y="{y - 9}" width="10" height="10" fill="{colours[one]}"/>')
        parts.append(text(x + 14, y, one.label))
        x += width
    return parts, y + 14


class Axis:
    """Maps values to places between two pixels, linearly from 0 or by logarithm."""

    def __init__(self, values, start, end, logarithmic):
        self.logarithmic = logarithmic
        self._start = start
        self._end = end
        high = max(values)
        if logarithmic:
            self._low = math.floor(math.log10(min(values)))
            self._high = max(math.ceil(math.log10(high)), self._low + 1)
        else:
            self._low, self._high = 0.0, high * 1.05 or 1.0

    def place(self, value):
        at = math.log10(value) if self.logarithmic else value
        return self._start + (at - self._low) / (self._high - self._low) * (self._end - self._start)

    def ticks(self):
        if self.logarithmic:
            return [10.0 ** power for power in range(int(self._low), int(self._high) + 1)]
        raw = self._high / 5
        magnitude = 10 ** math.floor(math.log10(raw))
        step = next(factor * magnitude for factor in (1, 2, 5, 10) if factor * magnitude >= raw)
        return [step * count for count in range(int(self._high / step) + 1)]


class Canvas:
    """The plot within its axes."""

    def __init__(self, chart, series):
        self._chart = chart
        self._series = series
        spreads = [spread for by_x in series.values() for spread in by_x.values()]
        values = [value for spread in spreads for value in (spread.low, spread.high)]
        positive = min(values) > 0
        logarithmic = positive and (chart.lines or max(values) > LOGARITHMIC_FROM * min(values))
        self._y = Axis(values, BASE, TOP, logarithmic)
        # Labels without a number keep their order.
        self._xs = sorted(dict.fromkeys(x for by_x in series.values() for x in by_x), key=numbers_in)
        if chart.lines:
            self._x = Axis(self._xs, LEFT, WIDTH - RIGHT, True)

    def label_lines(self):
        return 1 if self._chart.lines else max(len(words_of(x)) for x in self._xs)

    def grid(self):
        parts = []
        digits = number if self._chart.unit == "bytes" else plain  # of which a thousand is no kilobyte
        for value in self._y.ticks():
            y = self._y.place(value)
            parts.append(line(LEFT, y, WIDTH - RIGHT, y, GRID))
            parts.append(text(LEFT - 6, y + 4, with_unit(value, self._chart.unit, digits), anchor="end"))
        return parts

    def bars(self, names, colours):
        parts = []
        group = (WIDTH - RIGHT - LEFT) / len(self._xs)
        for place, x in enumerate(self._xs):
            present = [name for name in names if x in self._series[name]]
            width = min(group * 0.8 / len(present), 48)
            left = LEFT + (place + 0.5) * group - width * len(present) / 2
            for count, words in enumerate(words_of(x)):
                parts.append(text(LEFT + (place + 0.5) * group, BASE + 16 + LABEL_HEIGHT * count, words,
                                  anchor="middle"))
            for count, name in enumerate(present):
                parts += self._bar(self._series[name][x], left + count * width, width, colours[name])
        return parts

    def _bar(self, spread, left, width, colour):
        top = self._y.place(spread.median)
        middle = left + width / 2
        return [f'<rect x="{left + 1:.1f}" y="{top:.1f}" width="{width - 2:.1f}" height="{max(BASE - top, 0):.1f}" '
                f'fill="{colour}"><title>{with_unit(spread.median, self._chart.unit)}</title></rect>',
                line(middle, self._y.place(spread.low), middle, self._y.place(spread.high), TEXT, 1.5)]

    def lines(self, names, colours):
        parts = [text(self._x.place(x), BASE + 16, plain(x), anchor="middle") for x in self._xs]
        for name in names:
            points = sorted(self._series[name].items())
            path = " ".join(f"{self._x.place(x):.1f},{self._y.place(spread.median):.1f}" for x, spread in points)
            dashes = ' stroke-dasharray="6 4"' if is_floor(name) else ""
            parts.append(f'<polyline points="{path}" fill="none" stroke="{colours[name]}" stroke-width="2"{dashes}/>')
            for x, spread in points:
                at = self._x.place(x)
                parts.append(line(at, self._y.place(spread.low), at, self._y.place(spread.high), colours[name], 1.5))
                parts.append(f'<circle cx="{at:.1f}" cy="{self._y.place(spread.median):.1f}" r="3" '
                             f'fill="{colours[name]}"/>')
        return parts
