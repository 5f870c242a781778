"""Which measured cells are of one lattice."""

from __future__ import annotations

import itertools
import random
import unittest

import batches  # noqa: F401  (the path of the workflow)
from torvikbatch import consensus
from torvikbatch.lattices import (TOLERANCE, Finder, Lattice, cellof, determinant, dot,
                                  inthesettingof, metricof)


def anycell(chance: random.Random) -> tuple:
    """Edges of 4 to 20 angstroms, angles of 70 to 110 degrees."""
    return (*(4 * 5 ** chance.random() for _ in range(3)), *(chance.uniform(70, 110) for _ in range(3)))


def anybasis(chance: random.Random) -> tuple:
    """An integer matrix of determinant 1 or -1: some steps of adding one row to another."""
    rows = [[1, 0, 0], [0, 1, 0], [0, 0, 1]]
    for _ in range(6):
        i, j = chance.sample(range(3), 2)
        sign = chance.choice((1, -1))
        rows[i] = [x + sign * y for x, y in zip(rows[i], rows[j])]
    return tuple(map(tuple, rows))


def inbasis(cell: tuple, rows: tuple) -> tuple:
    metric = metricof(cell)
    return cellof(tuple(tuple(dot(metric, v, w) for w in rows) for v in rows))


def shaken(cell: tuple, chance: random.Random, part: float) -> tuple:
    return (*(x * (1 + chance.uniform(-part, part)) for x in cell[:3]),
            *(x + chance.uniform(-part, part) * 57 for x in cell[3:]))


SPECIAL = ((5, 5, 5, 90, 90, 90), (5, 5, 5, 60, 60, 60), (5, 5, 8, 90, 90, 120),
           (5, 5, 5, 109.471, 109.471, 109.471), (5, 5, 9, 90, 90, 90), (4, 7, 9, 90, 100, 90),
           (6, 6, 6, 89.9, 90.1, 90), (5, 7, 9, 60.1, 89.9, 90))


class Lattices(unittest.TestCase):
    def test_a_lattice_is_the_same_in_any_basis(self) -> None:
        chance = random.Random(1)
        for cell in (*SPECIAL, *(anycell(chance) for _ in range(100))):
            one = Lattice.of(cell)
            other = Lattice.of(inbasis(cell, anybasis(chance)))
            for x, y in zip(inthesettingof(one, other), one.cell):
                self.assertAlmostEqual(x, y, delta=1e-6, msg=str(cell))

    def test_errors_that_make_the_reduced_cell_jump_do_not_part_a_lattice(self) -> None:
        chance = random.Random(2)
        for cell in (*SPECIAL, *(anycell(chance) for _ in range(100))):
            one = Lattice.of(shaken(cell, chance, 0.003))
            other = Lattice.of(shaken(cell, chance, 0.003))
            found = inthesettingof(one, other)
            self.assertIsNotNone(found, str(cell))
            for x, y in zip(found, one.cell):
                self.assertAlmostEqual(x / y, 1.0, delta=0.02, msg=str(cell))

    def test_lattices_of_a_few_per_cent_difference_are_two(self) -> None:
        chance = random.Random(3)
        for _ in range(100):
            cell = anycell(chance)
            wider = tuple(x * (1 + 3 * TOLERANCE) for x in cell[:3]) + cell[3:]
            self.assertIsNone(inthesettingof(Lattice.of(cell), Lattice.of(wider)))

    def test_a_superlattice_is_another_lattice(self) -> None:
        chance = random.Random(4)
        for _ in range(100):
            cell = anycell(chance)
            twice = inbasis(cell, ((2, 0, 0), (chance.choice((0, 1)), 1, 0), (0, 0, 1)))
            self.assertIsNone(inthesettingof(Lattice.of(cell), Lattice.of(twice)))
            self.assertIsNone(inthesettingof(Lattice.of(twice), Lattice.of(cell)))

    def test_an_independent_lattice_of_the_same_volume_is_another_one(self) -> None:
        chance = random.Random(5)
        lattices = []
        for _ in range(150):
            cell = anycell(chance)
            factor = (1000 / Lattice.of(cell).volume) ** (1 / 3)
            lattices.append(Lattice.of((*(x * factor for x in cell[:3]), *cell[3:])))
        same = sum(inthesettingof(one, other) is not None
                   for one, other in itertools.combinations(lattices, 2))
        self.assertLessEqual(same, 2)  # of 11175 pairs: chance makes some nearly alike

    def test_the_finder_finds_all_that_the_comparison_takes(self) -> None:
        chance = random.Random(6)
        finder = Finder()
        originals = [anycell(chance) for _ in range(300)]
        for index, cell in enumerate(originals):
            finder.add(index, Lattice.of(cell))
        missed = 0
        for index, cell in enumerate(originals):
            late = Lattice.of(shaken(inbasis(cell, anybasis(chance)), chance, 0.0))
            self.assertIn(index, finder.near(late))
            late = Lattice.of(shaken(cell, chance, 0.006))
            if inthesettingof(Lattice.of(cell), late):
                missed += index not in finder.near(late)
        self.assertEqual(missed, 0)

    def test_what_is_no_cell_is_refused(self) -> None:
        for cell in ((1, 1, 1, 10, 10, 170), (0, 1, 1, 90, 90, 90), (-1, 1, 1, 90, 90, 90)):
            with self.assertRaises(ValueError, msg=str(cell)):
                Lattice.of(cell)

    def test_bases_of_the_tests_are_bases(self) -> None:
        chance = random.Random(7)
        self.assertTrue(all(abs(determinant(anybasis(chance))) == 1 for _ in range(100)))


