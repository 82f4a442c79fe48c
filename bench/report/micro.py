"""Runs the micro-benchmarks, once a round like everything else, and makes figures of what they report."""

import json
import subprocess

from report.figures import UNITS, Figure

MIN_TIME = 0.1  # seconds that each benchmark runs at least
QUICK_MIN_TIME = 0.005
SCENARIO = "micro"


def run(program, number, quick):
    """The figures of one pass. RuntimeError if the program fails or a benchmark reports an error."""
    result = subprocess.run([program, "--benchmark_format=json", "--benchmark_repetitions=1",
                             f"--benchmark_min_time={QUICK_MIN_TIME if quick else MIN_TIME}"],
                            stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True,
                            check=False)
    if result.returncode != 0:
        raise RuntimeError(f"exit code {result.returncode}: {result.stderr.strip()[-200:]}")
    return figures_of(json.loads(result.stdout), number)


def figures_of(report, number):
    """Real time of one iteration of each benchmark. RuntimeError if one of them has failed."""
    figures = []
    for benchmark in report["benchmarks"]:
        if benchmark.get("error_occurred"):
            raise RuntimeError(f"{benchmark['name']}: {benchmark.get('error_message')}")
        unit, factor = UNITS[benchmark["time_unit"]]
        name = benchmark["name"]
        for suffix in ("/real_time", "/manual_time"):
            name = name.removesuffix(suffix)
        figures.append(Figure(SCENARIO, name.removeprefix("BM_"), {}, "time", unit, benchmark["real_time"] * factor,
                              number, SCENARIO, None))
    if not figures:
        raise RuntimeError("no benchmarks")
    return figures
