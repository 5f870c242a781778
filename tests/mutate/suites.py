"""The tests that are run against a fault: which of them reach it, and which of them fails."""

from __future__ import annotations

import os
import re
import resource
import shutil
import signal
import subprocess
import sys
import tempfile
import time
from dataclasses import dataclass, field
from pathlib import Path

QUICK = 0.3  # seconds: tests that take no longer are run first
BATCH = 20.0  # seconds: slower tests are run in groups that take about so long
MEMORY = 6 << 30


@dataclass
class Case:
    """A test, with its time without a fault and the numbers of the faults that it reaches."""

    name: str
    seconds: float
    reached: set[int]


@dataclass
class Ended:
    """How a process ended: its status, or none if it ran out of time, and what it printed."""

    status: int | None
    output: str


def run(line: list[str], seconds: float, environment: dict[str, str], folder: str | None = None,
        ) -> Ended:
    """Runs tests in a folder of their own, with limits, and leaves no process behind."""
    scratch = tempfile.mkdtemp(prefix="torvik_fault_")

    def limit() -> None:
        for one in (signal.SIGINT, signal.SIGHUP, signal.SIGTERM):
            signal.signal(one, signal.SIG_DFL)
        resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
        resource.setrlimit(resource.RLIMIT_FSIZE, (1 << 30, 1 << 30))
        resource.setrlimit(resource.RLIMIT_AS, (MEMORY, MEMORY))
    log = Path(scratch, "log")
    inside = Path(scratch, "here")
    inside.mkdir()
    try:
        with log.open("w") as output:
            process = subprocess.Popen(
                line, stdin=subprocess.DEVNULL, stdout=output, stderr=subprocess.STDOUT,
                cwd=folder or inside, env={**os.environ, "TMPDIR": str(inside), **environment},
                preexec_fn=limit, start_new_session=True)
            status: int | None
            try:
                status = process.wait(timeout=seconds)
            except subprocess.TimeoutExpired:
                status = None
            try:
                os.killpg(process.pid, signal.SIGKILL)
            except ProcessLookupError:
                pass
            process.wait()
        return Ended(status, log.read_text(errors="replace"))
    finally:
        subprocess.run(["chmod", "-R", "u+rwX", scratch], check=False, capture_output=True)
        shutil.rmtree(scratch, ignore_errors=True)


def how(status: int) -> str:
    return f"ended by {signal.Signals(-status).name}" if status < 0 else f"ended with {status}"


@dataclass
class Suite:
    """A program of tests, or a module of them."""

    name: str
    folder: str  # whose tests they are: those near a faulty file are run first
    cases: list[Case] = field(default_factory=list)

    def survey(self, faults: int) -> str:
        """Runs all tests without a fault, and fills the cases. Gives what failed."""
        raise NotImplementedError

    def caught(self, fault: int, cases: list[Case]) -> str:
        """Runs tests with a fault, up to the first that fails. Gives what failed."""
        raise NotImplementedError

    @staticmethod
    def patience(cases: list[Case]) -> float:
        return 10.0 * sum(case.seconds for case in cases) + 5.0


@dataclass
class GTestSuite(Suite):
    """A program of GoogleTest."""

    program: str = ""
    filter: str = "*"  # as --gtest_filter has it
    environment: dict[str, str] = field(default_factory=dict)

    def survey(self, faults: int) -> str:
        with tempfile.TemporaryDirectory() as folder:
            reached = Path(folder, "reached")
            reached.write_bytes(bytes(faults + 1))
            tests = Path(folder, "tests")
            ended = run([self.program, "--gtest_color=no", "--gtest_filter=" + self.filter], 3000.0,
                        {**self.environment, "TORVIK_FAULTS_REACHED": str(reached),
                         "TORVIK_FAULTS_TESTS": str(tests)})
            if ended.status != 0:
                return self.failed(ended) + "\n" + ended.output[-4000:]
            for line in tests.read_text().splitlines():
                name, milliseconds, *numbers = line.split(" ")
                self.cases.append(Case(name, float(milliseconds) / 1000.0, set(map(int, numbers))))
        return ""

    def failed(self, ended: Ended) -> str:
        failures = re.findall(r"^\[  FAILED  \] (\S+?)[,\s]", ended.output, re.M)
        begun = re.findall(r"^\[ RUN      \] (\S+)", ended.output, re.M)
        if failures:
            return failures[0]
        last = begun[-1] if begun else "the start"
        return f"{last}: " + ("out of time" if ended.status is None else how(ended.status))

    def caught(self, fault: int, cases: list[Case]) -> str:
        ended = run([self.program, "--gtest_color=no"], self.patience(cases),
                    {**self.environment, "TORVIK_FAULT": str(fault), "GTEST_FAIL_FAST": "1",
                     "GTEST_FILTER": ":".join(case.name for case in cases)})
        return "" if ended.status == 0 else self.failed(ended)


