#!/usr/bin/env python3
"""Plants small faults in the sources, one at a time, and says which test catches each.

    tests/mutate/mutate.py                            all four folders: about an hour on a free machine
    tests/mutate/mutate.py --folder solver --count 50 --seed 2
    tests/mutate/mutate.py --only solver/lattice/cell.cpp --count 0     all faults of a file
    tests/mutate/mutate.py --list --only cell.cpp     prints faults, and plants none
    tests/mutate/mutate.py --again results.json       what survived a run: has a new test caught it?

Rules make the faults from the sources as they are: cppfaults.py and pyfaults.py. A sample of them is drawn by
the seed, and compiled into a copy of the project all at once; the environment then selects one. So a
fault costs only a run of the tests that reach it, up to the first that fails. Tests that are near to the file
and quick come first. A fault that makes a test run ten times as long as without a fault, and five seconds more,
is caught.

A fault that no test catches shows a gap in the tests, unless no input can show it: equivalent.txt has those that
are argued to be so. The exit status is zero if every folder reaches its goal, and if no fault is caught
that was argued to be equivalent.

Needs libclang and its Python module: Debian's python3-clang, and what the tests need.
"""

from __future__ import annotations

import argparse
import collections
import hashlib
import json
import math
import os
import pickle
import random
import re
import subprocess
import sys
import tempfile
import threading
import time
from concurrent.futures import ProcessPoolExecutor, ThreadPoolExecutor
from pathlib import Path

import cppfaults
import pyfaults
from building import Copy
from faults import EQUIVALENT, ROOT, Entry, Fault, argue, entries
from suites import GTestSuite, Suite, UnittestSuite, catcher

GOALS = {"solver": 95.0, "workflow": 95.0, "tools": 95.0, "src": 99.0}
# Without the tests that ask about other things than what the code does: other compilers, documents, the
# words of the sources. Of those of whole runs, only what takes no time.
FILTERS = {"solver_api": "*-ThePageOn*",
           "golden": "*-*ABuild*:*AnExample*:*ADocument*:TheDifficultExample*:TheGenerator*:TheTables*"}
# Tests of the workflow that run a batch of many hundred crystals, or wait for limits. Those on Slurm are left out
# too: they take minutes.
LEFT_OUT = r"thousand_names|at_any_moment|full_disk"


def sources(folder: str) -> list[str]:
    patterns = ("*.py",) if folder == "workflow" else ("*.cpp", "*.h")
    found = [path for pattern in patterns for path in (ROOT / folder).rglob(pattern)]
    return sorted(str(path.relative_to(ROOT)) for path in found if "__pycache__" not in str(path))


def faults_of(name: str, cache: str) -> list[Fault]:
    """All faults of a source; kept in a file, since libclang takes a second for each."""
    finder = pyfaults if name.endswith(".py") else cppfaults
    state = Path(finder.__file__).read_bytes() + (ROOT / name).read_bytes() + name.encode()
    kept = Path(cache, hashlib.sha256(state).hexdigest())
    if kept.exists():
        return pickle.loads(kept.read_bytes())
    found = finder.found_in(name)
    kept.write_bytes(pickle.dumps(found))
    return found


def population(folders: list[str], only: list[str], cache: Path, jobs: int) -> dict[str, list[Fault]]:
    cache.mkdir(parents=True, exist_ok=True)
    names = {folder: [name for name in sources(folder)
                      if not only or any(part in name for part in only)] for folder in folders}
    wanted = [name for folder in folders for name in names[folder]]
    if any(not name.endswith(".py") for name in wanted) and not cppfaults.available():
        raise SystemExit("libclang's module for Python is missing: Debian's python3-clang.")
    with ProcessPoolExecutor(jobs) as pool:
        found = dict(zip(wanted, pool.map(faults_of, wanted, [str(cache)] * len(wanted))))
    return {folder: [fault for name in names[folder] for fault in found[name]] for folder in folders}


def sample(faults: list[Fault], count: int, seed: str) -> list[Fault]:
    """A part of the faults in a random order; all of them if the count is 0."""
    return random.Random(seed).sample(faults, min(count or len(faults), len(faults)))


def identity(fault: dict) -> tuple:
    return tuple(fault[name] for name in ("file", "function", "kind", "text", "before", "after"))


def survived(results: Path) -> set[tuple]:
    """What a run left over, as its file has it."""
    return {identity(one) for one in json.loads(results.read_text(encoding="utf-8"))
            if one["verdict"] in ("survived", "not reached")}


# The tests of each folder

def targets(folder: str) -> list[str]:
    tests = ROOT / "tests"
    if folder == "workflow":
        return ["torvik-tools", "Torvik"]
    if folder == "src":
        units = [f"torvik_tests_unit_{one.name}" for one in sorted((tests / "unit").iterdir())]
        return ["Torvik", *units, *(f"torvik_tests_{one}" for one in
                                    ("equivalence", "property", "golden"))]
    below = [one.name for one in sorted((tests / folder).iterdir()) if list(one.glob("*_test.cpp"))]
    return [f"torvik_tests_{folder}_{one}" for one in below] + ["torvik-tools"] * (folder == "tools")


