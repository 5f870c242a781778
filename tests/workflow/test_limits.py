"""Values at the edge of what the workflow takes."""

from __future__ import annotations

import math
import unittest
from pathlib import Path

from batches import InAFolder
from torvikbatch import inputs
from torvikbatch.folder import Input
from torvikbatch.lattices import Lattice, inthesettingof

CELL = (5.0, 7.0, 11.0, 80.0, 95.0, 102.0)


class TheToleranceOfCells(unittest.TestCase):
    def same(self, cell: tuple) -> bool:
        return inthesettingof(Lattice.of(CELL), Lattice.of(cell)) is not None

    def test_is_two_per_cent_of_a_length(self) -> None:
        for i in range(3):
            for part, same in ((1.019, True), (1.021, False), (0.981, True), (0.979, False)):
                cell = tuple(x * part if j == i else x for j, x in enumerate(CELL))
                self.assertEqual(self.same(cell), same, (i, part))

    def test_is_twice_that_of_the_cosine_of_an_angle(self) -> None:
        for i in range(3, 6):
            for off, same in ((0.039, True), (0.041, False), (-0.039, True), (-0.041, False)):
                cosine = math.cos(math.radians(CELL[i])) + off
                cell = tuple(math.degrees(math.acos(cosine)) if j == i else x for j, x in enumerate(CELL))
                self.assertEqual(self.same(cell), same, (i, off))


class AnInput(InAFolder):
    def test_that_was_emptied_has_changed(self) -> None:
        path = Path("one.csv").absolute()
        path.write_text("x,y,z\n", encoding="utf-8")
        before = Input.of(1, str(path))
        path.write_text("", encoding="utf-8")
        self.assertEqual((before.size, inputs.asnow(before, {}).size), (6, 0))

    def test_that_is_gone_is_as_it_was(self) -> None:
        path = Path("one.csv").absolute()
        path.write_text("x,y,z\n", encoding="utf-8")
        before = Input.of(1, str(path))
        path.unlink()
        self.assertEqual(inputs.asnow(before, {}), before)


if __name__ == "__main__":
    unittest.main()
