"""What the page and the consensus say of some crystals, without a batch."""

from __future__ import annotations

import math
import sqlite3
import unittest
import unittest.mock
from array import array

import batches  # noqa: F401  (the path of the workflow)
from torvikbatch import consensus, overview
from torvikbatch.lattices import Lattice


class AHistogram(unittest.TestCase):
    def test_of_nothing_is_empty(self) -> None:
        self.assertEqual(overview.histogram([]), {"bars": [], "marks": [], "most": 0})

    def test_of_one_volume_has_room_on_both_sides(self) -> None:
        made = overview.histogram([1000.0, 1000.0])
        bars = made["bars"]
        self.assertEqual(len(bars), 40)
        self.assertAlmostEqual(bars[0]["low"], 10 ** 2.75)
        self.assertAlmostEqual(bars[-1]["high"], 10 ** 3.25)
        self.assertEqual([(i, one["count"], one["part"]) for i, one in enumerate(bars) if one["count"]],
                         [(20, 2, 1.0)])
        self.assertEqual(made["most"], 2)
        self.assertEqual([one["value"] for one in made["marks"]], [700, 1000])
        self.assertAlmostEqual(made["marks"][1]["at"], 0.5)
        self.assertAlmostEqual(made["marks"][0]["at"], (math.log10(700) - 2.75) / 0.5)

    def test_has_each_volume_in_the_bar_of_its_limits(self) -> None:
        volumes = [120.0, 130.0, 500.0, 3000.0, 3001.0, 3002.0]
        made = overview.histogram(volumes)
        for one in made["bars"]:
            self.assertEqual(one["count"], sum(one["low"] <= value < one["high"] for value in volumes))
            self.assertAlmostEqual(one["part"], one["count"] / made["most"])
        for i, one in enumerate(made["bars"]):
            self.assertAlmostEqual(one["at"], i / 40)
        low, high = made["bars"][0]["low"], made["bars"][-1]["high"]
        self.assertAlmostEqual(math.log10(low), math.log10(120) - 0.05)
        self.assertAlmostEqual(math.log10(high), math.log10(3002) + 0.05)
        self.assertEqual([one["value"] for one in made["marks"]],
                         [200, 300, 500, 700, 1000, 2000, 3000])


class Relations(unittest.TestCase):
    def test_say_how_many_times_as_large_a_cell_is(self) -> None:
        self.assertEqual(overview.relation({"to": 3, "is": "supercell", "index": 2}), "2 × 3")
        self.assertEqual(overview.relation({"to": 1, "is": "subcell", "index": 4}), "1/4 × 1")


class Reasons(unittest.TestCase):
    def test_are_put_together_where_only_numbers_and_names_differ(self) -> None:
        database = sqlite3.connect(":memory:")
        database.execute("CREATE TABLE crystal (number INTEGER, verdict TEXT, reason TEXT, file TEXT)")
        database.executemany("INSERT INTO crystal VALUES (?, ?, ?, ?)", [
            (1, "failed", "Line 7 of a.csv is cut.", "a.csv"),
            (2, "refused", "There are 12 reflections.", "b.csv"),
            (3, "solved", "One lattice.", "c.csv"),
            (4, "refused", "There are 5 reflections.", "d.csv"),
            (5, "failed", "Line 1234 of e.csv is cut.", "e.csv"),
            (6, "refused", "There are 345 reflections.", "f.csv"),
            (7, "ambiguous", "There are 5 reflections.", "g.csv")])
        found = overview.reasons(database)
        self.assertEqual([(one["verdict"], one["reason"], one["file"], one["count"]) for one in found], [
            ("refused", "There are 12 reflections.", "b.csv", 3),
            ("failed", "Line 7 of a.csv is cut.", "a.csv", 2),
            ("ambiguous", "There are 5 reflections.", "g.csv", 1)])


def cluster(members: int, cell: tuple = (5.0, 6.0, 7.0, 90.0, 90.0, 90.0)) -> consensus.Cluster:
    made = consensus.Cluster(Lattice.of(cell))
    for number in range(members):
        made.add(number, cell)
    return made


class ACluster(unittest.TestCase):
    def test_has_the_medians_and_their_spreads(self) -> None:
        made = consensus.Cluster(Lattice.of((5.0, 6.0, 7.0, 90.0, 90.0, 90.0)))
        for number, a in enumerate((5.0, 5.1, 4.8, 5.4, 5.0)):
            made.add(number, (a, 6.0, 7.0, 90.0, 90.0, 90.0))
        self.assertEqual(made.median(), (5.0, 6.0, 7.0, 90.0, 90.0, 90.0))
        # Off the median by 0, 0.1, 0.2, 0.4, 0: the median is 0.1; 1 / 0.6745 of it for normal errors.
        self.assertAlmostEqual(made.spread()[0], 0.1 / 0.67449, delta=1e-5)
        self.assertEqual(made.spread()[1:], (0.0,) * 5)
        self.assertEqual(made.members, array("q", range(5)))


class WhatIsTried(unittest.TestCase):
    def test_is_what_three_crystals_have(self) -> None:
        found = [cluster(size) for size in (40, 4, 3, 2, 1)]
        self.assertEqual([len(one.members) for one in consensus.tried(found, 50)], [40, 4, 3])

    def test_is_what_one_of_a_hundred_has(self) -> None:
        found = [cluster(size) for size in (900, 11, 10, 9)]
        for solved, least in ((1000, 10), (1001, 11), (901, 10), (900, 9)):
            self.assertEqual(min(len(one.members) for one in consensus.tried(found, solved)), least)

    def test_are_ten_cells_at_most(self) -> None:
        self.assertEqual(len(consensus.tried([cluster(5) for _ in range(12)], 60)), 10)


class WhatIsToldOfClusters(unittest.TestCase):
    def setUp(self) -> None:
        self.asked: list = []

        def surveyed(cells: list, tools: str) -> dict:
            self.asked.append((cells, tools))
            bravais = [{"lattice": "cP", "accepted": False, "settings": []},
                       {"lattice": "oP", "accepted": True, "settings": [{"ideal_cell": [5, 6, 7]}]},
                       {"lattice": "aP", "accepted": True, "settings": [{"ideal_cell": [1, 2, 3]}]}]
            return {"cells": [{"bravais": bravais} for _ in cells],
                    "relations": [{"first": 2, "second": 1, "first_is": "supercell", "index": 2}]}
        patched = unittest.mock.patch.object(consensus, "surveyed", surveyed)
        patched.start()
        self.addCleanup(patched.stop)

    def test_is_the_highest_lattice_that_is_accepted_and_how_they_are_related(self) -> None:
        first, second = consensus.described([cluster(3), cluster(2)], "tools")
        self.assertEqual((first["cluster"], second["cluster"]), (1, 2))
        self.assertEqual((first["crystals"], second["crystals"]), (3, 2))
        self.assertEqual((first["bravais"], first["conventional"]), ("oP", [5, 6, 7]))
        self.assertAlmostEqual(first["volume"], 210.0)
        self.assertEqual((first["relations"], second["relations"]),
                         ([], [{"to": 1, "is": "supercell", "index": 2}]))
        self.assertEqual(first["spread"], (0.0,) * 6)
        self.assertIsNone(second["spread"])  # of two

    def test_is_asked_for_the_largest_fifty_alone(self) -> None:
        entries = consensus.described([cluster(1) for _ in range(52)], "tools")
        (cells, tools), = self.asked
        self.assertEqual((len(cells), tools), (50, "tools"))
        self.assertEqual([one["bravais"] for one in entries[49:]], ["oP", None, None])


if __name__ == "__main__":
    unittest.main()
