"""What has been tried and found, which survivors are explained, and the table of both."""

import hashlib
import json
from pathlib import Path

from workshop import INVALID, KILLED, SURVIVED

# The fields that identify a change; see Mutation.
IDENTITY = ("file", "function", "operator", "text", "change", "occurrence")

WANTED_SHARE = 0.9  # of the changes tried, that the tests must notice


def hash_of(text):
    return hashlib.sha256(text.encode("latin-1")).hexdigest()[:16]


def key_of(entry):
    return tuple(entry.get(field, 1) for field in IDENTITY)


def in_order_of(seed, key):
    """The place of a change in the order of a seed. It depends on no other change, so samples stay what they are."""
    return hashlib.sha256(repr((seed, key)).encode()).hexdigest()


class Ledger:
    """A file with one JSON object on each line; the latest one about a change counts.

    A killed change stays killed while its file is as it was. A survivor is tried again when the programs of its tests
    have changed.
    """

    def __init__(self, path):
        self._path = Path(path)
        self._results = {}
        self._possible = {}
        if self._path.exists():
            for line in self._path.read_text(encoding="utf-8").splitlines():
                try:
                    self._take(json.loads(line))
                except ValueError:
                    continue  # the last line, when a run was ended while it wrote

    def _take(self, entry):
        if "possible" in entry:
            self._possible[entry["file"]] = entry
            for key in entry["gone"]:
                self._results.pop(tuple(key), None)
        else:
            self._results[key_of(entry)] = entry

    def _write(self, entry):
        self._take(entry)
        self._path.parent.mkdir(parents=True, exist_ok=True)
        whole = not self._path.exists() or self._path.read_bytes()[-1:] in (b"", b"\n")
        with self._path.open("a", encoding="utf-8") as file:
            file.write(("" if whole else "\n") + json.dumps(entry) + "\n")

    def note_possible(self, file, source, keys):
        """keys: of all changes that the file has. What was found about others is forgotten."""
        gone = [key for key in self._results if key[0] == file and key not in keys]
        if gone or self.possible(file, source) != len(keys):
            self._write({"file": file, "source": source, "possible": len(keys), "gone": gone})

    def note(self, mutation, source, verdict, by, tests):
        entry = dict(zip(IDENTITY, mutation.key()))
        entry.update(line=mutation.line, source=source, verdict=verdict, by=by, tests=tests)
        self._write(entry)

    def verdict(self, key, source, tests):
        """The verdict on a change if it still stands, else None. tests: the fingerprint of each build to be asked."""
        entry = self._results.get(key)
        if entry is None or entry["source"] != source:
            return None
        if entry["verdict"] != SURVIVED:
            return entry["verdict"]
        return SURVIVED if all(entry["tests"].get(name) == mark for name, mark in tests.items()) else None

    def results(self, file, source, seed=None, sample=None):
        """The results about a file as it is now, or the first ones of a seed, without changes that did not compile."""
        found = [
            entry
            for key, entry in self._results.items()
            if key[0] == file and entry["source"] == source and entry["verdict"] != INVALID
        ]
        if sample is not None:
            found = sorted(found, key=lambda entry: in_order_of(seed, key_of(entry)))[:sample]
        return sorted(found, key=lambda entry: (entry["line"], key_of(entry)))

    def possible(self, file, source):
        entry = self._possible.get(file)
        return entry["possible"] if entry is not None and entry["source"] == source else None


class Explained:
    """The survivors that no test can kill, each with its reason."""

    def __init__(self, entries):
        self._reasons = {}
        for entry in entries:
            key = key_of(entry)
            if not str(entry.get("reason", "")).strip():
                raise ValueError(f"{entry['file']}: a survivor is listed without a reason: {entry['text']}")
            if key in self._reasons:
                raise ValueError(f"{entry['file']}: a survivor is listed twice: {entry['text']}")
            self._reasons[key] = entry["reason"]

    def __contains__(self, key):
        return key in self._reasons

    def of_file(self, file):
        return [key for key in self._reasons if key[0] == file]


def describe(entry):
    return f"{entry['file']}:{entry['line']}: {entry['operator']} {entry['change']}: {entry['text']}"


class Report:
    """The table over some files, and what is wrong with what it says."""

    def __init__(self, ledger, explained, sources, seed=None, sample=None):
        self.problems = []
        self._rows = []
        killed_and_explained = []
        for file, source in sources.items():
            results = ledger.results(file, source, seed, sample)
            survivors = [entry for entry in results if entry["verdict"] == SURVIVED]
            unexplained = [entry for entry in survivors if key_of(entry) not in explained]
            killed = [entry for entry in results if entry["verdict"] == KILLED]
            killed_and_explained += [entry for entry in killed if key_of(entry) in explained]
            possible = ledger.possible(file, source)
            self._rows.append((file, possible, len(results), len(killed), len(survivors), len(unexplained)))
            self.problems += [f"survived: {describe(entry)}" for entry in unexplained]
        self.problems += [f"listed as a survivor, but killed: {describe(entry)}" for entry in killed_and_explained]
        tried = sum(row[2] for row in self._rows)
        killed = sum(row[3] for row in self._rows)
        if tried > 0 and killed < WANTED_SHARE * tried:
            self.problems.append(f"only {killed} of {tried} killed; at least {WANTED_SHARE:.0%} are wanted")

    def lines(self):
        def row(name, possible, tried, killed, survived, unexplained):
            share = f"{100 * killed / tried:.1f} %" if tried else ""
            known = "" if possible is None else possible
            return f"| {name} | {known} | {tried} | {killed} | {share} | {survived - unexplained} | {unexplained} |"

        yield "| File | Possible | Tried | Killed | Share | Survived, explained | Survived, open |"
        yield "|---|---:|---:|---:|---:|---:|---:|"
        for each in self._rows:
            yield row(f"`{each[0]}`", *each[1:])
        sums = [sum(each[column] or 0 for each in self._rows) for column in range(1, 6)]
        yield row("all", *sums)
