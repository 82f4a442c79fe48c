#!/usr/bin/env python3
"""Runs the benchmark suite in interleaved rounds and prints what was measured beside what is wanted."""

import argparse
import os
import sys
import time

from report import machine, micro, publishing, targets
from report.running import Failure, Library, Outcome, Runner, fingerprint, list_cases

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
BUILD = os.path.join(ROOT, "build", "release")
ROUNDS = 5
FLOOR = "floor"

DESCRIPTION = """Runs every case of bench_suite in a process of its own, once in each round, in an order that a fixed
seed shuffles, then prints the table of targets: ratios are made within a round; the median over the rounds stands
before minimum and maximum. Writes results.json, after each round, and a plot for each scenario. Time is never judged: a
row that falls short of its target is marked. Exits 0 if every case ran, or could not be had on this machine, and lost
no record; 2 if it was called wrongly."""


def arguments_of(words):
    parser = argparse.ArgumentParser(prog="bench/run.py", description=DESCRIPTION)
    parser.add_argument("--rounds", type=int, metavar="N", help=f"rounds to run, {ROUNDS} if not named; quick: 1")
    parser.add_argument("--scenario", metavar="A,B,...", help="only these, and what they are held against; 'micro' are "
                        "the micro-benchmarks")
    parser.add_argument("--library", action="append", default=[], metavar="[NAME=]PATH",
                        help="the library to measure, that of the release build if not named; several are measured "
                        "side by side, each with the liborv_common.so that lies beside it")
    parser.add_argument("--quick", action="store_true", help="one short round that shows that everything works; its "
                        "figures say nothing")
    parser.add_argument("--seed", type=int, default=1, metavar="N", help="of the order of the cases; 1")
    parser.add_argument("--out", default=os.path.join(BUILD, "bench-results"), metavar="DIR",
                        help="where results.json and the plots go; build/release/bench-results")
    parser.add_argument("--publish", metavar="DIR", help="also put table and plots into DIR/benchmarks.md and "
                        "DIR/benchmarks")
    parser.add_argument("--results", metavar="FILE", help="measure nothing; show what this results.json holds")
    parser.add_argument("--program", default=os.path.join(BUILD, "bin", "bench_suite"), metavar="PATH",
                        help="the built suite; build/release/bin/bench_suite")
    parser.add_argument("--micro", default=None, metavar="PATH",
                        help="the built micro-benchmarks; bench_micro beside the suite")
    parser.add_argument("--check", action="store_true", help="measure nothing; only look whether the rest is right")
    chosen = parser.parse_args(words)
    if chosen.rounds is not None and chosen.rounds < 1:
        parser.error("--rounds must be at least 1")
    known = list(dict.fromkeys([row.scenario for row in targets.all_rows()] + [micro.SCENARIO, FLOOR]))
    chosen.scenarios = chosen.scenario.split(",") if chosen.scenario is not None else []
    unknown = [repr(scenario) for scenario in chosen.scenarios if scenario not in known]
    if unknown:
        parser.error(f"unknown scenario {', '.join(unknown)}; known: {', '.join(known)}")
    return chosen


def libraries_of(chosen):
    given = chosen.library or [os.path.join(os.path.dirname(os.path.dirname(chosen.program)), "lib",
                                            "liborv_notification_service.so")]
    libraries = []
    for text in given:
        name, _, path = text.rpartition("=")
        libraries.append(Library(name or "service", os.path.abspath(path)))
        if not os.path.isfile(path):
            raise RuntimeError(f"no such library: {path}")
    if len({library.name for library in libraries}) != len(libraries):
        raise RuntimeError("every library needs a name of its own: --library NAME=PATH")
    return libraries


def is_chosen(case, scenarios):
    beginnings = [FLOOR + "/"]
    for scenario in scenarios:
        beginnings += [scenario + "/", *targets.NEEDS.get(scenario, ())]
    return not scenarios or case.startswith(tuple(beginnings))


def run_micro(chosen, number, where, outcome):
    program = chosen.micro or os.path.join(os.path.dirname(chosen.program), "bench_micro")
    try:
        started = time.monotonic()
        outcome.figures.extend(micro.run(program, number, chosen.quick))
        say(f"{where}  micro-benchmarks  {time.monotonic() - started:.1f} s")
    except (OSError, RuntimeError, ValueError) as error:
        outcome.failures.append(Failure("micro-benchmarks", None, number, str(error)))
        say(f"{where}  micro-benchmarks  FAILED: {error}")


def measure(chosen):
    """The results, which are also written after each round, and when the run is interrupted."""
    libraries = libraries_of(chosen)
    rounds = chosen.rounds or (1 if chosen.quick else ROUNDS)
    cases = [case for case in list_cases(chosen.program, libraries[0]) if is_chosen(case, chosen.scenarios)]
    options = {"rounds": f"{rounds}, quick: the figures say nothing" if chosen.quick else str(rounds),
               "seed": str(chosen.seed),
               "libraries": ", ".join(f"{library.name} {fingerprint(library.path)}" for library in libraries)}
    if chosen.scenarios:
        options["scenarios"] = ",".join(chosen.scenarios)
    outcome = Outcome()
    results = publishing.Results(machine.facts(ROOT, chosen.program), options,
                                 [library.name for library in libraries], rounds, outcome)
    path = os.path.join(chosen.out, "results.json")

    def end_round(number):
        if not chosen.scenarios or micro.SCENARIO in chosen.scenarios:
            run_micro(chosen, number, f"round {number + 1}/{rounds}", outcome)
        results.write(path)

    try:
        Runner(chosen.program, libraries, chosen.quick, say).run(cases, rounds, chosen.seed, outcome, end_round)
    except KeyboardInterrupt:
        results.write(path)
        raise
    return results


def say(line):
    print(line, flush=True)


def main(words):
    chosen = arguments_of(words)
    if chosen.check:
        return 0
    try:
        os.makedirs(chosen.out, exist_ok=True)
        results = publishing.Results.read(chosen.results) if chosen.results else measure(chosen)
        publishing.draw_plots(results, chosen.out)
        say("\n" + publishing.text(results))
        if chosen.publish:
            publishing.publish(results, chosen.publish)
    except (OSError, RuntimeError, ValueError) as error:
        print(f"bench/run.py: {error}", file=sys.stderr)
        return 1
    except KeyboardInterrupt:
        print("bench/run.py: interrupted; --results shows what was measured until then", file=sys.stderr)
        return 130
    return 1 if results.outcome.failures else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
