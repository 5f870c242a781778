"""What the tests of the workflow have in common: crystals that are simulated, and batches of them."""

from __future__ import annotations

import json
import os
import shlex
import shutil
import signal
import sqlite3
import subprocess
import sys
import tempfile
import time
import unittest
import unittest.mock
from pathlib import Path

PROJECT = Path(__file__).resolve().parents[2]
WORKFLOW = PROJECT / "workflow"
TOOLS = os.environ.get("TORVIK_TOOLS", str(PROJECT / "build/torvik-tools"))
LONG = bool(os.environ.get("TORVIK_LONG"))
# Seconds, for what should take some. It is also the budget of a crystal where a test gives none: an answer
# that came out of one would hang on the machine.
PATIENCE = 600.0

# Letters that mean something to a shell, to Snakemake, to SQL or to a page.
HOSTILE = "p$(touch X)`touch X`;touch X'\"|&<>{group}%j\\ *?\u00e4"

sys.path.insert(0, str(WORKFLOW))


class InAFolder(unittest.TestCase):
    """Tests in a new folder, which is the working directory."""

    def setUp(self) -> None:
        whole = Path(tempfile.mkdtemp(prefix="torvik_batch_")).resolve()
        self.addCleanup(shutil.rmtree, whole, ignore_errors=True)
        self.addCleanup(killall, whole)
        self.folder = whole / "here"
        scratch = whole / "scratch" # what processes leave that are killed
        self.folder.mkdir()
        scratch.mkdir()
        for one in (whole, self.folder, scratch):
            one.chmod(0o755)
        changed = unittest.mock.patch.dict(os.environ, {"TMPDIR": str(scratch)})
        changed.start()
        self.addCleanup(changed.stop)
        before = os.getcwd()
        self.addCleanup(os.chdir, before)
        os.chdir(self.folder)


def simulate(output: str, *arguments: object) -> None:
    """Makes input files of crystals, without their truth."""
    Path(output).parent.mkdir(parents=True, exist_ok=True)
    subprocess.run([TOOLS, "simulate", "-o", output, *map(str, arguments)], check=True,
                   capture_output=True)
    for truth in Path(output).parent.glob("*.truth.json"):
        truth.unlink()


# A cell that is solved within a tenth of a second.
EASY = ("--cell", "5 6 7 90 90 90", "-n", 12, "--noise", 0.005)


def easycrystals(count: int, where: str = "data", seed: int = 1) -> None:
    simulate(f"{where}/s{seed}.idx", *EASY, "--crystals", count, "--seed", seed)


class Gate:
    """A torvik-tools for the jobs of a batch that waits with each crystal while it is closed: what a test
    does in mid-run then happens in mid-run, on a fast machine as on a slow one."""

    SCRIPT = """#!/bin/sh
while [ "$1" = solve ] && read -r limit 2>/dev/null <"{gate}" &&
      [ "$(cat "{records}"/*.jsonl 2>/dev/null | wc -l)" -ge "$limit" ]; do
    sleep 0.05
done
exec "{tools}" "$@"
"""

    def __init__(self, output: str, limit: int) -> None:
        """Closed as soon as so many crystals are recorded. Each worker may have let one more through."""
        self._records = Path(output, "jobs/solved").absolute()
        self._gate = Path("gate").absolute()
        self._tools = Path("gated").absolute()
        self._tools.write_text(self.SCRIPT.format(
            gate=self._gate, records=self._records, tools=Path(TOOLS).resolve()), encoding="utf-8")
        self._tools.chmod(0o755)
        self.options = ("--tools", str(self._tools))
        self.openfor(limit)

    def openfor(self, limit: int) -> None:
        """Lets crystals through until so many are recorded."""
        writing = self._gate.with_name("gate.part")
        writing.write_text(f"{limit}\n", encoding="utf-8")
        writing.rename(self._gate)

    def open(self) -> None:
        self._gate.unlink()


class Batch:
    """A call of torvik-tools batch that goes on in the background."""

    def __init__(self, *arguments: str, environment: dict | None = None) -> None:
        if "--budget" not in arguments:
            arguments += ("--budget", str(PATIENCE))
        self.process = subprocess.Popen([TOOLS, "batch", *arguments], stdout=subprocess.PIPE,
                                        stderr=subprocess.PIPE, text=True, errors="surrogateescape",
                                        env=environment or dict(os.environ))

    def end(self) -> tuple[int, str, str]:
        output, errors = self.process.communicate(timeout=PATIENCE)
        return self.process.returncode, output, errors

    def send(self, how: signal.Signals) -> None:
        self.process.send_signal(how)


def batch(*arguments: str, environment: dict | None = None) -> tuple[int, str, str]:
    """Status, output and errors of a call."""
    return Batch(*arguments, environment=environment).end()


def recordlines(output: str, place: str = "jobs/solved") -> list[str]:
    return [line for path in sorted(Path(output, place).glob("*.jsonl"))
            for line in path.read_text(encoding="utf-8").rstrip("\n").split("\n") if line]


def recorded(output: str, place: str = "jobs/solved") -> list[dict]:
    return [json.loads(line) for line in recordlines(output, place)]


def waitfor(condition, what: str) -> None:
    end = time.monotonic() + PATIENCE
    while not condition():
        if time.monotonic() > end:
            raise AssertionError(f"{what} did not happen in {PATIENCE} seconds")
        time.sleep(0.05)


def replacement(script: str, name: str = "replaced") -> tuple[str, str]:
    """Options for a torvik-tools whose `solve` is a script of the shell; "$tools" is the true program."""
    path = Path(name).absolute()
    path.write_text(f"""#!/bin/sh
tools={shlex.quote(str(Path(TOOLS).resolve()))}
if [ "$1" != solve ]; then exec "$tools" "$@"; fi
{script}
""", encoding="utf-8")
    path.chmod(0o755)
    return "--tools", str(path)


def table(output: str, query: str, *values: object) -> list[tuple]:
    database = sqlite3.connect(Path(output, "crystals.sqlite"))
    try:
        return database.execute(query, values).fetchall()
    finally:
        database.close()


def processesin(folder: Path) -> list[int]:
    """All processes whose working directory is in a folder."""
    found = []
    for entry in Path("/proc").iterdir():
        if entry.name.isdigit():
            try:
                where = Path(os.readlink(entry / "cwd"))
            except OSError:
                continue
            if where == folder or folder in where.parents:
                found.append(int(entry.name))
    return [number for number in found if number != os.getpid()]


def commandline(number: int) -> bytes:
    """The words of a process, each with a zero behind; empty if it has ended."""
    try:
        return Path(f"/proc/{number}/cmdline").read_bytes()
    except OSError:
        return b""


def killall(folder: Path) -> None:
    """What a power failure does to a batch."""
    while numbers := processesin(folder): # those that have ended are in no folder
        for number in numbers:
            try:
                os.kill(number, signal.SIGKILL)
            except ProcessLookupError:
                pass
        time.sleep(0.05)
