"""The folder of a batch: which files there are, and how they are written.

    settings.json               how each crystal is solved; fixed with the first call
    jobs/lists/GROUP.tsv        the inputs, in groups of six digits: each is a job
    jobs/solved/GROUP.jsonl     a record for each crystal that is finished
    jobs/solved/GROUP.done      the group is finished; holds how many of its crystals have failed
    jobs/again/...              the same for the second pass
    crystals/GROUP/             solutions
    jobs/members.tsv            groups of one lattice: the number of a crystal, the number of its group
    jobs/passed.json            the files that are passed over, and why
    jobs/database.done, jobs/overview.done      the database and the page are those of the records
    consensus.json, crystals.sqlite, crystals.csv, overview.html
    batch.log                   what Snakemake and the jobs say

Records are only ever added. A job that is interrupted goes on behind the last whole record.

Lists and records are the data; all other files are derived from them. A .done file, consensus.json and the marks
of the database and the page exist only while they are up to date: whatever makes one of them obsolete removes it
first. So no clock decides what has to be done.
"""

from __future__ import annotations

import json
import math
import os
import re
import stat
import zlib
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
PASSED = Path("jobs/passed.json")
DATABASEDONE = Path("jobs/database.done")
OVERVIEWDONE = Path("jobs/overview.done")

# Names of groups reach shells, as arguments of jobs.
GROUP = re.compile("[0-9]{6}")
MOSTGROUPS = 10**6

# What a crystal's answer can be, the best first; and what a cell is made of.
VERDICTS = ("solved", "ambiguous", "refused", "failed")
CELL = ("a", "b", "c", "alpha", "beta", "gamma")

# A file system that many machines share can show a new file late.
LATENCY = 60  # seconds

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
        """The groups that have lists. Files of other names are none of the batch's."""
        return groupsin(self.lists, ".tsv")

    def recorded(self) -> list[str]:
        """The groups that have records."""
        return groupsin(self.solved, ".jsonl")

    def reopen(self, group: str) -> None:
        """Has a group gone through again."""
        self.doneof(group).unlink(missing_ok=True)


def groupsin(place: Path, ending: str) -> list[str]:
    return sorted(path.stem for path in place.glob(f"*{ending}") if GROUP.fullmatch(path.stem))


FIRST = Pass(1, Path("jobs"))
SECOND = Pass(2, Path("jobs/again"))


class Unusable(Exception):
    """Something that the user has to change. The text is a sentence."""


class Damaged(Unusable):
    """A file of the batch that cannot be understood. The text names it."""

    def __init__(self, path: Path, what: object) -> None:
        super().__init__(f"{path} is damaged: {what}.")
        self.path = path


@dataclass(frozen=True, slots=True)
class Input:
    """A measurement with the further files that it needs, as they were when it was listed."""

    number: int
    size: int  # bytes of all of them; -1 if the measurement is not there, or no regular file
    changed: int  # time of the last change, ns; of several files, a checksum of their sizes and times
    file: str  # absolute
    others: tuple[str, ...] = ()  # further files that it needs

    @staticmethod
    def of(number: int, file: str, others: tuple[str, ...] = ()) -> Input:
        states = []
        for name in (file, *others):
            try:
                status = os.stat(name)
            except OSError:
                status = None
            regular = status is not None and stat.S_ISREG(status.st_mode)
            if name == file and not regular:
                return Input(number, -1, 0, file, others)
            states.append((status.st_size, status.st_mtime_ns) if regular else (0, 0))
        # The latest time alone would hide that one file was replaced by an older one.
        changed = states[0][1] if len(states) == 1 else zlib.crc32(repr(states).encode())
        return Input(number, sum(size for size, _ in states), changed, file, others)

    @property
    def name(self) -> str:
        """What the names of its files begin with: unlike for all inputs, and short enough to be added
        to."""
        stem = os.fsencode(Path(self.file).stem)[:LONGESTSTEM].decode("utf-8", "ignore")
        return f"{self.number:08d}_{stem}"


def readlist(path: Path) -> list[Input]:
    """Raises Damaged if the file is no list, or a part of one."""
    inputs: list[Input] = []
    end = ""
    with open(path, encoding="utf-8", errors="surrogateescape", newline="\n") as lines:
        for line, text in enumerate(lines, 1):
            if text.startswith("#"):
                end = text
                continue
            try:
                inputs.append(listedas(text))
            except ValueError as why:
                raise Damaged(path, f"line {line} is no input") from why
    if end != endof(inputs):
        raise Damaged(path, "its end is missing")
    return inputs


def endof(inputs: list[Input]) -> str:
    """The last line of a list: a list that lacks it was cut."""
    return f"# {len(inputs)} in all\n"


def listedas(text: str) -> Input:
    """The input of a line. Raises ValueError if there is none in it."""
    number, size, changed, file, *others = text.removesuffix("\n").split("\t")
    if not text.endswith("\n") or int(number) < 1 or not os.path.isabs(file):
        raise ValueError(text)
    return Input(int(number), int(size), int(changed), file, tuple(others))


