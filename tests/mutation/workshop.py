"""Compiles a changed source beside the build, links the programs of its tests anew, and runs them.

Nothing of the source tree or of the build is changed: what is made stands in a folder of its own.
"""

import hashlib
import json
import os
import re
import resource
import shlex
import shutil
import signal
import subprocess
import time
from pathlib import Path

# How the programs are built. The first is quick. The second tells of reads and writes out of place and of leaks, which
# every run of the tests under the address sanitizer would tell as well.
UNOPTIMISED = ["-DCMAKE_BUILD_TYPE=Mutation", "-DCMAKE_CXX_FLAGS_MUTATION=-O0"]
BUILDS = {"plain": UNOPTIMISED, "asan": [*UNOPTIMISED, "-DORV_SANITIZER=address"]}
LIBRARY = "orv_common"

TIME_LIMIT = 20  # seconds for one program, or more for one that needs long without any change
LONGEST_CHECK = 300  # seconds for a program without any change
TIMES_LONGER = 4  # than without any change
MEMORY_LIMIT = 8 << 30  # bytes of address space, in the build that leaves the address space alone

# Warnings are let pass, but for two: a function that ends without a return would make anything possible, and a format
# that is no literal never reaches a test.
COMPILER_OPTIONS = ["-Wno-error", "-Werror=return-type", "-Werror=format-nonliteral"]

KILLED = "killed"
SURVIVED = "survived"
INVALID = "invalid"


class WorkshopError(Exception):
    """Something that no change of a source is to blame for."""


def run(command, folder, environment=None, limit=None, prepare=None):
    """(exit code or None after the limit, output). Ends whatever the command has started."""
    process = subprocess.Popen(
        command,
        cwd=folder,
        env=environment,
        stdin=subprocess.DEVNULL,
        stdout=subprocess.PIPE,
        stderr=subprocess.STDOUT,
        start_new_session=True,
        preexec_fn=prepare,
    )
    try:
        output, _ = process.communicate(timeout=limit)
        code = process.returncode
    except subprocess.TimeoutExpired:
        output, code = b"", None
    finally:
        try:
            os.killpg(process.pid, signal.SIGKILL)
        except ProcessLookupError:
            pass
        process.wait()
    return code, output.decode("utf-8", "replace")


class Build:
    """One build folder: brings it up to date and knows its commands."""

    def __init__(self, name, root, folder, jobs):
        self.name = name
        self.folder = Path(folder)
        self._root = Path(root)
        self._jobs = str(jobs)
        self._compile = None
        self._link = {}

    def configure(self):
        if not (self.folder / "build.ninja").exists():
            command = ["cmake", "-S", str(self._root), "-B", str(self.folder), "-G", "Ninja"]
            command += ["-DCMAKE_CXX_COMPILER=g++", *BUILDS[self.name]]
            if shutil.which("ccache"):
                command.append("-DCMAKE_CXX_COMPILER_LAUNCHER=ccache")
            self._must(command)

    def bring_up_to_date(self, programs):
        self.configure()
        self._must(["ninja", "-C", str(self.folder), "-j", self._jobs, LIBRARY, *programs])

    def _must(self, command):
        code, output = run(command, self._root)
        if code != 0:
            raise WorkshopError(output[-4000:] + f"\nfailed: {' '.join(command)}")
        return output

    def compile_command(self, unit):
        """The words that compile a unit, without a launcher, or None if the build does not know it."""
        if self._compile is None:
            entries = json.loads((self.folder / "compile_commands.json").read_text())
            self._compile = {entry["file"]: entry["command"] for entry in entries}
        command = self._compile.get(str(self._root / unit))
        if command is None:
            return None
        words = shlex.split(command)
        return words[1:] if Path(words[0]).name == "ccache" else words

    def parse_arguments(self, unit):
        """What of it a parser needs. An include folder is given in one word throughout."""
        words = self.compile_command(unit)
        if words is None:
            raise WorkshopError(f"{unit} is not compiled in {self.folder}")
        return [word for word in words if word.startswith(("-I", "-D", "-std=", "-fno-access"))]

    def object_of(self, unit):
        words = self.compile_command(unit)
        return words[words.index("-o") + 1]

    def link_command(self, target):
        """The words that link a program or the library."""
        if target not in self._link:
            output = self._must(["ninja", "-C", str(self.folder), "-t", "commands", target])
            step = next(line for line in reversed(output.splitlines()) if " -o " in line and ".o " in line)
            parts = [part for part in step.split(" && ") if " -o " in part]
            self._link[target] = shlex.split(parts[0])
        return self._link[target]

    def fingerprint(self, programs):
        """Of the programs and the library as they are: another one may tell what this one did not."""
        digest = hashlib.sha256()
        for path in [self.folder / "lib" / f"lib{LIBRARY}.so", *(self.folder / "bin" / name for name in programs)]:
            digest.update(path.read_bytes())
        return digest.hexdigest()[:16]


