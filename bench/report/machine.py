"""What stands in the head of a table: the machine, the compiler, the sources, the date."""

import datetime
import os
import platform
import re
import subprocess


def facts(root, program):
    """Names and texts, in the order in which they are shown. What cannot be found out is 'unknown'."""
    return {
        "processor": f"{processor()}, {os.cpu_count()} threads",
        "kernel": f"{platform.system()} {platform.release()}",
        "compiler": compiler(program),
        "commit": commit(root),
        "date": datetime.datetime.now(datetime.timezone.utc).strftime("%Y-%m-%d %H:%M UTC"),
    }


def processor():
    for line in lines_of("/proc/cpuinfo"):
        if line.startswith("model name"):
            return re.sub(r"\s+", " ", line.split(":", 1)[1].strip())
    return "unknown"


def compiler(program):
    """That of the build folder in which the program lies (BUILD/bin/PROGRAM)."""
    cache = os.path.join(os.path.dirname(os.path.dirname(os.path.abspath(program))), "CMakeCache.txt")
    for line in lines_of(cache):
        found = re.match(r"CMAKE_CXX_COMPILER:\w+=(.*)", line)
        if found:
            return (output_of([found.group(1), "--version"]).splitlines() or ["unknown"])[0]
    return "unknown"


def commit(root):
    name = output_of(["git", "-C", root, "rev-parse", "--short", "HEAD"]).strip()
    changed = output_of(["git", "-C", root, "status", "--porcelain", "--untracked-files=no"]).strip()
    return (name or "unknown") + (" with changes" if changed else "")


def lines_of(path):
    try:
        with open(path, encoding="utf-8", errors="replace") as file:
            return file.read().splitlines()
    except OSError:
        return []


def output_of(command):
    try:
        return subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True, check=True).stdout
    except (OSError, subprocess.CalledProcessError):
        return ""
