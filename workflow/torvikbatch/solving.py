"""Solves the crystals of one group, one after the other, and records each as soon as it is done.

    step.py solving PASS GROUP CALL

CALL tells one call of torvik-tools batch from another.
"""

from __future__ import annotations

import fcntl
import json
import os
import signal
import subprocess
import sys
import tempfile
import time
from contextlib import contextmanager
from pathlib import Path

from torvikbatch import folder
from torvikbatch.folder import CELL, Input, Pass
from torvikbatch.signals import STOPPING, hear, hold

# Seconds that a command may take beyond its budget, for reading the measurement and writing the answer. After
# that it hangs, and is killed.
MARGIN = 15.0
DYING = 10.0  # seconds that a killed command is waited for: one that waits for a disk cannot die
LONGESTERRORS = 10**6  # letters
HANGS = -1000  # in place of a status

# Statuses with which torvik-tools solve reports its verdicts.
STATUSES = {"solved": 0, "ambiguous": 0, "refused": 1}


class Stopped(Exception):
    """The job was told to end."""


def stop(_signal: int, _frame: object) -> None:
    raise Stopped


@contextmanager
def alone(path: Path):
    """Waits until no other job works at the group: one that outlived the workflow that started it."""
    with open(path, "w", encoding="utf-8") as file:
        fcntl.flock(file, fcntl.LOCK_EX)
        yield


def command(given: Input, output: Path, settings: dict, cells: list[list[float]]) -> list[str]:
    line = [settings["tools"], "solve", given.file, "--output", str(output),
            "--budget", repr(settings["budget"]), *settings["options"]]
    if settings["keep"] == "all":
        line += ["--results", "--torvik", settings["torvik"]]
    for other in given.others:
        line += ["--with", other]
    if settings["volume"] and not cells:
        line += ["--volume", *settings["volume"]]
    for cell in cells:
        line += ["--cell", *(repr(value) for value in cell)]
    return line


def ended(line: list[str], seconds: float) -> tuple[int, str]:
    """Runs a command to its end. Returns its status and what it said on the error stream. It has a
    session of its own: a Ctrl-C for the workflow would make it give a hasty answer."""
    # In the folder of the batch, which has to be there anyway: a folder for temporary files need not.
    with tempfile.TemporaryFile("w+", encoding="utf-8", errors="surrogateescape", newline="\n",
                                dir=".") as errors:
        child = None
        hold()
        try:
            child = subprocess.Popen(line, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                     stderr=errors, start_new_session=True, preexec_fn=hear)
            hear()
            status = child.wait(seconds)
        except subprocess.TimeoutExpired:
            status = HANGS
        finally:
            hear()
            if child and child.poll() is None:
                kill(child)
        errors.seek(0)
        said = errors.read(LONGESTERRORS)
    return status, said


def kill(child: subprocess.Popen) -> None:
    """Ends a command and all that it has started in its session."""
    os.killpg(child.pid, signal.SIGKILL)
    try:
        child.wait(DYING)
    except subprocess.TimeoutExpired:
        pass


def errorin(said: str, status: int) -> str:
    for line in said.split("\n"):
        if line.startswith("Error: "):
            return line.removeprefix("Error: ")
    if status == HANGS:
        return f"The command did not end within {MARGIN:.0f} seconds after its budget."
    if status < 0:
        return f"The command was ended by signal {-status}."
    return f"The command ended with status {status} and no solution."


def contentof(solution: dict) -> dict:
    """What a record takes from FILE.solution.json."""
    content = {key: solution[key] for key in ("verdict", "reason", "remarks", "interrupted")}
    content["measured"] = len(solution["reflections"])
    candidates = solution["candidates"]
    if solution["lead"] is not None:
        content["lead"] = solution["lead"]
    if solution["competing"] > 1:
        content["competing"] = [[one["cell"][key] for key in CELL]
                                for one in candidates[:solution["competing"]]]
    if "known" in solution:
        content["known"] = solution["known"]
    if solution["verdict"] == "refused" or not solution["lattices"]:
        return content
    first = solution["lattices"][0]
    cell = solution["cell"]
    content |= {"cell": [cell[key] for key in CELL], "volume": cell["volume"],
                "uncertainty": [cell["uncertainty"][key] for key in (*CELL, "volume")],
                "basis": first["basis"], "indexed": first["indexed"], "sigma": first["sigma"],
                "wrong": first["wrong"], "evidence": first["evidence"],
                "lattices": len(solution["lattices"])}
    return content