class Workshop:
    """Judges changes in one build."""

    def __init__(self, build, root, folder):
        self.build = build
        self._root = Path(root)
        self._folder = Path(folder)
        self._limits = {}

    def judge(self, mutation, source, units, tests):
        """(verdict, by whom or what). source is the unchanged text, units are what must be compiled anew."""
        if self._folder.exists():
            shutil.rmtree(self._folder)
        self._folder.mkdir(parents=True)
        original = self._root / mutation.file
        copy = self._overlay(original, mutation.apply(source))
        objects = {}
        for position, unit in enumerate(units):
            target = self._folder / f"{position}.o"
            if not self._compile(unit, original, copy, target):
                return INVALID, "does not compile"
            objects[self.build.object_of(unit)] = str(target)
        return self._try(tests, objects)

    def check(self, tests):
        """The tests must pass as long as nothing is changed. How long they take then is what a time-out goes by."""
        for test in tests:
            mark = json.dumps(test, sort_keys=True)
            if mark in self._limits:
                continue
            self._limits[mark] = LONGEST_CHECK
            started = time.monotonic()
            failed = self._run_test(test, self.build.folder / "bin" / test["program"], None)
            if failed is not None:
                raise WorkshopError(f"{test['program']} fails without any change: {failed}")
            self._limits[mark] = max(TIME_LIMIT, TIMES_LONGER * (time.monotonic() - started))

    def _overlay(self, original, text):
        """The changed file among links to its neighbours, so that these find it beside themselves."""
        overlay = self._folder / "sources"
        overlay.mkdir()
        for neighbour in original.parent.iterdir():
            if neighbour.is_file() and neighbour.name != original.name:
                (overlay / neighbour.name).symlink_to(neighbour)
        copy = overlay / original.name
        # Traces and messages tell the file by the name that it has in the tree.
        copy.write_text(f'#line 1 "{original}"\n' + text, encoding="latin-1")
        return copy

    def _compile(self, unit, original, copy, target):
        words = self.build.compile_command(unit)
        source = self._root / unit
        changed = []
        for word in words:
            if word == f"-I{original.parent}":
                word = f"-I{copy.parent}"
            changed.append(word)
        changed[changed.index("-o") + 1] = str(target)
        beside = copy.parent / source.name
        changed[changed.index("-c") + 1] = str(beside if source.parent == original.parent else source)
        code, _ = run(changed + COMPILER_OPTIONS, self.build.folder)
        return code == 0

    def _relink(self, target, objects, result):
        """Links with what has been compiled anew; None if nothing of it goes into the target."""
        words = self.build.link_command(target)
        fresh = [objects[word] for word in words if word in objects]
        if not fresh:
            return None
        rest = [word for word in words if word not in objects]
        # An inline function comes from the first object that has it: that must be one which saw the change.
        first = next(position for position, word in enumerate(rest) if word.endswith(".o"))
        changed = rest[:first] + fresh + rest[first:]
        changed[changed.index("-o") + 1] = str(result)
        code, output = run(changed, self.build.folder)
        if code != 0:
            return output
        return ""

    def _try(self, tests, objects):
        library = None
        problem = self._relink(LIBRARY, objects, self._folder / f"lib{LIBRARY}.so")
        if problem:
            return INVALID, "does not link"
        if problem is not None:
            library = self._folder
        linked = {}
        for test in tests:
            name = test["program"]
            if name not in linked:
                linked[name] = self._folder / name
                problem = self._relink(name, objects, linked[name])
                if problem:
                    return INVALID, "does not link"
                if problem is None:
                    linked[name] = self.build.folder / "bin" / name
            failed = self._run_test(test, linked[name], library)
            if failed is not None:
                return KILLED, failed
        return SURVIVED, ""

    def _run_test(self, test, program, library):
        """None if all passed, else who failed."""
        place = self._folder / "place"
        place.mkdir(parents=True, exist_ok=True)
        environment = dict(os.environ, GTEST_FAIL_FAST="1", GTEST_BRIEF="1", **test.get("environment", {}))
        environment["ASAN_OPTIONS"] = "detect_stack_use_after_return=1:hard_rss_limit_mb=4096"
        if library is not None:
            environment["LD_LIBRARY_PATH"] = str(library)
        command = [str(program), f"--gtest_filter={test['filter']}"]
        started = time.monotonic()
        limit = self._limits[json.dumps(test, sort_keys=True)]
        code, output = run(command, place, environment, limit, self._limit_itself)
        if code == 0:
            if not re.search(r"\[  PASSED  \] [1-9]", output):
                raise WorkshopError(f"no test of {test['program']} is named {test['filter']}")
            return None
        if code is None:
            return f"time-out after {time.monotonic() - started:.0f} s"
        names = re.findall(r"\[  FAILED  \] ([^\s,]+)", output)
        return names[0] if names else f"end with code {code}"

    def _limit_itself(self):
        resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
        if self.build.name == "plain":
            resource.setrlimit(resource.RLIMIT_AS, (MEMORY_LIMIT, MEMORY_LIMIT))
