#!/usr/bin/env python3
"""Plants some faults in small files of the solver: those that ./test.sh tries.

    short.py --file FILE --count N --seed N --objects O... --libraries L... [--least PERCENT]

As mutate.py does, but in no copy of the project: the files with their faults are compiled here, and linked
ahead of the libraries with the objects of tests that are there already. The exit status is zero if the tests
catch the given part of the faults, those aside that are argued to be equivalent.
"""

from __future__ import annotations

import argparse
import subprocess
import sys
import tempfile
from pathlib import Path

import cppfaults
from building import FLAGS, HERE, Copy
from faults import EQUIVALENT, Fault, argue, entries
from mutate import GOALS, Report, sample
from suites import GTestSuite, catcher

CANNOT = 77  # as ctest has it for a test that is skipped


def compiled(copy: Copy, faults: list[Fault]) -> tuple[list[Fault], list[str]]:
    """Compiles the files with their faults. Gives those that the compiler takes, and the objects."""
    files = sorted({fault.file for fault in faults})
    for file in files:
        copy.plant(file, [fault for fault in faults if fault.file == file])
    left = faults
    objects: list[str] = []
    while len(objects) < len(files):
        file = files[len(objects)]
        made = str(copy.folder / f"faulty_{len(objects)}.o")
        done = copy.compile(file, ["-c", "-o", made])
        if done.returncode == 0:
            objects.append(made)
        else:
            left = copy.without_refused(left, done.stderr)
    return left, objects


def linked(copy: Copy, objects: list[str], options: argparse.Namespace) -> str:
    program = str(copy.folder / "tests")
    own = [str(HERE / "planted.cpp"), str(HERE / "planted_main.cpp")]
    subprocess.run(["g++", "-std=c++20", "-O1", *own, *objects, *options.objects, *options.libraries,
                    "-lgtest", "-pthread", "-o", program], check=True)
    return program


def main() -> int:
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--file", nargs="+", required=True)
    parser.add_argument("--count", type=int, required=True)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--objects", nargs="+", required=True)
    parser.add_argument("--libraries", nargs="*", default=[])
    parser.add_argument("--least", type=float, default=GOALS["solver"])
    options = parser.parse_args()
    if not cppfaults.available():
        print("libclang's module for Python is missing: Debian's python3-clang.")
        return CANNOT
    faults = [fault for file in options.file for fault in cppfaults.found_in(file)]
    argue(faults, entries(EQUIVALENT.read_text(encoding="utf-8")))
    drawn = sample([fault for fault in faults if not fault.argument], options.count, f"{options.seed}/short")
    for number, fault in enumerate(drawn, 1):
        fault.number = number
    with tempfile.TemporaryDirectory(prefix="torvik_short_") as folder:
        copy = Copy(Path(folder), 1)
        left, objects = compiled(copy, drawn)
        suite = GTestSuite("tests", "", program=linked(copy, objects, options))
        failed = suite.survey(len(drawn))
        if failed:
            raise SystemExit(f"Without any fault, a test fails: {failed}")
        report = Report(options.seed)
        for fault in left:
            reached, caught = catcher([suite], "", fault.number)
            report.add("solver", fault, f"caught by {caught}" if caught else
                       "survived" if reached else "not reached")
    print(report.survivors())
    line, _ = report.line("solver", len(faults), len(drawn), len(drawn) - len(left))
    print(line)
    counts = report.of("solver")
    return 0 if left and 100.0 * counts["caught"] >= options.least * len(left) else 1


if __name__ == "__main__":
    sys.exit(main())