def writelist(path: Path, inputs: list[Input]) -> None:
    lines = ["\t".join((str(one.number), str(one.size), str(one.changed), one.file, *one.others))
             for one in inputs]
    writewhole(path, "".join(line + "\n" for line in lines) + endof(inputs))


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
    last line is passed over, and so is what is no record: its crystal has none, and is solved again."""
    try:
        file = open(path, "rb")
    except FileNotFoundError:
        return
    with file:
        for line in file:
            if not line.endswith(b"\n"):
                return
            record = recordin(line)
            if record is not None:
                yield record


def recordin(line: bytes) -> dict | None:
    try:
        record = json.loads(line)
        return record if isrecord(record) else None
    except (ValueError, TypeError, LookupError, AttributeError, RecursionError):
        return None


def isrecord(record: dict) -> bool:
    """Whether it has what a record needs. May raise what a lack of it raises."""
    common = (iswhole(record["number"], 1) and iswhole(record["size"], -1) and iswhole(record["changed"])
              and isinstance(record["file"], str) and isinstance(record["reason"], str)
              and isnumber(record["seconds"]) and record["verdict"] in VERDICTS
              and all(isinstance(one, str) for one in record.get("others", ())))
    if not common or record["verdict"] == "failed":
        return common and isinstance(record["call"], str)
    return (iswhole(record["measured"], 0) and isinstance(record["interrupted"], bool)
            and all(isinstance(one, str) for one in record["remarks"])
            and ("cell" in record or record["verdict"] != "solved")
            and ("cell" not in record or isanswer(record)))


def isanswer(record: dict) -> bool:
    """Whether it has a lattice with all that belongs to one."""
    numbers = [*record["basis"][0], *record["basis"][1], *record["basis"][2], record["volume"],
               record["sigma"], record["wrong"], record["evidence"]]
    return (iscell(record["cell"]) and record["volume"] > 0.0 and len(record["uncertainty"]) == 7
            and all(one is None or isnumber(one) for one in record["uncertainty"])
            and all(isnumber(one) for one in numbers) and iswhole(record["lattices"], 1)
            and iswhole(record["indexed"], 0) and record["indexed"] <= record["measured"])


def iswhole(value: object, least: int | None = None) -> bool:
    return (isinstance(value, int) and not isinstance(value, bool) and abs(value) < 2**63
            and (least is None or value >= least))


def isnumber(value: object) -> bool:
    return isinstance(value, (int, float)) and not isinstance(value, bool) and math.isfinite(value)


def iscell(cell: object) -> bool:
    """Whether six numbers are lengths and angles of a cell that exists."""
    if not isinstance(cell, list) or len(cell) != 6 or not all(isnumber(one) for one in cell):
        return False
    alpha, beta, gamma = (math.cos(math.radians(angle)) for angle in cell[3:])
    volume = 1 - alpha**2 - beta**2 - gamma**2 + 2 * alpha * beta * gamma
    return min(cell) > 0.0 and max(cell[3:]) < 180.0 and volume > 0.0


def latest(path: Path) -> dict[int, dict]:
    """The last record of each crystal, by its number."""
    return {record["number"]: record for record in records(path)}


def answers(which: Pass, group: str) -> dict[int, dict]:
    """The records of the crystals in a group's list, as they are listed."""
    known = latest(which.recordsof(group))
    return {one.number: known[one.number] for one in readlist(which.listof(group))
            if one.number in known and isof(known[one.number], one)}


def allanswers(group: str) -> dict[int, dict]:
    """Those of the first pass. Raises Damaged if a crystal has none: it would be missing without a word."""
    found = answers(FIRST, group)
    for one in readlist(FIRST.listof(group)):
        if one.number not in found:
            raise Damaged(FIRST.recordsof(group), f"it has no record of crystal {one.number}")
    return found


def readjson(path: Path) -> dict:
    """Raises Damaged if there is no file, or if it holds no object of JSON."""
    try:
        value = json.loads(path.read_text(encoding="utf-8"))
    except FileNotFoundError as why:
        raise Damaged(path, "it is missing") from why
    except (ValueError, RecursionError) as why:
        raise Damaged(path, "it is no whole file of JSON") from why
    if not isinstance(value, dict):
        raise Damaged(path, "it holds no object of JSON")
    return value


def settings() -> dict:
    return checkedsettings(readjson(SETTINGS))


def checkedsettings(found: dict) -> dict:
    texts = ("keep", "tools", "torvik")
    lists = ("volume", "options")
    if not (isnumber(found.get("budget")) and all(isinstance(found.get(key), str) for key in texts)
            and all(isinstance(found.get(key), list) for key in lists)):
        raise Damaged(SETTINGS, "settings are missing from it")
    return found


def consensus() -> dict:
    """The groups of one lattice, and the cells that were tried."""
    found = readjson(CONSENSUS)
    tried, clusters = found.get("tried"), found.get("clusters")
    if not (isinstance(tried, list) and all(iscell(cell) for cell in tried)
            and isinstance(clusters, list) and all(isinstance(one, dict) for one in clusters)):
        raise Damaged(CONSENSUS, "it holds no groups")
    return found


def members() -> dict[int, int]:
    """Numbers of the groups of one lattice, by the numbers of their crystals."""
    try:
        with open(MEMBERS, encoding="utf-8") as file:
            return {int(number): int(cluster) for number, cluster in (line.split() for line in file)}
    except FileNotFoundError as why:
        raise Damaged(MEMBERS, "it is missing") from why
    except ValueError as why:
        raise Damaged(MEMBERS, "it is no table of two columns") from why


def stateof(record: dict) -> tuple[int, int]:
    """What tells an input from earlier states of it."""
    return record["size"], record["changed"]


def isof(record: dict, given: Input) -> bool:
    """Whether a record is of this input, and not of an earlier state of it."""
    return stateof(record) == (given.size, given.changed)
