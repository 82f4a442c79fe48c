"""The tables, as text for a terminal and as Markdown."""

import math

SHORT = "short"


def number(value):
    """Three significant digits."""
    if value == 0:
        return "0"
    digits = 2 - math.floor(math.log10(abs(value)))
    if 0 < digits <= 4:
        return f"{value:.{digits}f}"
    return f"{value:.2e}" if digits > 4 else f"{round(value, digits):.0f}"


def part_of_one(value):
    """For ratios that are far below 1: 1/1500."""
    return f"1/{round(1 / value)}" if value > 0 else number(value)


def percent(value):
    return f"{value * 100:.1f} %"


def plain(value):
    """As few digits as it takes, for values that are round anyway."""
    return f"{value:.6g}"


# Prefixes by the plain unit: from which value on, how much of the unit, and what it is then called.
PREFIXES = {
    "s": ((1, 1, " s"), (1e-3, 1e-3, " ms"), (1e-6, 1e-6, " µs"), (0, 1e-9, " ns")),
    "bytes": ((1 << 20, 1 << 20, " MB"), (1 << 10, 1 << 10, " KB"), (0, 1, " bytes")),
    "1/s": ((1e6, 1e6, " M/s"), (1e3, 1e3, " k/s"), (0, 1, "/s")),
}


def with_unit(value, unit, digits=number):
    """With a fitting prefix. digits: how the number is written."""
    if unit not in PREFIXES:
        return f"{digits(value)} {unit}".strip()
    # A hair below counts as reached: a tick at 1000 ns is one at 1 µs.
    factor, name = next((factor, name) for limit, factor, name in PREFIXES[unit] if abs(value) * (1 + 1e-9) >= limit)
    return digits(value / factor) + name


def measured_text(cell, digits=number):
    """digits: how the numbers are written. Rounds in which something failed do not count, and are told."""
    if cell.spread is None:
        return f"not measured: {cell.lacking}"
    text = digits(cell.spread.median)
    if cell.spread.count > 1:
        text += f" ({digits(cell.spread.low)} … {digits(cell.spread.high)})"
    if cell.spread.count < cell.rounds:
        text += f" ({cell.spread.count} of {cell.rounds})"
    return text + (f" {SHORT}" if cell.met is False else "")


def target_table(lines, libraries):
    """Rows of texts, the head first. The column of a lone library is called 'measured'."""
    names = ["measured"] if len(libraries) == 1 else [f"measured: {name}" for name in libraries]
    rows = [["scenario", "parameters", "reported", "target"] + names]
    for line in lines:
        rows.append([line.row.scenario, line.row.parameters, line.row.reported,
                     line.row.target.text if line.row.target else ""]
                    + [measured_text(line.cells[name], line.row.digits) for name in libraries])
    return rows


def figure_table(summaries):
    """What was measured, of which the ratios are made."""
    rows = [["scenario", "contestant", "parameters", "figure", "median (min … max)"]]
    for summary in summaries:
        parameters = ", ".join(f"{name} = {value:g}" for name, value in summary["parameters"].items())
        contestant = summary["contestant"] + (f" ({summary['library']})" if summary["library"] else "")
        rows.append([summary["scenario"], contestant, parameters, summary["metric"], spread_text(summary)])
    return rows


def spread_text(summary):
    text = with_unit(summary["median"], summary["unit"])
    if summary["rounds"] > 1:
        text += f" ({with_unit(summary['min'], summary['unit'])} … {with_unit(summary['max'], summary['unit'])})"
    return text


def as_text(rows):
    widths = [max(len(row[column]) for row in rows) for column in range(len(rows[0]))]
    lines = ["  ".join(text.ljust(width) for text, width in zip(row, widths)).rstrip() for row in rows]
    return "\n".join([lines[0], "-" * len(lines[0])] + lines[1:])


def as_markdown(rows):
    """Rows that fall short stand in bold in their last columns."""
    lines = ["| " + " | ".join(rows[0]) + " |", "|" + "---|" * len(rows[0])]
    for row in rows[1:]:
        cells = [f"**{text}**" if text.endswith(" " + SHORT) else text.replace("|", "\\|") for text in row]
        lines.append("| " + " | ".join(cells) + " |")
    return "\n".join(lines)


def head(machine, options):
    return [f"{name}: {text}" for name, text in machine.items()] + [f"{name}: {text}" for name, text in options.items()]
