"""Which files are the crystals of a batch, and in which groups they are solved."""

from __future__ import annotations

import json
import math
import os
import re
import stat
import sys
from collections.abc import Iterable, Iterator
from dataclasses import dataclass, field
from pathlib import Path

from torvikbatch import folder
from torvikbatch.folder import FIRST, LOCK, SECOND, Damaged, Input, Pass, Unusable, readlist, writelist

# What measurements are called. In a folder only these are taken; a file that is named is taken
# whatever its name.
ENDINGS = frozenset((".idx", ".p4p", ".csv", ".tsv", ".txt", ".gve", ".peaks", ".integrate", ".refl",
                     ".xds"))
# Endings that files of all kinds have: in a folder these are taken if their content is a table.
GENERAL = frozenset((".csv", ".tsv", ".txt"))
STARTLENGTH = 65536  # bytes, which are looked at for a table
# What torvik-tools solve writes beside its input.
WRITTEN = ".solution.idx"

LARGESTGROUP = 500
GROUPSPERJOB = 8  # so that the last groups end at nearly the same time

SHOWN = 3  # names in a sentence

NOMEASUREMENT = "no measurement: it has no row of three numbers"
NOTREGULAR = "no regular file"
UNLISTABLE = "a tab or the end of a line in its name"


@dataclass
class Gathered:
    """What was asked for, and what of it is no input."""

    wanted: dict[str, tuple[str, ...]] = field(default_factory=dict)  # with further files, by name
    searched: set[str] = field(default_factory=set)     # names that were found in a folder
    passed: dict[str, str] = field(default_factory=dict)  # why, by names of files that are passed over

    def take(self, names: tuple[str, ...], searched: bool = False) -> None:
        """Takes an input, by absolute names. Where one is named twice, with further files and without,
        they are taken."""
        absolute = tuple(os.path.abspath(name) for name in names)
        if why := unusable(absolute):
            self.passed[absolute[0]] = why
            return
        absolute += geometrybeside(absolute)
        if len(absolute) > len(self.wanted.get(absolute[0], ())):
            self.wanted[absolute[0]] = absolute
        if searched:
            self.searched.add(absolute[0])
        else:
            self.searched.discard(absolute[0])

    def notes(self) -> list[str]:
        """A sentence for each reason."""
        names: dict[str, list[str]] = {}
        for name, why in self.passed.items():
            names.setdefault(why, []).append(readable(name))
        return [f"{counted(len(of))} passed over ({why}): {', '.join(of[:SHOWN])}"
                f"{' and others' if len(of) > SHOWN else ''}." for why, of in names.items()]


def counted(files: int) -> str:
    return f"{files} {'file' if files == 1 else 'files'}"


def unusable(names: tuple[str, ...]) -> str:
    """Why files cannot be an input; empty if they can. One that is missing can: it fails."""
    if any(letter in name for name in names for letter in "\t\n\r"):
        return UNLISTABLE
    for name in names:
        try:
            if not stat.S_ISREG(os.stat(name).st_mode):
                return NOTREGULAR
        except OSError:
            pass
    return ""


def geometrybeside(names: tuple[str, ...]) -> tuple[str, ...]:
    """The file with the geometry that torvik-tools solve would find by itself. Where it is named, a change of it
    is a change of the input."""
    path = Path(names[0])
    ending = path.suffix.lower()
    if len(names) > 1 or ending not in (".xds", ".refl"):
        return ()
    if ending == ".xds":
        beside = [path.with_name("XDS.INP")]
    else:
        beside = [path.with_suffix(".expt")]
        if path.stem.endswith("strong"):
            beside.append(path.with_name(path.stem.removesuffix("strong") + "imported.expt"))
    return tuple(str(one) for one in beside if one.is_file())[:1]


def infolder(place: Path, own: Path) -> Iterator[Path]:
    """The measurements in a folder and below, by name; not those in the folder of this or another
    batch. A folder that several links lead to is gone through once."""
    seen = {place.resolve(), own}
    for path, folders, files in os.walk(place, onerror=closed, followlinks=True):
        if LOCK.name in files:
            folders[:] = []
            continue
        kept = []
        for name in sorted(folders):
            real = Path(path, name).resolve()
            if not name.startswith(".") and real not in seen:
                seen.add(real)
                kept.append(name)
        folders[:] = kept
        for name in sorted(files):
            if ismeasurement(name):
                yield Path(path, name)


def ismeasurement(name: str) -> bool:
    return (Path(name).suffix.lower() in ENDINGS and not name.startswith(".")
            and not name.endswith(WRITTEN))