@dataclass
class UnittestSuite(Suite):
    """A module of Python's unittest."""

    module: str = ""
    where: str = ""
    python: str = sys.executable
    environment: dict[str, str] = field(default_factory=dict)
    left_out: str = "$^"  # an expression for tests that are not run

    def names(self) -> list[str]:
        """Class and method of each test."""
        text = Path(self.where, self.module + ".py").read_text(encoding="utf-8")
        found, holder = [], ""
        for line in text.splitlines():
            if match := re.match(r"class (\w+)", line):
                holder = match[1]
            elif match := re.match(r"    def (test\w+)", line):
                found.append(f"{self.module}.{holder}.{match[1]}")
        return [name for name in found if not re.search(self.left_out, name)]

    def line(self, names: list[str]) -> list[str]:
        return [self.python, "-B", "-m", "unittest", "-f", *names]

    def survey(self, faults: int) -> str:
        for name in self.names():
            with tempfile.TemporaryDirectory() as folder:
                reached = Path(folder, "reached")
                reached.write_bytes(bytes(faults + 1))
                begin = time.monotonic()
                ended = run(self.line([name]), 3000.0,
                            {**self.environment, "TORVIK_FAULTS_REACHED": str(reached)}, self.where)
                if ended.status != 0:
                    return f"{name}\n{ended.output[-4000:]}"
                numbers = {i for i, byte in enumerate(reached.read_bytes()) if byte}
                self.cases.append(Case(name, time.monotonic() - begin, numbers))
        return ""

    def caught(self, fault: int, cases: list[Case]) -> str:
        ended = run(self.line([case.name for case in cases]), self.patience(cases),
                    {**self.environment, "TORVIK_FAULT": str(fault)}, self.where)
        if ended.status == 0:
            return ""
        failures = re.findall(r"^(?:FAIL|ERROR): (\S+)", ended.output, re.M)
        if failures:
            return failures[0]
        return f"{cases[0].name}: " + ("out of time" if ended.status is None else how(ended.status))


def batches(suites: list[Suite], folder: str, fault: int) -> list[tuple[Suite, list[Case]]]:
    """The tests that reach a fault, in groups: first those that are near and quick."""
    found = []
    for suite in suites:
        reaching = [case for case in suite.cases if fault in case.reached]
        group: list[Case] = []
        groups = [[case for case in reaching if case.seconds <= QUICK]]
        for case in sorted(reaching, key=lambda one: one.seconds):
            if case.seconds <= QUICK:
                continue
            if group and sum(one.seconds for one in group) + case.seconds > BATCH:
                groups.append(group)
                group = []
            group.append(case)
        weight = 1.0 if suite.folder == folder else 4.0
        for cases in (*groups, group):
            if cases:
                cost = 0.05 + sum(case.seconds for case in cases)
                found.append((weight * cost, suite.name, suite, cases))
    return [(suite, cases) for _, _, suite, cases in sorted(found, key=lambda one: one[:2])]


def unattributed(suites: list[Suite], folder: str, fault: int) -> list[tuple[Suite, list[Case]]]:
    """The near tests that do not seem to reach a fault: what one test made, another may use."""
    return [(suite, rest) for suite in suites if suite.folder == folder
            and any(fault in case.reached for case in suite.cases)
            and (rest := [case for case in suite.cases if fault not in case.reached])]


def catcher(suites: list[Suite], folder: str, fault: int) -> tuple[bool, str]:
    """Whether any test reaches a fault, and which test catches it."""
    near = batches(suites, folder, fault)
    for suite, cases in [*near, *unattributed(suites, folder, fault)]:
        caught = suite.caught(fault, cases)
        if caught:
            return True, f"{suite.name}: {caught}"
    return bool(near), ""