def suites(folder: str, copy: Copy) -> list[Suite]:
    if folder == "workflow":
        # Snakemake is a command of Debian's Python.
        python = "/usr/bin/python3" if Path("/usr/bin/python3").exists() else sys.executable
        return [UnittestSuite(name, name, module=f"test_{name}", where=str(copy.tree / "tests/workflow"),
                              python=python, left_out=LEFT_OUT,
                              environment={"TORVIK_TOOLS": str(copy.build / "torvik-tools")})
                for name in sorted(path.stem.removeprefix("test_") for path in
                                   (ROOT / "tests/workflow").glob("test_*.py"))
                if name != "slurm"]
    found: list[Suite] = []
    for target in targets(folder):
        if target.startswith("torvik_tests_"):
            name = target.removeprefix("torvik_tests_")
            program = next((copy.build / "tests").rglob(target))
            found.append(GTestSuite(name, name.rpartition("_")[2], program=str(program),
                                    filter=FILTERS.get(name, "*")))
    return found


# The numbers

def limits(caught: int, tried: int) -> tuple[float, float]:
    """Wilson's interval of 95 % for a rate, in percent."""
    z = 1.959964
    rate, part = caught / tried, z * z / tried
    middle = (rate + part / 2) / (1 + part)
    half = z / (1 + part) * math.sqrt(rate * (1 - rate) / tried + part / (4 * tried))
    return 100 * max(0.0, middle - half), 100 * min(1.0, middle + half)


class Report:
    """What became of the faults."""

    def __init__(self, seed: int, file: Path | None = None) -> None:
        self.seed = seed
        self.file = file
        self.results: list[tuple[str, Fault, str]] = []  # folder, fault, verdict
        self.lock = threading.Lock()

    def add(self, folder: str, fault: Fault, verdict: str) -> None:
        with self.lock:
            self.results.append((folder, fault, verdict))
            print(f"{len(self.results):4d}  {fault.where()}: {fault.kind}: {verdict}", flush=True)
            if self.file:
                self.save(self.file)

    def of(self, folder: str) -> collections.Counter:
        counts: collections.Counter = collections.Counter()
        for where, fault, verdict in self.results:
            if where == folder:
                word = "caught" if verdict.startswith("caught") else verdict
                counts["argued" if fault.argument and word != "caught" else word] += 1
        return counts

    def line(self, folder: str, all_of_them: int, drawn: int, refused: int) -> tuple[str, bool]:
        counts = self.of(folder)
        tried = counts["caught"] + counts["survived"] + counts["not reached"]
        head = (f"{folder}: {all_of_them} faults, {drawn} drawn with seed {self.seed}, {refused} refused by the "
                f"compiler, {counts['argued']} argued to be equivalent")
        if not tried:
            return head, True
        low, high = limits(counts["caught"], tried)
        rate = 100 * counts["caught"] / tried
        return (f"{head}\n    {counts['caught']} of {tried} caught: {rate:.1f} % ({low:.1f} to {high:.1f}); "
                f"{counts['survived']} survived, {counts['not reached']} not reached by any test"
                f"\n    goal: {GOALS[folder]:.0f} %"), rate >= GOALS[folder]

    def survivors(self) -> str:
        parts = [f"\n{verdict.upper()}  {fault.described()}" for _, fault, verdict in sorted(
            self.results, key=lambda one: (one[0], one[2], one[1].file, one[1].line))
            if verdict in ("survived", "not reached") and not fault.argument]
        return "\n".join(parts)

    def doubtful(self) -> list[Fault]:
        return [fault for _, fault, verdict in self.results
                if fault.argument and verdict.startswith("caught")]

    def save(self, path: Path) -> None:
        path.write_text(json.dumps([{
            "folder": folder, "file": fault.file, "line": fault.line, "function": fault.function,
            "kind": fault.kind, "text": fault.text, "before": fault.before, "after": fault.after,
            "verdict": verdict, "argued": fault.argument != ""}
            for folder, fault, verdict in self.results], indent=1) + "\n", encoding="utf-8")


def built(drawn: dict[str, list[Fault]], copy: Copy, options: argparse.Namespace) -> list[Fault]:
    """Builds the faults of all folders together. Returns those that compile."""
    faults = [fault for folder in drawn for fault in drawn[folder]]
    for number, fault in enumerate(faults, 1):
        fault.number = number
    print(f"Building {len(faults)} faults into {copy.folder} ...", flush=True)
    begin = time.monotonic()
    left = copy.without_known(faults)
    copy.refresh(left)
    folders = list(drawn)
    if options.tools:
        copy.take_tools(options.tools)
        folders = [folder for folder in folders if folder != "workflow"]
    if folders:
        copy.configure()
        left = copy.make(sorted({one for folder in folders for one in targets(folder)}), left)
    for fault, reason in copy.refused:
        print(f"      {fault.where()}: {fault.kind}: refused: {reason[:120]}")
    print(f"Built in {time.monotonic() - begin:.0f} s.", flush=True)
    return left


