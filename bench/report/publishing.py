"""Writes what was measured: results.json, the plots, and the table into the text of a document."""

import json
import os

from report import charts, evaluation, svg, table, targets
from report.figures import Figure
from report.micro import SCENARIO as MICRO

BEGIN = "<!-- results: begin -->"
END = "<!-- results: end -->"


class Results:
    """All that a run has brought, as it stands in results.json."""

    def __init__(self, machine, options, libraries, figures, skips, failures):
        self.machine = machine
        self.options = options
        self.libraries = libraries  # names
        self.figures = figures
        self.skips = skips  # dictionaries, like the failures
        self.failures = failures

    @staticmethod
    def read(path):
        with open(path, encoding="utf-8") as file:
            content = json.load(file)
        return Results(content["machine"], content["options"], content["libraries"],
                       [Figure(**figure) for figure in content["figures"]], content["skipped"], content["failed"])

    def write(self, path):
        content = {"machine": self.machine, "options": self.options, "libraries": self.libraries,
                   "rows": [row_as_dictionary(line) for line in self.lines()],
                   "summaries": evaluation.summaries(self.figures), "skipped": self.skips, "failed": self.failures,
                   "figures": [figure._asdict() for figure in self.figures]}
        with open(path, "w", encoding="utf-8") as file:
            json.dump(content, file, indent=1, ensure_ascii=False)
            file.write("\n")

    def lines(self):
        lines = evaluation.evaluate(targets.all_rows(), self.figures, self.libraries)
        return evaluation.measured_lines(lines, self.figures)

    def head(self):
        return table.head(self.machine, self.options)

    def remarks(self):
        """One line for each thing that was not measured."""
        return ([f"skipped: {skip['case']}: {skip['text']}" for skip in self.skips]
                + [f"FAILED: {failure['case']}"
                   + (f" ({failure['library']})" if failure["library"] and len(self.libraries) > 1 else "")
                   + f", round {failure['round'] + 1}: {failure['text']}" for failure in self.failures])

    def suite_summaries(self):
        return evaluation.summaries([figure for figure in self.figures if figure.scenario != MICRO])

    def micro_table(self):
        rows = [["micro-benchmark", "time (min … max)"]]
        for row in table.figure_table(evaluation.summaries(
                [figure for figure in self.figures if figure.scenario == MICRO]))[1:]:
            rows.append([row[1], row[4]])
        return rows


def row_as_dictionary(line):
    cells = {name: {"median": cell.spread.median, "min": cell.spread.low, "max": cell.spread.high,
                    "rounds": cell.spread.count, "met": cell.met} if cell.spread else {"lacking": cell.lacking}
             for name, cell in line.cells.items()}
    return {"scenario": line.row.scenario, "parameters": line.row.parameters, "reported": line.row.reported,
            "target": line.row.target.text if line.row.target else None, "measured": cells}


def text(results):
    """What is printed at the end of a run."""
    parts = ["\n".join(results.head()), table.as_text(table.target_table(results.lines(), results.libraries))]
    if len(results.micro_table()) > 1:
        parts.append(table.as_text(results.micro_table()))
    parts += ["\n".join(results.remarks())] if results.remarks() else []
    return "\n\n".join(parts)


def draw_plots(results, folder):
    """Writes a plot for each scenario that was measured. The charts and the names of their files."""
    os.makedirs(folder, exist_ok=True)
    drawn = []
    for chart in charts.all_charts():
        series = charts.series_of(chart, results.figures, results.libraries)
        if series:
            name = f"{chart.scenario.lower()}.svg"
            with open(os.path.join(folder, name), "w", encoding="utf-8") as file:
                file.write(svg.draw(chart, series))
            drawn.append((chart, name))
    return drawn


def publish(results, docs):
    """Puts table and plots between the markers of DOCS/benchmarks.md. ValueError if it lacks them."""
    path = os.path.join(docs, "benchmarks.md")
    with open(path, encoding="utf-8") as file:
        document = file.read()
    # The last ones: the text above may speak of them.
    begin, end = document.rfind(BEGIN), document.rfind(END)
    if begin < 0 or end < begin:
        raise ValueError(f"{path} has no lines '{BEGIN}' and '{END}'")
    drawn = draw_plots(results, os.path.join(docs, "benchmarks"))
    content = document[:begin + len(BEGIN)] + "\n" + markdown(results, drawn) + "\n" + document[end:]
    with open(path, "w", encoding="utf-8") as file:
        file.write(content)


def markdown(results, drawn):
    parts = ["\n".join(f"- {fact}" for fact in results.head()),
             table.as_markdown(table.target_table(results.lines(), results.libraries))]
    parts += ["\n".join(f"- {remark}" for remark in results.remarks())] if results.remarks() else []
    parts += [f"![{chart.title}](benchmarks/{name})" for chart, name in drawn]
    parts += ["### The figures behind it", table.as_markdown(table.figure_table(results.suite_summaries()))]
    if len(results.micro_table()) > 1:
        parts += ["### Micro-benchmarks", table.as_markdown(results.micro_table())]
    return "\n\n".join(parts) + "\n"
