"""Lattices of cells that were measured with errors: whether two are one, and how.

Reduced cells jump: two measurements of one lattice can have reduced cells of quite different angles. So
cells are never compared as they are. The lengths of the shortest vectors of a lattice, in order, do not jump:
they find the lattices that might be the same. A change of basis that makes the metrics alike proves it.
"""

from __future__ import annotations

import itertools
import math
from collections.abc import Iterator
from dataclasses import dataclass

import gemmi

Cell = tuple[float, float, float, float, float, float]
Metric = tuple[tuple[float, float, float], ...]
Row = tuple[int, int, int]

# How far cells of one lattice may differ, as a part of lengths and, for angles, in the cosine. The
# uncertainties of cells from 20 reflections with errors of 2 % of the shortest reciprocal vector are
# below a half of that; substances differ by more, but for the nearest of kin.
TOLERANCE = 0.02

# Half of the vectors with coefficients up to 2 in a reduced basis, the other half being their negatives.
# Of a reduced basis the shortest vectors have coefficients up to 1; errors can make it one that is only
# nearly reduced.
ROWS: tuple[Row, ...] = tuple(row for row in itertools.product(range(-2, 3), repeat=3)
                              if row > (0, 0, 0) and math.gcd(*row) == 1)


def dot(metric: Metric, v: Row, w: Row) -> float:
    return sum(v[i] * metric[i][j] * w[j] for i in range(3) for j in range(3))


def determinant(rows: tuple[Row, Row, Row]) -> int:
    (a, b, c), (d, e, f), (g, h, i) = rows
    return a * (e * i - f * h) - b * (d * i - f * g) + c * (d * h - e * g)


def cellof(metric: Metric) -> Cell:
    a, b, c = (math.sqrt(metric[i][i]) for i in range(3))

    def angle(i: int, j: int, product: float) -> float:
        return math.degrees(math.acos(max(-1.0, min(1.0, metric[i][j] / product))))

    return a, b, c, angle(1, 2, b * c), angle(0, 2, a * c), angle(0, 1, a * b)


def metricof(cell: Cell) -> Metric:
    a, b, c = cell[:3]
    alpha, beta, gamma = (math.cos(math.radians(angle)) for angle in cell[3:])
    return ((a * a, a * b * gamma, a * c * beta), (a * b * gamma, b * b, b * c * alpha),
            (a * c * beta, b * c * alpha, c * c))


@dataclass(frozen=True)
class Lattice:
    """A lattice, given by the metric of its Niggli cell."""

    metric: Metric
    volume: float
    vectors: tuple[tuple[float, Row], ...]  # short ones: length and coefficients, by length

    @staticmethod
    def of(cell: Cell) -> Lattice:
        """Raises ValueError if the six numbers are no cell."""
        given = gemmi.UnitCell(*cell)
        if not (min(cell) > 0.0 and given.volume > 0.0 and math.isfinite(given.volume)):
            raise ValueError(f"{cell} is no cell")
        reduced = gemmi.GruberVector(given, "P")
        # What is closer than the digits of a measured cell counts as equal.
        reduced.niggli_reduce(epsilon=1e-6 * given.volume ** (2 / 3))
        metric = metricof(reduced.cell_parameters())
        vectors = sorted((math.sqrt(dot(metric, row, row)), row) for row in ROWS)
        return Lattice(metric, given.volume, tuple(vectors))

    @property
    def cell(self) -> Cell:
        return cellof(self.metric)

    @property
    def fingerprint(self) -> tuple[float, ...]:
        """Logarithms of lengths that change little where the lattice does: the edge of a cube of its
        volume, and its three shortest vectors."""
        return (math.log(self.volume) / 3, *(math.log(length) for length, _ in self.vectors[:3]))


def settings(lattice: Lattice, like: Lattice) -> Iterator[tuple[float, Metric]]:
    """All bases of a lattice whose metric is that of another one, within the tolerance: how far they
    differ, and their metrics."""
    goal = like.metric
    edges = [math.sqrt(goal[i][i]) for i in range(3)]
    near = [[row for length, row in lattice.vectors if abs(length / edge - 1) <= TOLERANCE]
            for edge in edges]

    def off(i: int, j: int, v: Row, w: Row) -> float:
        return abs(dot(lattice.metric, v, w) - goal[i][j]) / (edges[i] * edges[j])

    for a in near[0]:
        for b, c in itertools.product(near[1], near[2]):
            for signb, signc in itertools.product((1, -1), repeat=2):
                rows = (a, tuple(signb * x for x in b), tuple(signc * x for x in c))
                if abs(determinant(rows)) != 1:
                    continue
                worst = max(off(i, j, rows[i], rows[j])
                            for i, j in ((0, 0), (1, 1), (2, 2), (1, 2), (0, 2), (0, 1)))
                if worst <= 2 * TOLERANCE:
                    yield worst, tuple(tuple(dot(lattice.metric, rows[i], rows[j]) for j in range(3))
                                       for i in range(3))


def inthesettingof(like: Lattice, lattice: Lattice) -> Cell | None:
    """The cell of a lattice in the setting of another one that is the same; None if it is not."""
    best = min(settings(lattice, like), default=None)
    return cellof(best[1]) if best else None


class Finder:
    """Finds the lattices of a list that might be the same as another: in a grid of fingerprints, so that
    the time does not grow with the list."""

    def __init__(self) -> None:
        self._boxes: dict[tuple[int, ...], list[int]] = {}

    @staticmethod
    def _box(lattice: Lattice) -> tuple[int, ...]:
        return tuple(math.floor(x / TOLERANCE) for x in lattice.fingerprint)

    def add(self, index: int, lattice: Lattice) -> None:
        self._boxes.setdefault(self._box(lattice), []).append(index)

    def near(self, lattice: Lattice) -> list[int]:
        box = self._box(lattice)
        found = []
        for step in itertools.product((-1, 0, 1), repeat=len(box)):
            found += self._boxes.get(tuple(x + d for x, d in zip(box, step)), ())
        return sorted(found)
