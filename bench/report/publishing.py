"""Writes what was measured: results.json, the plots, and the table into the text of a document."""

import json
import os

from report import charts, evaluation, svg, table, targets
from report.figures import Figure
from report.micro import SCENARIO as MICRO
from report.running import Failure, Outcome, Remark, Skip

BEGIN = "<!-- results: begin -->"
END = "<!-- results: end -->"


class Results:
    """All that a run has brought, as it stands in results.json."""

    def __init__(self, machine, options, libraries, rounds, outcome):
        self.machine = machine
        self.options = options
        self.libraries = libraries  # names
        self.rounds = rounds  # that were to be run
        self.outcome = outcome

    @staticmethod
    def read(path):
        """ValueError for a file that was not written by this version."""
        with open(path, encoding="utf-8") as file:
            content = json.load(file)
        outcome = Outcome()
        try:
            outcome.figures = [Figure(**figure) for figure in content["figures"]]
            outcome.skips = [Skip(**skip) for skip in content["skipped"]]
            outcome.remarks = [Remark(**remark) for remark in content["remarks"]]
            outcome.failures = [Failure(**failure) for failure in content["failed"]]
            return Results(content["machine"], content["options"], content["libraries"], content["rounds"], outcome)
        except (KeyError, TypeError) as error:
            raise ValueError(f"{path} does not hold the results of a run: {error}") from error

    def write(self, path):
        """Whoever interrupts this finds the file as it was before."""
        outcome = self.outcome
        content = {"machine": self.machine, "options": self.options, "libraries": self.libraries,
                   "rounds": self.rounds, "rows": [row_as_dictionary(line) for line in self.lines()],
                   "summaries": evaluation.summaries(outcome.figures),
                   "skipped": [skip._asdict() for skip in outcome.skips],
                   "remarks": [remark._asdict() for remark in outcome.remarks],
                   "failed": [failure._asdict() for failure in outcome.failures],
                   "figures": [figure._asdict() for figure in outcome.figures]}
        with open(path + ".new", "w", encoding="utf-8") as file:
            json.dump(content, file, indent=1, ensure_ascii=False)
            file.write("\n")
        os.replace(path + ".new", path)

    def lines(self):
        lines = evaluation.evaluate(targets.all_rows(), self.outcome.figures, self.libraries, self.rounds, self.reason)
        chosen = self.options["scenarios"].split(",") if "scenarios" in self.options else None
        return evaluation.measured_lines(lines, self.outcome.figures, chosen)

    def reason(self, missing, library):
        """What the case has said that was to bring a figure for this library, or None."""
        for said in self.outcome.skips + self.outcome.failures + self.outcome.remarks:
            if said.library in (None, library) and missing.is_of(said.case):
                return said.text
        return None

    def head(self):
        return table.head(self.machine, self.options)

    def remarks(self):
        """One line for each thing that was not measured, or of which there is something else to know."""
        return ([f"skipped: {self.label(skip)}: {skip.text}" for skip in self.outcome.skips]
                + [f"remark: {self.label(remark)}: {remark.text}" for remark in self.outcome.remarks]
                + [f"FAILED: {self.label(failure)}, round {failure.round + 1}: {failure.text}"
                   for failure in self.outcome.failures])

    def label(self, said):
        return said.case + (f" ({said.library})" if said.library and len(self.libraries) > 1 else "")

    def suite_summaries(self):
        return evaluation.summaries([figure for figure in self.outcome.figures if figure.scenario != MICRO])

    def micro_table(self):
        """Rows of texts, the head first. The benchmarks are built from the working tree, whatever is measured else."""
        name = "micro-benchmark" if len(self.libraries) == 1 else "micro-benchmark of the working tree's classes"
        rows = [[name, "time (min … max)", "coefficient of variation"]]
        for summary in evaluation.summaries([figure for figure in self.outcome.figures if figure.scenario == MICRO]):
            variation = summary["variation"]
            rows.append([summary["contestant"], table.spread_text(summary),
                         "" if variation is None else table.percent(variation)])
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
        series = charts.series_of(chart, results.outcome.figures, results.libraries)
        if series:
            name = f"{chart.name}.svg"
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
