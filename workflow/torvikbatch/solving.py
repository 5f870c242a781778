"""Solves the crystals of one group, one after the other, and records each as soon as it is done.

    python3 -m torvikbatch.solving PASS GROUP
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

# A command that has not ended so long after its budget hangs. Reading a large file, and a run for the
# results, can go on beyond the budget.
PATIENCE = 120.0  # seconds
HANGS = -1000  # in place of a status


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


def ended(line: list[str], budget: float) -> tuple[int, str]:
    """Runs a command to its end. Returns its status and what it said on the error stream. It has a
    session of its own: a Ctrl-C for the workflow would make it give a hasty answer."""
    with tempfile.TemporaryFile("w+", encoding="utf-8", errors="surrogateescape") as errors:
        child = None
        hold()
        try:
            child = subprocess.Popen(line, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                     stderr=errors, start_new_session=True, preexec_fn=hear)
            hear()
            status = child.wait(budget + PATIENCE)
        except subprocess.TimeoutExpired:
            status = None
        finally:
            hear()
            if child and child.poll() is None:
                os.killpg(child.pid, signal.SIGKILL)
                child.wait()
        errors.seek(0)
        said = errors.read()
    if status is None:
        return HANGS, f"Error: It did not end {PATIENCE:.0f} seconds after its budget."
    return status, said


def thiscall() -> str:
    """What tells one call of the workflow from another; all its jobs have it from their environment."""
    return os.environ.get("TORVIK_CALL", "")


def errorin(said: str, status: int) -> str:
    for line in said.splitlines():
        if line.startswith("Error: "):
            return line.removeprefix("Error: ")
    if status < 0:
        return f"The command was ended by signal {-status}."
    return f"The command ended with status {status} and no solution."


def contentof(solution: dict) -> dict:
    """What a record takes from FILE.solution.json."""
    content = {key: solution[key] for key in ("verdict", "reason", "remarks")}
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


def solved(given: Input, output: Path, settings: dict, cells: list[list[float]]) -> dict:
    """The record of one crystal. A bad input is recorded as failed: until the next call, which tries it
    again, since the reason may have been a full disk."""
    start = time.monotonic()
    solution = output.with_name(output.name + ".solution.json")
    solution.unlink(missing_ok=True)
    status, said = ended(command(given, output, settings, cells), settings["budget"])
    if status < 0 and status != HANGS: # killed, by a system that is short of memory perhaps
        status, said = ended(command(given, output, settings, cells), settings["budget"])
    record = {"number": given.number, "file": given.file, "size": given.size,
              "changed": given.changed}
    try:
        record |= contentof(json.loads(solution.read_text(encoding="utf-8")))
        record["solution"] = str(solution)
    except (OSError, ValueError, KeyError):
        record |= {"verdict": "failed", "reason": errorin(said, status), "call": thiscall()}
    record["seconds"] = round(time.monotonic() - start, 3)
    return record


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
    return json.loads(folder.CONSENSUS.read_text(encoding="utf-8"))["tried"]


def holds(record: dict | None, given: Input, cells: list[list[float]]) -> bool:
    """Whether a record answers for an input, tried with these cells."""
    return (record is not None and folder.isof(record, given) and record.get("cells", []) == cells
            and (record["verdict"] != "failed" or record["call"] == thiscall()))


def work(which: Pass, group: str) -> None:
    settings = folder.settings()
    cells = ascells(which.number)
    place = folder.CRYSTALS / group
    place.mkdir(parents=True, exist_ok=True)
    which.solved.mkdir(parents=True, exist_ok=True)
    path = which.recordsof(group)
    with alone(path.with_suffix(".lock")):
        before = folder.latest(path)
        failed = 0
        for given in folder.readlist(which.listof(group)):
            known = before.get(given.number)
            if holds(known, given, cells):
                failed += known["verdict"] == "failed"
                continue
            output = place / (given.name + (".known" if cells else ""))
            record = solved(given, output, settings, cells)
            tidy(output, record, settings)
            if cells:
                record["cells"] = cells
            addrecord(path, record)
            failed += record["verdict"] == "failed"
        folder.writewhole(which.doneof(group), f"{failed}\n")


def main(arguments: list[str]) -> int:
    number, group = arguments
    for one in STOPPING:
        signal.signal(one, stop)
    try:
        work(folder.FIRST if int(number) == 1 else folder.SECOND, group)
    except Stopped:
        print(f"Group {group} was stopped. What is finished is kept.", file=sys.stderr)
        return 1
    except OSError as why:
        print(f"Error: {why.filename or 'A file'}: {why.strerror}.", file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