def plant(folder: str, faults: list[Fault], copy: Copy, options: argparse.Namespace,
          report: Report) -> None:
    """Tries each fault of a folder."""
    print(f"{folder}: running the tests without a fault ...", flush=True)
    begin = time.monotonic()
    tests = suites(folder, copy)
    for suite in tests:
        failed = suite.survey(max((one.number for one in faults), default=0))
        if failed:
            raise SystemExit(f"Without any fault, {suite.name} fails: {failed}")
        print(f"      {suite.name}: {len(suite.cases)} tests, "
              f"{sum(case.seconds for case in suite.cases):.1f} s", flush=True)
    end = begin + 60.0 * options.minutes if options.minutes else math.inf
    skipped: list[Fault] = []

    def attempt(fault: Fault) -> None:
        if time.monotonic() > end:
            skipped.append(fault)
            return
        reached, caught = catcher(tests, fault.file.split("/")[1], fault.number)
        report.add(folder, fault, f"caught by {caught}" if caught else
                   "survived" if reached else "not reached")
    with ThreadPoolExecutor(options.jobs) as pool:
        for task in [pool.submit(attempt, fault) for fault in faults]:
            task.result()
    if skipped:
        print(f"{folder}: {len(skipped)} faults were not tried: the time was over.")


def parsed() -> argparse.Namespace:
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--seed", type=int, default=1, help="of the sample (default: %(default)s)")
    parser.add_argument("--count", type=int, default=250, metavar="N",
                        help="faults for each folder, 0: all (default: %(default)s)")
    parser.add_argument("--folder", action="append", choices=list(GOALS), default=[],
                        help="solver, workflow, tools or src; all without it")
    parser.add_argument("--only", action="append", default=[], metavar="FILE",
                        help="only files whose names hold this")
    parser.add_argument("--again", type=Path, metavar="FILE",
                        help="only what survived in the run that wrote this file")
    parser.add_argument("--minutes", type=float, default=0.0, metavar="N",
                        help="no fault of a folder is begun after so long (default: no limit)")
    parser.add_argument("--jobs", type=int, default=os.cpu_count() or 1, metavar="N",
                        help="at work at once (default: %(default)s)")
    parser.add_argument("--tools", type=Path, metavar="PROGRAM",
                        help="a torvik-tools of these sources: the workflow then needs no build")
    parser.add_argument("--list", action="store_true", help="print the faults")
    parser.add_argument("--check", action="store_true",
                        help="only say which arguments for equivalence fit no fault any more")
    parser.add_argument("--at", type=Path, metavar="FOLDER", help="where the copy is (default: %(default)s)",
                        default=Path(tempfile.gettempdir(), f"torvik_mutate_{os.getuid()}"))
    return parser.parse_args()


def tell_stale(stale: list[Entry]) -> None:
    for entry in stale:
        print(f"{EQUIVALENT.name}:{entry.number}: no fault of {entry.file} fits this any more:"
              f" {entry.text}")


def main() -> int:
    options = parsed()
    folders = options.folder or [folder for folder in GOALS if not options.only or any(
        part in name for name in sources(folder) for part in options.only)]
    arguments = entries(EQUIVALENT.read_text(encoding="utf-8"))
    at = options.at.resolve()
    if at == ROOT or ROOT in at.parents:
        raise SystemExit("Please give a folder outside the project.")
    if options.check:
        options.only = sorted({entry.file for entry in arguments})
    faults = population(folders, options.only, at / "faults", options.jobs)
    stale = argue([fault for folder in folders for fault in faults[folder]], arguments)
    tell_stale(stale)
    if options.check:
        return 0
    drawn = {folder: sample(faults[folder], options.count, f"{options.seed}/{folder}")
             for folder in folders}
    if options.again:
        before = survived(options.again)
        drawn = {folder: [fault for fault in those if identity(vars(fault)) in before]
                 for folder, those in faults.items()}
    if options.list:
        for fault in sorted((one for folder in folders for one in drawn[folder]),
                            key=lambda one: (one.file, one.start)):
            print(fault.described() + ("\n    = equivalent" if fault.argument else ""))
        return 0
    report = Report(options.seed, at / "results.json")
    copy = Copy(at, options.jobs)
    left = built(drawn, copy, options)
    for folder in folders:
        plant(folder, [fault for fault in drawn[folder] if fault in left], copy, options, report)
    return tell(report, copy, faults, drawn)


def tell(report: Report, copy: Copy, faults: dict[str, list[Fault]], drawn: dict[str, list[Fault]]) -> int:
    """Prints the summary. Gives the exit status."""
    print(report.survivors() + "\n")
    good = True
    for folder, those in drawn.items():
        refused = sum(1 for fault, _ in copy.refused if fault in those)
        line, reached = report.line(folder, len(faults[folder]), len(those), refused)
        print(line)
        good = good and reached
    for fault in report.doubtful():
        print(f"Caught, though argued to be equivalent: {fault.described()}")
        good = False
    return 0 if good else 1


if __name__ == "__main__":
    sys.exit(main())
