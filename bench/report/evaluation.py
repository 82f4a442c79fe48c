"""Every row of the table of targets with what was measured for it, for one library or several side by side."""

import statistics
from collections import namedtuple

from report.figures import rounds_of, spread_over_rounds

# spread: None if the row could not be computed; lacking then says which figure was missing, or why. met: None without a
# target. rounds: how many there should have been.
Cell = namedtuple("Cell", "spread met lacking rounds")
# cells: by the library's name.
Line = namedtuple("Line", "row cells")


def evaluate(rows, figures, libraries, wanted, reason=lambda missing, library: None):
    """A Line for each row.

    libraries: names, in the order of the columns. wanted: the number of rounds. reason: a function of a Missing and a
    library's name that returns why there is no such figure, or None.
    """
    rounds = {library: rounds_of(figures, library) for library in libraries}
    return [Line(row, {library: cell(row, rounds[library], wanted, lambda missing, of=library: reason(missing, of))
                       for library in libraries}) for row in rows]


def cell(row, rounds, wanted, reason=lambda missing: None):
    measured, missing = spread_over_rounds(rounds, row.value)
    if measured is None:
        return Cell(None, None, (reason(missing) or str(missing)) if missing else "no rounds", wanted)
    return Cell(measured, row.target.is_met(measured.median) if row.target else None, None, wanted)


def measured_lines(lines, figures, chosen=None):
    """Without the rows of scenarios of which nothing was run, or only what others are held against.

    chosen: the scenarios that were to be run; None for all.
    """
    run = {figure.scenario for figure in figures if chosen is None or figure.scenario in chosen}
    return [line for line in lines
            if line.row.scenario in run or any(cell.spread for cell in line.cells.values())]


def summaries(figures):
    """The median, minimum and maximum of each figure over the rounds, floors first, then by scenario.

    Each is a dictionary as it stands in results.json. The coefficient of variation is None where there is none.
    """
    groups = {}
    for figure in sorted(figures, key=lambda figure: (figure.case, figure.library or "", figure.metric)):
        key = (figure.scenario, figure.contestant, tuple(sorted(figure.parameters.items())), figure.metric,
               figure.library)
        groups.setdefault(key, []).append(figure)
    result = []
    for group in groups.values():
        first = group[0]
        values, _ = spread_over_rounds(group, lambda figure: figure.value)
        result.append({"scenario": first.scenario, "contestant": first.contestant, "parameters": first.parameters,
                       "metric": first.metric, "unit": first.unit, "library": first.library,
                       "median": values.median, "min": values.low, "max": values.high, "rounds": values.count,
                       "variation": variation([figure.value for figure in group])})
    return sorted(result, key=lambda summary: (summary["scenario"] != "floor", summary["scenario"]))


def variation(values):
    """The standard deviation over the mean; None for a lone value, or a mean of 0."""
    mean = statistics.fmean(values)
    return statistics.stdev(values) / abs(mean) if len(values) > 1 and mean != 0 else None