def closed(why: OSError) -> None:
    print(f"Note: {readable(why.filename)} is passed over: {why.strerror}.", file=sys.stderr)


def readable(name: str) -> str:
    """A name without what would control a terminal."""
    return "".join(letter if letter.isprintable() else f"\\x{ord(letter):02x}" for letter in name)


NUMBER = re.compile(rb"[-+]?(\d+\.?\d*|\.\d+)([eEdD][-+]?\d+)?")
# Names of columns that only a table of reflections has, in small letters.
COLUMNS = (frozenset((b"x", b"y", b"z")), frozenset((b"phi", b"chi")), frozenset((b"phi", b"kappa")))


def mayhold(file: str) -> bool:
    """Whether the start of a file may be a table of reflections: a row of three numbers and little else, or names
    of columns. What cannot be read, is empty or is no text may be one that is damaged: it is taken, and fails."""
    try:
        with open(file, "rb") as source:
            start = source.read(STARTLENGTH)
    except OSError:
        return True
    if not start or b"\0" in start:
        return True
    return any(isrow(line) for line in re.split(rb"[\r\n]+", start))


def isrow(line: bytes) -> bool:
    items = [item for item in re.split(rb"[\s;,\"'#]+", line) if item]
    numbers = sum(1 for item in items if NUMBER.fullmatch(item))
    if numbers >= 3 and 2 * numbers > len(items):
        return True
    names = {re.split(rb"[(\[]", item)[0].lower() for item in items}
    return any(columns <= names for columns in COLUMNS)


def inlist(file: Path) -> Iterator[tuple[str, ...]]:
    """The measurements that a list names, one a line; further files behind tabs. Names are relative
    to the list's folder."""
    try:
        # The ends of lines are LF, perhaps with CR: other letters that can end lines may be in a name.
        with open(file, encoding="utf-8-sig", errors="surrogateescape", newline="\n") as source:
            text = source.read()
    except OSError as why:
        raise Unusable(f"The list {file} cannot be read: {why.strerror}.") from why
    for line in text.split("\n"):
        line = line.rstrip(" \t\r")
        if line.strip(" \t") and not line.lstrip(" \t").startswith("#"):
            yield tuple(str(file.parent / name) for name in line.split("\t"))


def gathered(places: Iterable[str], lists: Iterable[str], own: Path) -> Gathered:
    """All measurements that were asked for."""
    found = Gathered()
    for place in places:
        if os.path.isdir(place):
            for path in infolder(Path(place), own):
                found.take((str(path),), searched=True)
        elif os.path.exists(place):
            if why := unusable((os.path.abspath(place),)):
                raise Unusable(f"{readable(place)} cannot be an input: {why}.")
            found.take((place,))
        else:
            raise Unusable(f"There is no file or folder {place}.")
    for name in lists:
        for names in inlist(Path(name)):
            found.take(names)
    for name in lists:
        if os.path.abspath(name) in found.searched:
            del found.wanted[os.path.abspath(name)]
    return found


def groupsize(inputs: int, jobs: int) -> int:
    return max(1, min(LARGESTGROUP, math.ceil(inputs / (GROUPSPERJOB * jobs))))


def listed(notes: list[str]) -> dict[str, list[Input]]:
    """The inputs of all groups. A list that is damaged or missing is made anew from the records of its
    crystals."""
    found: dict[str, list[Input]] = {}
    numbers: set[int] = set()
    for group in sorted({*FIRST.groups(), *FIRST.recorded()}):
        try:
            inputs = readlist(FIRST.listof(group))
            if not numbers.isdisjoint(one.number for one in inputs) or not unlike(inputs):
                raise Damaged(FIRST.listof(group), "numbers of crystals are in it twice")
        except (Damaged, FileNotFoundError) as why:
            inputs = [one for one in fromrecords(group) if one.number not in numbers]
            writelist(FIRST.listof(group), inputs)
            FIRST.reopen(group)
            what = why if isinstance(why, Damaged) else f"{FIRST.listof(group)} is missing."
            notes.append(f"{what} It is made anew from the records of its crystals, {len(inputs)}; "
                         "other crystals of it are listed anew.")
        numbers.update(one.number for one in inputs)
        found[group] = inputs
    return found


def unlike(inputs: list[Input]) -> bool:
    return len({one.number for one in inputs}) == len(inputs)


def fromrecords(group: str) -> list[Input]:
    return [Input(number, record["size"], record["changed"], record["file"],
                  tuple(record.get("others", ())))
            for number, record in sorted(folder.latest(FIRST.recordsof(group)).items())]


