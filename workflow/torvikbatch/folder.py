"""The folder of a batch: which files there are, and how they are written.

    settings.json               how each crystal is solved; fixed with the first call
    jobs/lists/GROUP.tsv        the inputs, in groups: each is a job
    jobs/solved/GROUP.jsonl     a record for each crystal that is finished
    jobs/solved/GROUP.done      the group is finished; holds how many of its crystals have failed
    jobs/again/...              the same for the second pass
    crystals/GROUP/             solutions
    jobs/members.tsv            groups of one lattice: the number of a crystal, the number of its group
    consensus.json, crystals.sqlite, crystals.csv, overview.html
    batch.log                   what Snakemake and the jobs say

Records are only ever added. A job that is interrupted goes on behind the last whole record.
"""

from __future__ import annotations

import json
import os
from collections.abc import Iterator
from dataclasses import dataclass
from pathlib import Path

SETTINGS = Path("settings.json")
CONSENSUS = Path("consensus.json")
DATABASE = Path("crystals.sqlite")
TABLE = Path("crystals.csv")
OVERVIEW = Path("overview.html")
LOG = Path("batch.log")
LOCK = Path("batch.lock")
CACHE = Path("jobs/cache")
CRYSTALS = Path("crystals")
MEMBERS = Path("jobs/members.tsv")


# What a crystal's answer can be, the best first; and what a cell is made of.
VERDICTS = ("solved", "ambiguous", "refused", "failed")
CELL = ("a", "b", "c", "alpha", "beta", "gamma")

LONGESTSTEM = 150  # bytes; file systems bear 255


@dataclass(frozen=True)
class Pass:
    """One of the two passes over the crystals: its lists, and its records."""

    number: int
    folder: Path

    @property
    def lists(self) -> Path:
        return self.folder / "lists"

    @property
    def solved(self) -> Path:
        return self.folder / "solved"

    def listof(self, group: str) -> Path:
        return self.lists / f"{group}.tsv"

    def recordsof(self, group: str) -> Path:
        return self.solved / f"{group}.jsonl"

    def doneof(self, group: str) -> Path:
        return self.solved / f"{group}.done"

    def groups(self) -> list[str]:
        return sorted(path.stem for path in self.lists.glob("*.tsv"))


FIRST = Pass(1, Path("jobs"))
SECOND = Pass(2, Path("jobs/again"))


class Unusable(Exception):
    """Something that the user has to change. The text is a sentence."""


@dataclass(frozen=True, slots=True)
class Input:
    """A measurement with the further files that it needs, as they were when it was listed."""

    number: int
    size: int  # bytes of all of them; -1 if the measurement is not there
    changed: int  # time of the last change of any of them, ns
    file: str  # absolute
    others: tuple[str, ...] = ()  # further files that it needs

    @staticmethod
    def of(number: int, file: str, others: tuple[str, ...] = ()) -> Input:
        size = -1
        changed = 0
        for name in (file, *others):
            try:
                status = os.stat(name)
            except OSError:
                if name == file:
                    break
                continue
            size = max(size, 0) + status.st_size
            changed = max(changed, status.st_mtime_ns)
        return Input(number, size, changed, file, others)

    @property
    def name(self) -> str:
        """What the names of its files begin with: unlike for all inputs, and short enough to be added
        to."""
        stem = os.fsencode(Path(self.file).stem)[:LONGESTSTEM].decode("utf-8", "ignore")
        return f"{self.number:08d}_{stem}"


def readlist(path: Path) -> list[Input]:
    inputs = []
    with open(path, encoding="utf-8", errors="surrogateescape", newline="\n") as lines:
        for line in lines:
            if line.startswith("#"):
                continue
            number, size, changed, file, *others = line.removesuffix("\n").split("\t")
            inputs.append(Input(int(number), int(size), int(changed), file, tuple(others)))
    return inputs


def writelist(path: Path, inputs: list[Input], remark: str = "") -> None:
    lines = ["\t".join((str(one.number), str(one.size), str(one.changed), one.file, *one.others))
             for one in inputs]
    if remark:
        lines.append(f"# {remark}")
    writewhole(path, "".join(line + "\n" for line in lines))


def writewhole(path: Path, text: str) -> None:
    """Writes a file so that its name never stands for a part of it."""
    path.parent.mkdir(parents=True, exist_ok=True)
    part = path.with_name(f"{path.name}.{os.getpid()}.part")
    try:
        with open(part, "w", encoding="utf-8", errors="surrogateescape", newline="\n") as file:
            file.write(text)
            file.flush()
            os.fsync(file.fileno())
        part.replace(path)
    finally:
        part.unlink(missing_ok=True)


def records(path: Path) -> Iterator[dict]:
    """The whole records of a file; none if there is no such file. What a killed job left behind the
    last line is passed over."""
    try:
        file = open(path, "rb")
    except FileNotFoundError:
        return
    with file:
        for line in file:
            if not line.endswith(b"\n"):
                return
            try:
                yield json.loads(line)
            except ValueError:
                continue  # the rest of a record that was cut, ended by the job that came next


def latest(path: Path) -> dict[int, dict]:
    """The last record of each crystal, by its number."""
    return {record["number"]: record for record in records(path)}


def settings() -> dict:
    return json.loads(SETTINGS.read_text(encoding="utf-8"))


def stateof(record: dict) -> tuple[int, int]:
    """What tells an input from earlier states of it."""
    return record["size"], record["changed"]


def isof(record: dict, given: Input) -> bool:
    """Whether a record is of this input, and not of an earlier state of it."""
    return stateof(record) == (given.size, given.changed)