def solved(given: Input, output: Path, settings: dict, cells: list[list[float]], call: str) -> dict:
    """The record of one crystal. Whatever went wrong is recorded as failed, which is no verdict: the next call
    tries it again, since the reason may have been a full disk."""
    start = time.monotonic()
    line = command(given, output, settings, cells)
    allowed = settings["budget"] + MARGIN

    def tried() -> tuple[int, str]:
        solutionof(output).unlink(missing_ok=True)
        return ended(line, max(0.0, allowed - (time.monotonic() - start)))

    status, said = tried()
    if status < 0 and status != HANGS: # killed, by a system that is short of memory perhaps
        status, said = tried()
    record = {"number": given.number, "file": given.file, "size": given.size,
              "changed": given.changed}
    if given.others:
        record["others"] = given.others
    record["seconds"] = round(time.monotonic() - start, 3)
    content = answerin(solutionof(output), status)
    if content and folder.recordin(json.dumps(record | content).encode()):
        return record | content
    reason = errorin(said, status)
    if content:
        reason = "The command wrote a solution that is none."
    return record | {"verdict": "failed", "reason": reason, "call": call}


def solutionof(output: Path) -> Path:
    return output.with_name(output.name + ".solution.json")


def answerin(path: Path, status: int) -> dict | None:
    """What a record takes from a solution; none if there is none, or if the command failed after all."""
    if status not in STATUSES.values():
        return None
    try:
        content = contentof(json.loads(path.read_text(encoding="utf-8")))
        if STATUSES[content["verdict"]] != status:
            return None
    except (OSError, ValueError, TypeError, LookupError, AttributeError, RecursionError):
        return None
    return content | {"solution": str(path)}


def tidy(output: Path, record: dict, settings: dict) -> None:
    """Removes the files of a crystal that are not to be kept."""
    keep = settings["keep"]
    if keep == "all" and record["verdict"] != "failed":
        return
    endings = [".solution.idx", ".solution_idx.res"]
    if keep == "none" or record["verdict"] == "failed":
        endings.append(".solution.json")
        record.pop("solution", None)
    for ending in endings:
        output.with_name(output.name + ending).unlink(missing_ok=True)


def addrecord(path: Path, record: dict) -> None:
    """Adds a line that is there for good: a job may be killed right after."""
    with open(path, "a+b") as file:
        if file.tell() > 0:
            file.seek(-1, os.SEEK_END)
            if file.read(1) != b"\n":
                file.write(b"\n")
        file.write(json.dumps(record, ensure_ascii=True).encode() + b"\n")
        file.flush()
        os.fsync(file.fileno())


def ascells(number: int) -> list[list[float]]:
    """The cells that a pass tries: none in the first, the consensus in the second."""
    if number == folder.FIRST.number:
        return []
    return folder.consensus()["tried"]


def holds(record: dict | None, given: Input, cells: list[list[float]], call: str) -> bool:
    """Whether a record answers for an input, tried with these cells."""
    return (record is not None and folder.isof(record, given) and record.get("cells", []) == cells
            and (record["verdict"] != "failed" or record["call"] == call))


def awaited(path: Path) -> list[Input]:
    """A list, which a file system that many machines share can show late."""
    end = time.monotonic() + folder.LATENCY
    while not path.exists() and time.monotonic() < end:
        time.sleep(1.0)
    return folder.readlist(path)


def work(which: Pass, group: str, call: str) -> None:
    inputs = awaited(which.listof(group))
    settings = folder.settings()
    cells = ascells(which.number)
    place = folder.CRYSTALS / group
    place.mkdir(parents=True, exist_ok=True)
    which.solved.mkdir(parents=True, exist_ok=True)
    path = which.recordsof(group)
    with alone(path.with_suffix(".lock")):
        before = folder.latest(path)
        failed = 0
        for given in inputs:
            known = before.get(given.number)
            if holds(known, given, cells, call):
                failed += known["verdict"] == "failed"
                continue
            output = place / (given.name + (".known" if cells else ""))
            record = solved(given, output, settings, cells, call)
            tidy(output, record, settings)
            if cells:
                record["cells"] = cells
            addrecord(path, record)
            failed += record["verdict"] == "failed"
        folder.writewhole(which.doneof(group), f"{failed}\n")


def main(arguments: list[str]) -> int:
    number, group, call = arguments
    if not folder.GROUP.fullmatch(group):
        raise ValueError(f"{group!r} is no group")
    for one in STOPPING:
        signal.signal(one, stop)
    try:
        work(folder.FIRST if int(number) == 1 else folder.SECOND, group, call)
    except Stopped:
        print(f"Group {group} was stopped. What is finished is kept.", file=sys.stderr)
        return 1
    return 0