def asnow(before: Input, wanted: dict[str, tuple[str, ...]]) -> Input:
    """An input as it is now; one that is gone is as it was. Further files that are newly named are
    taken."""
    others = wanted.get(before.file, ())[1:] or before.others
    now = Input.of(before.number, before.file, others)
    return now if now.size >= 0 else before


def refresh(before: dict[str, list[Input]], wanted: dict[str, tuple[str, ...]]) -> set[int]:
    """Lists inputs anew that have changed since they were listed, so that their groups are gone
    through again. Returns their numbers."""
    changed = set()
    for group, inputs in before.items():
        now = [asnow(one, wanted) for one in inputs]
        differing = {one.number for one, late in zip(inputs, now) if one != late}
        if differing:
            FIRST.reopen(group)
            writelist(FIRST.listof(group), now)
            changed |= differing
    return changed


def reopen(which: Pass, group: str, cells: list) -> None:
    """Has a group gone through again in which a crystal has no answer, or has failed: a disk was full, a program
    missing, a record lost."""
    if not which.doneof(group).exists():
        return
    known = folder.answers(which, group)
    for one in readlist(which.listof(group)):
        record = known.get(one.number)
        if record is None or record["verdict"] == "failed" or record.get("cells", []) != cells:
            which.reopen(group)
            return


def reopenall(notes: list[str]) -> None:
    """Removes the marks of all that has to be done again: groups, their consensus, the database."""
    for group in FIRST.groups():
        reopen(FIRST, group, [])
    if not all(FIRST.doneof(group).exists() for group in FIRST.groups()):
        folder.CONSENSUS.unlink(missing_ok=True)
    if folder.CONSENSUS.exists():
        try:
            reopenagain()
        except Damaged as why:
            folder.CONSENSUS.unlink()
            notes.append(f"{why} The crystals are grouped anew.")
    if not folder.CONSENSUS.exists() or not all(SECOND.doneof(group).exists()
                                                for group in SECOND.groups()):
        folder.DATABASEDONE.unlink(missing_ok=True)


def reopenagain() -> None:
    """The same for the groups of the second pass. Raises Damaged if what was derived from the first is."""
    consensus = folder.consensus()
    if len(folder.members()) != sum(one.get("crystals", 0) for one in consensus["clusters"]):
        raise Damaged(folder.MEMBERS, "crystals are missing from it")
    for group in SECOND.groups():
        reopen(SECOND, group, consensus["tried"])


@dataclass(frozen=True)
class Prepared:
    """What a call has to do."""

    total: int  # inputs
    highest: int  # number of an input
    new: int
    changed: set[int]  # numbers
    notes: list[str]


def prepare(asked: Gathered, size: int | None, jobs: int) -> Prepared:
    """Writes lists of the inputs that are new, in groups, and has gone through again what has to be."""
    notes: list[str] = []
    before = listed(notes)
    changed = refresh(before, asked.wanted)
    known = {one.file for inputs in before.values() for one in inputs}
    new = [names for names in asked.wanted.values() if names[0] not in known]
    new = [names for names in new if isnew(asked, names[0])]
    highest = max((one.number for inputs in before.values() for one in inputs), default=0)
    firstgroup = max((int(group) + 1 for group in before), default=0)
    step = size or groupsize(len(new), jobs)
    if firstgroup + math.ceil(len(new) / step) > folder.MOSTGROUPS:
        raise Unusable("These are more than a million groups. Please have larger ones, by --group.")
    for start in range(0, len(new), step):
        inputs = [Input.of(highest + 1 + i, names[0], names[1:])
                  for i, names in enumerate(new[start:start + step])]
        writelist(FIRST.listof(f"{firstgroup + start // step:06d}"), inputs)
        highest += len(inputs)
    reopenall(notes)
    keeppassed(asked.passed)
    return Prepared(len(known) + len(new), highest, len(new), changed, notes + asked.notes())


def isnew(asked: Gathered, file: str) -> bool:
    """Whether a file that is not listed yet is an input. One that was found in a folder may be something else."""
    if (file in asked.searched and Path(file).suffix.lower() in GENERAL and not mayhold(file)):
        asked.passed[file] = NOMEASUREMENT
        return False
    return True


def keeppassed(passed: dict[str, str]) -> None:
    """Keeps which files are passed over, for the database and the page."""
    text = json.dumps(passed, indent=1, sort_keys=True) + "\n"
    try:
        same = folder.PASSED.read_text(encoding="utf-8") == text
    except (OSError, ValueError):
        same = False
    if not same:
        folder.DATABASEDONE.unlink(missing_ok=True)
        folder.writewhole(folder.PASSED, text)