class Clusters(unittest.TestCase):
    CELLS = ((5.1, 7.3, 9.9, 81, 95, 100), (5, 5, 5, 90, 90, 90), (7, 8, 9, 90, 104, 90))

    def crystals(self, counts: tuple, part: float) -> list:
        chance = random.Random(8)
        kinds = [kind for kind, count in enumerate(counts) for _ in range(count)]
        chance.shuffle(kinds)
        return [(number, kind, Lattice.of(shaken(inbasis(self.CELLS[kind], anybasis(chance)), chance, 0)
                                          if part == 0 else shaken(self.CELLS[kind], chance, part)))
                for number, kind in enumerate(kinds, 1)]

    def test_hold_the_crystals_of_one_lattice_each_the_largest_first(self) -> None:
        made = self.crystals((20, 50, 30), 0.003)
        found = consensus.clusters(lambda: ((number, lattice) for number, _, lattice in made))
        self.assertEqual([len(one.members) for one in found], [50, 30, 20])
        kindof = {number: kind for number, kind, _ in made}
        for one, kind in zip(found, (1, 2, 0)):
            self.assertEqual({kindof[number] for number in one.members}, {kind})

    def test_have_medians_near_the_true_cell(self) -> None:
        made = self.crystals((200, 0, 0), 0.004)
        found, = consensus.clusters(lambda: ((number, lattice) for number, _, lattice in made))
        truth = Lattice.of(self.CELLS[0])
        median = inthesettingof(truth, Lattice.of(found.median()))
        for x, y in zip(median, truth.cell):
            # Even errors up to 0.4 % have medians within 0.4 % / sqrt(200), three times over.
            self.assertAlmostEqual(x / y, 1.0, delta=3 * 0.004 / 200**0.5 * 1.5)

    def test_are_tried_again_only_if_several_crystals_agree(self) -> None:
        made = self.crystals((2, 3, 400), 0.002)
        found = consensus.clusters(lambda: ((number, lattice) for number, _, lattice in made))
        self.assertEqual([len(one.members) for one in consensus.tried(found, 10)], [400, 3])
        self.assertEqual([len(one.members) for one in consensus.tried(found, 405)], [400])

    def test_do_not_hang_on_one_crystal_that_is_off(self) -> None:
        one = consensus.Cluster(Lattice.of(self.CELLS[1]))
        for number in range(9):
            one.add(number, (5.0 + 0.01 * (number % 3), 5, 5, 90, 90, 90))
        one.add(9, (5.09, 5, 5, 90, 90, 90))
        self.assertAlmostEqual(one.median()[0], 5.01)
        self.assertLess(one.spread()[0], 0.02)


if __name__ == "__main__":
    unittest.main()
