"""Runs the cases of the suite, each in a process of its own, round by round."""

import hashlib
import random
import subprocess
import time
from collections import namedtuple

from report.figures import parse_line

# name None: the case measures something that no library has a part in.
Library = namedtuple("Library", "name path")
# text: why it could not be run, or what it has said. A remark is what a case has said that was measured nevertheless.
Skip = namedtuple("Skip", "case library text")
Remark = namedtuple("Remark", "case library text")
Failure = namedtuple("Failure", "case library round text")

NOT_INSTALLED = 77  # a case's exit code when this machine lacks what it measures
QUICK_SECONDS = 60  # the limits turn a hang into a failure
FULL_SECONDS = 600
LINES_OF_A_FAILURE = 5


class Outcome:
    """What a run has brought so far: figures, what was skipped, what there is to remark, what failed."""

    def __init__(self):
        self.figures = []
        self.skips = []
        self.remarks = []
        self.failures = []


# Contestants that no library has a part in. The service has several: service, service-prefix, without_trace, ...
LIBRARY_FREE = ("condvar", "poco_queue", "zeromq", "nats", "nats_own", "jetstream", "floor")


def needs_library(case):
    """Whether what the case measures depends on the library: floors and peers do not."""
    scenario, _, rest = case.partition("/")
    return scenario != "floor" and rest.split("/")[0].split("-")[0] not in LIBRARY_FREE


def list_cases(program, library):
    """The names of all cases. RuntimeError if the program does not list any, as in a build unfit for measuring."""
    result = subprocess.run([program, "--library", library.path, "--list"],
                            stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, check=False)
    names = result.stdout.split("\n")[:-1] if result.returncode == 0 else []
    if not names:
        raise RuntimeError(f"{program} lists no cases (exit code {result.returncode}): {last_lines(result.stderr)}")
    return names


def last_lines(text):
    return " / ".join(text.strip().splitlines()[-LINES_OF_A_FAILURE:])


def jobs_of_round(cases, libraries, order):
    """Each case with each library, shuffled. What needs none runs once, with the support library of the last one."""
    jobs = []
    for case in cases:
        jobs.extend((case, library) for library in (libraries if needs_library(case) else libraries[-1:]))
    order.shuffle(jobs)
    return jobs


class Runner:
    """Runs every case once a round. say: a function that takes a line for the user."""

    def __init__(self, program, libraries, quick, say):
        self._program = program
        self._libraries = libraries
        self._quick = quick
        self._say = say

    def run(self, cases, rounds, seed, outcome, end_round):
        """Adds to the outcome. end_round: a function that is called with the number of each round at its end."""
        order = random.Random(seed)
        for number in range(rounds):
            jobs = jobs_of_round(cases, self._libraries, order)
            for count, (case, library) in enumerate(jobs, 1):
                self._run_case(case, library, number, f"round {number + 1}/{rounds} {count}/{len(jobs)}", outcome)
            end_round(number)

    def _run_case(self, case, library, number, where, outcome):
        name = library.name if needs_library(case) else None
        if any((skip.case, skip.library) == (case, name) for skip in outcome.skips):
            return
        label = case if name is None or len(self._libraries) == 1 else f"{case} ({name})"
        started = time.monotonic()
        try:
            code, output, errors = self._call(case, library)
            figures = [parse_line(line, number, case, name) for line in output.splitlines() if code == 0 and line]
        except subprocess.TimeoutExpired as expired:
            code, figures, errors = None, [], f"did not end within {expired.timeout:g} s"
        except ValueError as error:
            code, figures, errors = None, [], str(error)
        if code == NOT_INSTALLED:
            outcome.skips.append(Skip(case, name, last_lines(errors)))
            self._say(f"{where}  {label}  skipped: {last_lines(errors)}")
        elif code == 0 and figures:
            outcome.figures.extend(figures)
            remark = Remark(case, name, last_lines(errors))
            if remark.text and remark not in outcome.remarks:
                outcome.remarks.append(remark)
            self._say(f"{where}  {label}  {time.monotonic() - started:.1f} s")
        else:
            text = last_lines(errors) or ("no figures" if code == 0 else f"exit code {code}")
            outcome.failures.append(Failure(case, name, number, text))
            self._say(f"{where}  {label}  FAILED: {text}")

    def _call(self, case, library):
        command = [self._program, "--library", library.path, "--case", case]
        if self._quick:
            command.append("--quick")
        result = subprocess.run(command, stdin=subprocess.DEVNULL,
                                stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, check=False,
                                timeout=QUICK_SECONDS if self._quick else FULL_SECONDS)
        return result.returncode, result.stdout, result.stderr


def fingerprint(path):
    """The beginning of the file's SHA-256, to tell libraries apart."""
    with open(path, "rb") as file:
        return hashlib.sha256(file.read()).hexdigest()[:12]
