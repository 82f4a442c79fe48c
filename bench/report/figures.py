"""Measured figures: reading them, finding them again, and the arithmetic over the rounds.

A figure is what a case has printed as one line of JSON, in seconds, bytes or plain numbers whatever unit it was printed
in, together with the round, the case and the library. Ratios are made within a round, from figures that were measured
within minutes of one another; median, minimum and maximum are taken over the rounds.
"""

import json
import math
import statistics
from collections import namedtuple

Figure = namedtuple("Figure", "scenario contestant parameters metric unit value round case library")
Spread = namedtuple("Spread", "median low high count")

# What a unit is in the plain one of its kind.
UNITS = {
    "s": ("s", 1.0), "ms": ("s", 1e-3), "us": ("s", 1e-6), "ns": ("s", 1e-9),
    "bytes": ("bytes", 1.0), "B": ("bytes", 1.0), "KB": ("bytes", 1024.0), "MB": ("bytes", 1024.0 * 1024.0),
    "1": ("", 1.0), "%": ("", 0.01),
}


class Missing(Exception):
    """A figure that a row needs was not measured; the text names it.

    For a single figure scenario, contestant and parameters tell the case that was to bring it; otherwise scenario is
    None.
    """

    def __init__(self, text, scenario=None, contestant=None, parameters=None):
        super().__init__(text)
        self.scenario = scenario
        self.contestant = contestant
        self.parameters = parameters or {}

    def is_of(self, case):
        """Whether the case of this name, SCENARIO/CONTESTANT/NAME=NUMBER/..., should have brought the figure."""
        names = case.split("/")
        given = [name.split("=") for name in names if "=" in name]
        return (names[:2] == [self.scenario, self.contestant]
                and all(f"{self.parameters[name]:g}" == number for name, number in given if name in self.parameters))


def parse_line(line, round_number, case, library):
    """The figure of one line of output. ValueError for a line that is none."""
    try:
        fields = json.loads(line)
        unit, factor = UNITS.get(fields["unit"], (fields["unit"], 1.0))
        value = float(fields["value"]) * factor
        figure = Figure(fields["scenario"], fields["contestant"], dict(fields["parameters"]), fields["metric"], unit,
                        value, round_number, case, library)
    except (KeyError, TypeError, AttributeError, json.JSONDecodeError) as error:
        raise ValueError(f"not a figure: {line!r}") from error
    if not math.isfinite(value):
        raise ValueError(f"not a finite figure: {line!r}")
    return figure


class Round:
    """The figures of one round that hold for one library: its own, and those that no library has a part in."""

    def __init__(self, figures):
        self._figures = list(figures)

    def find(self, scenario, contestant, metric, **parameters):
        """The figures of these names whose parameters include the given ones."""
        return [figure for figure in self._figures
                if (figure.scenario, figure.contestant, figure.metric) == (scenario, contestant, metric)
                and all(figure.parameters.get(name) == value for name, value in parameters.items())]

    def of_scenario(self, scenario):
        """In an order that does not depend on that in which the cases were run."""
        return sorted((figure for figure in self._figures if figure.scenario == scenario),
                      key=lambda figure: (figure.contestant, sorted(figure.parameters.items()), figure.metric))

    def get(self, scenario, contestant, metric, **parameters):
        """The one figure's value. Missing if there is none; ValueError if there are several."""
        found = self.find(scenario, contestant, metric, **parameters)
        given = "".join(f" {name}={value:g}" for name, value in parameters.items())
        if not found:
            raise Missing(f"{scenario} {contestant} {metric}{given}", scenario, contestant, parameters)
        if len(found) > 1:
            raise ValueError(f"{len(found)} figures are {scenario} {contestant} {metric}{given}")
        return found[0].value

    def curve(self, scenario, contestant, metric, x, **parameters):
        """Pairs of the parameter x and the value, ascending. Missing if there are fewer than two."""
        points = sorted((figure.parameters[x], figure.value)
                        for figure in self.find(scenario, contestant, metric, **parameters) if x in figure.parameters)
        if len(points) < 2:
            raise Missing(f"{scenario} {contestant} {metric} over {x}", scenario, contestant, parameters)
        return points


def rounds_of(figures, library):
    """A Round for each round that has been measured, in order."""
    numbers = sorted({figure.round for figure in figures})
    return [Round(figure for figure in figures if figure.round == number and figure.library in (None, library))
            for number in numbers]


def ratio(numerator, denominator):
    """Missing, not an error, where nothing was there to divide by."""
    if denominator == 0:
        raise Missing("a figure that is not 0 to divide by")
    return numerator / denominator


def exponent(points):
    """The slope of the line through the points on two logarithmic axes: y grows with x to this power."""
    if len(points) < 2 or any(x <= 0 or y <= 0 for x, y in points):
        raise Missing("two positive figures to fit a line to")
    xs = [math.log(x) for x, _ in points]
    ys = [math.log(y) for _, y in points]
    mean_x = statistics.fmean(xs)
    mean_y = statistics.fmean(ys)
    spread = sum((x - mean_x) ** 2 for x in xs)
    if spread == 0:
        raise Missing("figures of two sizes to fit a line to")
    return sum((x - mean_x) * (y - mean_y) for x, y in zip(xs, ys)) / spread


def spread(values):
    """Median, minimum, maximum and number of the values; None if there are none."""
    values = list(values)
    if not values:
        return None
    return Spread(statistics.median(values), min(values), max(values), len(values))


def spread_over_rounds(rounds, value):
    """The spread of value(round) over the rounds that have it, and the Missing of the last one without it, or None."""
    values = []
    lacking = None
    for measured in rounds:
        try:
            values.append(value(measured))
        except Missing as missing:
            lacking = missing
    return spread(values), lacking
