"""Which files are the crystals of a batch, and in which groups they are solved."""

from __future__ import annotations

import math
import os
import sys
import time
from collections.abc import Iterable, Iterator
from pathlib import Path

from torvikbatch.folder import FIRST, LOCK, SECOND, Input, Unusable, readlist, writelist

# What measurements are called. In a folder only these are taken; a file that is named is taken
# whatever its name.
ENDINGS = frozenset((".idx", ".p4p", ".csv", ".tsv", ".txt", ".gve", ".peaks", ".integrate", ".refl",
                     ".xds"))
# What torvik-tools solve writes beside its input.
WRITTEN = ".solution.idx"

LARGESTGROUP = 500
GROUPSPERJOB = 8  # so that the last groups end at nearly the same time


def infolder(folder: Path, own: Path) -> Iterator[Path]:
    """The measurements in a folder and below, by name; not those in the folder of this or another
    batch. A folder that several links lead to is gone through once."""
    seen = {folder.resolve(), own}
    for path, folders, files in os.walk(folder, onerror=closed, followlinks=True):
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
    print(f"Note: {why.filename} is passed over: {why.strerror}.", file=sys.stderr)


def inlist(file: Path) -> Iterator[tuple[str, ...]]:
    """The measurements that a list names, one a line; further files behind tabs. Names are relative
    to the list's folder."""
    try:
        text = file.read_text(encoding="utf-8-sig", errors="surrogateescape")
    except OSError as why:
        raise Unusable(f"The list {file} cannot be read: {why.strerror}.") from why
    for line in text.split("\n"):
        if line.strip() and not line.lstrip().startswith("#"):
            yield tuple(str(file.parent / name) for name in line.rstrip().split("\t"))


def gathered(places: Iterable[str], lists: Iterable[str], own: Path) -> list[tuple[str, ...]]:
    """All measurements that were asked for, each with its further files, by absolute names. Where one
    is named twice, with further files and without, they are taken."""
    found: dict[str, tuple[str, ...]] = {}

    def take(names: tuple[str, ...]) -> None:
        absolute = tuple(os.path.abspath(name) for name in names)
        if any("\t" in name or "\n" in name or "\r" in name for name in absolute):
            raise Unusable(f"The name {absolute[0]!r} has a tab or the end of a line in it.")
        if len(absolute) > len(found.get(absolute[0], ())):
            found[absolute[0]] = absolute

    for place in places:
        if os.path.isdir(place):
            for path in infolder(Path(place), own):
                take((str(path),))
        elif os.path.exists(place):
            take((place,))
        else:
            raise Unusable(f"There is no file or folder {place}.")
    for name in lists:
        for names in inlist(Path(name)):
            take(names)
    return list(found.values())


def groupsize(inputs: int, jobs: int) -> int:
    return max(1, min(LARGESTGROUP, math.ceil(inputs / (GROUPSPERJOB * jobs))))


def listed() -> dict[str, list[Input]]:
    return {group: readlist(FIRST.listof(group)) for group in FIRST.groups()}


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
            writelist(FIRST.listof(group), now)
            changed |= differing
    return changed


def retry() -> None:
    """Has groups gone through again that have failed crystals: a disk was full, a program missing.
    Snakemake goes by what is in a list, so a remark is put there."""
    for which in (FIRST, SECOND):
        for group in which.groups():
            done = which.doneof(group)
            if done.exists() and done.read_text(encoding="utf-8").strip() not in ("", "0"):
                path = which.listof(group)
                writelist(path, readlist(path), f"to be tried again, {time.time_ns()}")


def prepare(wanted: list[tuple[str, ...]], size: int | None, jobs: int) -> tuple[int, int, set[int]]:
    """Writes lists of the inputs that are new, in groups. Returns how many inputs there are, how many
    of them are new, and the numbers of those that have changed."""
    before = listed()
    changed = refresh(before, {names[0]: names for names in wanted})
    retry()
    known = {one.file for inputs in before.values() for one in inputs}
    new = [names for names in wanted if names[0] not in known]
    number = len(known)
    step = size or groupsize(len(new), jobs)
    for start in range(0, len(new), step):
        inputs = [Input.of(number + 1 + i, names[0], names[1:])
                  for i, names in enumerate(new[start:start + step])]
        writelist(FIRST.listof(f"{len(before) + start // step:06d}"), inputs)
        number += len(inputs)
    return number, len(new), changed
