"""Every row of the table of targets with what was measured for it, for one library or several side by side."""

from collections import namedtuple

from report.figures import rounds_of, spread_over_rounds

# spread: None if the row could not be computed; lacking then says which figure was missing. met: None without a target.
Cell = namedtuple("Cell", "spread met lacking")
# cells: by the library's name.
Line = namedtuple("Line", "row cells")


def evaluate(rows, figures, libraries):
    """A Line for each row. libraries: names, in the order of the columns."""
    rounds = {library: rounds_of(figures, library) for library in libraries}
    return [Line(row, {library: cell(row, rounds[library]) for library in libraries}) for row in rows]


def cell(row, rounds):
    measured, lacking = spread_over_rounds(rounds, row.value)
    met = row.target.is_met(measured.median) if measured and row.target else None
    return Cell(measured, met, lacking if measured is None else None)


def measured_lines(lines, figures):
    """Without the rows of scenarios of which nothing was run."""
    run = {figure.scenario for figure in figures}
    return [line for line in lines
            if line.row.scenario in run or any(cell.spread for cell in line.cells.values())]


def summaries(figures):
    """The median, minimum and maximum of each figure over the rounds, floors first, then by scenario.

    Each is a dictionary as it stands in results.json.
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
                       "median": values.median, "min": values.low, "max": values.high, "rounds": values.count})
    return sorted(result, key=lambda summary: (summary["scenario"] != "floor", summary["scenario"]))
