"""Groups the solved crystals by lattice, and takes the cells that several have in common.

    step.py consensus

Writes consensus.json, which crystal is of which group, and the lists of the second pass: what the first left
unsolved, to be tried with the cells that others agree on.
"""

from __future__ import annotations

import json
import math
import shutil
import statistics
import subprocess
from array import array
from collections.abc import Callable, Iterable, Iterator
from dataclasses import dataclass, field

from torvikbatch import folder
from torvikbatch.folder import FIRST, SECOND
from torvikbatch.lattices import Cell, Finder, Lattice, inthesettingof

# Three crystals that agree: two could be one that was measured twice, and wrong twice.
AGREEING = 3
# A cell is tried if so many of the solved crystals have it: each cell that is tried makes chance likelier.
PART = 0.01
MOSTTRIED = 10
# Of so many of the largest groups it is told what their lattices are, and how they are related.
MOSTRELATED = 50
SURVEYTIME = 600.0  # seconds


@dataclass
class Cluster:
    """Crystals of one lattice. Their cells are all in the setting of `centre`."""

    centre: Lattice
    members: array = field(default_factory=lambda: array("q"))  # numbers of crystals
    cells: tuple[array, ...] = field(default_factory=lambda: tuple(array("d") for _ in range(6)))

    def add(self, number: int, cell: Cell) -> None:
        self.members.append(number)
        for values, value in zip(self.cells, cell):
            values.append(value)

    def median(self) -> Cell:
        return tuple(statistics.median(values) for values in self.cells)

    def spread(self) -> Cell:
        """What the standard deviations would be if the errors were normal: some crystals are off."""
        normal = 1.4826
        return tuple(normal * statistics.median(abs(value - middle) for value in values)
                     for values, middle in zip(self.cells, self.median()))


def clustered(lattices: Iterable[tuple[int, Lattice]], centres: list[Lattice]) -> list[Cluster]:
    """Puts each crystal to the first centre that has its lattice; if there is none, it becomes one."""
    found = [Cluster(centre) for centre in centres]
    finder = Finder()
    for index, centre in enumerate(centres):
        finder.add(index, centre)
    for number, lattice in lattices:
        for index in finder.near(lattice):
            cell = inthesettingof(found[index].centre, lattice)
            if cell:
                found[index].add(number, cell)
                break
        else:
            finder.add(len(found), lattice)
            found.append(Cluster(lattice))
            found[-1].add(number, lattice.cell)
    return sorted((one for one in found if one.members),
                  key=lambda one: (-len(one.members), one.members[0]))


def clusters(lattices: Callable[[], Iterable[tuple[int, Lattice]]]) -> list[Cluster]:
    """Groups of one lattice each, the largest first. The first crystal of a group stands for it at
    first; then the medians do, and each crystal goes to the largest group that it is of. The lattices
    are gone through twice, since they would not fit into the memory."""
    found = clustered(lattices(), [])
    return clustered(lattices(), [Lattice.of(one.median()) for one in found])


def solvedcrystals() -> Iterator[tuple[int, Lattice]]:
    """Numbers and lattices of the crystals that the first pass solved."""
    for group in FIRST.groups():
        for number, record in sorted(folder.allanswers(group).items()):
            if record["verdict"] == "solved":
                yield number, Lattice.of(tuple(record["cell"]))


def tried(found: list[Cluster], solved: int) -> list[Cluster]:
    least = max(AGREEING, math.ceil(PART * solved))
    return [one for one in found if len(one.members) >= least][:MOSTTRIED]


def surveyed(cells: list[Cell], tools: str) -> dict:
    """What torvik-tools cells says of some cells: their Bravais lattices, and how they are related."""
    if not cells:
        return {"cells": [], "relations": []}
    line = [tools, "cells", *(" ".join(f"{value:.6f}" for value in cell) for cell in cells), "--json"]
    said = subprocess.run(line, check=False, capture_output=True, text=True, timeout=SURVEYTIME)
    try:
        if said.returncode == 0:
            return json.loads(said.stdout)
    except ValueError:
        pass
    raise folder.Unusable(f"{tools} cells ended with status {said.returncode} and no relations of lattices.")


def described(found: list[Cluster], tools: str) -> list[dict]:
    entries = []
    for number, one in enumerate(found, 1):
        cell = one.median()
        spread = one.spread() if len(one.members) >= AGREEING else None
        entries.append({"cluster": number, "crystals": len(one.members), "cell": cell,
                        "spread": spread, "volume": Lattice.of(cell).volume,
                        "bravais": None, "conventional": None, "relations": []})
    survey = surveyed([entry["cell"] for entry in entries[:MOSTRELATED]], tools)
    for entry, of in zip(entries, survey["cells"]):
        highest = next(one for one in of["bravais"] if one["accepted"])
        entry["bravais"] = highest["lattice"]
        entry["conventional"] = highest["settings"][0]["ideal_cell"]
    for relation in survey["relations"]:
        entries[relation["first"] - 1]["relations"].append(
            {"to": relation["second"], "is": relation["first_is"], "index": relation["index"]})
    return entries


def secondlists(cells: list[Cell]) -> None:
    """Lists what the first pass has not solved; nothing if there is no cell to try."""
    # What was done with other cells is no longer done; its records tell with which they were made.
    for group in folder.groupsin(SECOND.solved, ".done"):
        SECOND.reopen(group)
    shutil.rmtree(SECOND.lists, ignore_errors=True)
    SECOND.lists.mkdir(parents=True, exist_ok=True)
    if not cells:
        return
    for group in FIRST.groups():
        known = folder.allanswers(group)
        left = [one for one in folder.readlist(FIRST.listof(group))
                if known[one.number]["verdict"] in ("refused", "ambiguous")]
        if left:
            folder.writelist(SECOND.listof(group), left)


def main(_arguments: list[str]) -> int:
    folder.DATABASEDONE.unlink(missing_ok=True)
    found = clusters(solvedcrystals)
    cells = [one.median() for one in tried(found, sum(len(one.members) for one in found))]
    secondlists(cells)
    folder.writewhole(folder.MEMBERS, "".join(f"{number}\t{index}\n"
                                              for index, one in enumerate(found, 1)
                                              for number in one.members))
    consensus = {"tried": cells, "clusters": described(found, folder.settings()["tools"])}
    folder.writewhole(folder.CONSENSUS, json.dumps(consensus) + "\n")
    return 0

