#!/usr/bin/env python3
"""Draws the figures of the manual from real runs of the program.

Usage: python3 figures.py PROGRAM [FOLDER]    (default: the folder figures beside this script)

All runs are on the forty reflections of examples/1_quartz_vectors.idx. Coordinates are rounded to
a tenth of a point, so that the files come out alike on every machine.
"""

import math
import os
import re
import subprocess
import sys
import tempfile

HERE = os.path.dirname(os.path.abspath(__file__))
EXAMPLE = os.path.join(os.path.dirname(os.path.dirname(HERE)), "examples", "1_quartz_vectors.idx")
CRITERION = 0.12  # the default of _TheMainCriterion

# ------------------------------------------------------------------------------------ runs


def run(program, keywords, suffixes):
    """What a run on the example with further keywords writes: its files of these suffixes."""
    with tempfile.TemporaryDirectory() as folder:
        with open(EXAMPLE, encoding="ascii") as file:
            text = file.read()
        with open(os.path.join(folder, "quartz.idx"), "w", encoding="ascii") as file:
            file.write(text + keywords)
        subprocess.run([os.path.abspath(program), "quartz.idx"], cwd=folder, check=True,
                       stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL)
        files = []
        for suffix in suffixes:
            with open(os.path.join(folder, "quartz" + suffix), encoding="ascii") as file:
                files.append(file.read())
        return files


def reflections():
    with open(EXAMPLE, encoding="ascii") as file:
        rows = file.read().split("_Reflections\n")[1].splitlines()
    return [[float(x) for x in row.split()] for row in rows]


def periodogram(program):
    """The Rayleigh periodogram as a list of (volume, power)."""
    (text,) = run(program, "_TypeOfPeriodogram\n-2\n", ["_periodogram.res"])
    return [tuple(float(x) for x in line.split()) for line in text.splitlines()[3:]]


def firsttriple(program, volume):
    """The three reflections that a search near a volume tries first, and the volume it ends with.

    They are taken from the log, at the middle one of the values around the volume.
    """
    log, results = run(program, "_ExtentOfTheSearch\n2\n_CreateLogFile\n1\n"
                       "_UserProvidedTestVolumes\n1 %.3f\n" % volume, ["_idx.log", "_idx.res"])
    values = re.split(r" Test volume +\d+ : ", log)[1:]
    middle = values[len(values) // 2]
    rows = middle.split("List of prominent reflections :\n")[1].split("\n\n")[0].splitlines()
    listed = [int(row.split()[1]) for row in rows]
    places = re.search(r"Passed primary tests: +(\d+) +(\d+) +(\d+)", middle).groups()
    found = float(re.search(r"Volume of the cell  : +([0-9.]+)", results).group(1))
    return [listed[int(place) - 1] for place in places], found


# ------------------------------------------------------------------------ three dimensions


def dot(u, v):
    return u[0] * v[0] + u[1] * v[1] + u[2] * v[2]


def cross(u, v):
    return [u[1] * v[2] - u[2] * v[1], u[2] * v[0] - u[0] * v[2], u[0] * v[1] - u[1] * v[0]]


def determinant(M):
    return dot(M[0], cross(M[1], M[2]))


def dual(M):
    V = determinant(M)
    return [[x / V for x in cross(M[i], M[j])] for i, j in ((1, 2), (2, 0), (0, 1))]


def transposed(M):
    return [list(column) for column in zip(*M)]


def product(A, B):
    return [[sum(a * b for a, b in zip(row, column)) for column in transposed(B)] for row in A]


def fitted(H, A):
    """The reciprocal basis R for which H R is closest to A."""
    return product(transposed(dual(product(transposed(H), H))), product(transposed(H), A))


def shortened(R):
    """R with whole multiples of shorter vectors taken from longer ones, as long as that helps."""
    while True:
        for i, j in ((i, j) for i in range(3) for j in range(3) if i != j):
            multiple = round(dot(R[i], R[j]) / dot(R[j], R[j]))
            shorter = [x - multiple * y for x, y in zip(R[i], R[j])]
            if dot(shorter, shorter) < dot(R[i], R[i]) - 1e-12:
                R[i] = shorter
                break
        else:
            return R


def deviation(x):
    return max(abs(index - round(index)) for index in x)


def growth(vectors, triple):
    """A basis that takes in one reflection after the other, always the one that fits best.

    Gives for each step how many were fitted, how many of all are within c/2 and within c, and the volume
    of the cell.
    """
    used = list(triple)
    R = shortened([list(vectors[i - 1]) for i in used])
    steps = []
    while True:
        indices = [[dot(row, vector) for row in dual(R)] for vector in vectors]
        q = [deviation(x) for x in indices]
        steps.append((len(used), sum(x < CRITERION / 2 for x in q), sum(x < CRITERION for x in q),
                      1 / abs(determinant(R))))
        left = [i for i in range(1, len(vectors) + 1) if i not in used]
        best = min(left, key=lambda i: q[i - 1], default=0)
        if best == 0 or q[best - 1] > 1.15 * CRITERION:
            return steps
        used.append(best)
        H = [[round(x) for x in indices[i - 1]] for i in used]
        R = fitted(H, [vectors[i - 1] for i in used])


# --------------------------------------------------------------------------------- drawing

BLUE, RED, GREY = "#30506e", "#b03a2e", "#777777"


class Drawing:
    """An SVG file, with the coordinates of a screen."""

    def __init__(self, width, height, title):
        self.parts = ['<svg xmlns="http://www.w3.org/2000/svg" width="%d" height="%d" '
                      'viewBox="0 0 %d %d" font-family="DejaVu Sans, Helvetica, sans-serif" '
                      'font-size="11">' % (width, height, width, height),
                      "<title>%s</title>" % title,
                      '<rect width="%d" height="%d" fill="#ffffff"/>' % (width, height)]

    def line(self, points, colour=BLUE, width=1.0, dash=None):
        where = " ".join("%.1f,%.1f" % point for point in points)
        dashes = ' stroke-dasharray="%s"' % dash if dash else ""
        self.parts.append('<polyline points="%s" fill="none" stroke="%s" stroke-width="%g"%s/>'
                          % (where, colour, width, dashes))

    def dot(self, point, colour=BLUE, radius=2.5):
        self.parts.append('<circle cx="%.1f" cy="%.1f" r="%g" fill="%s"/>'
                          % (*point, radius, colour))

    def bar(self, x, y, width, height, colour=BLUE):
        self.parts.append('<rect x="%.1f" y="%.1f" width="%.1f" height="%.1f" fill="%s"/>'
                          % (x, y, width, height, colour))

    def text(self, x, y, text, anchor="middle", colour="#1a1a1a"):
        self.parts.append('<text x="%.1f" y="%.1f" text-anchor="%s" fill="%s">%s</text>'
                          % (x, y, anchor, colour, text))

    def save(self, name):
        with open(name, "w", encoding="utf-8", newline="\n") as file:
            file.write("\n".join(self.parts + ["</svg>", ""]))


class Axes:
    """A frame in a drawing, with the scales of its two axes."""

    def __init__(self, drawing, box, xrange, yrange):
        self.drawing = drawing
        self.left, self.top, self.right, self.bottom = box
        self.xrange, self.yrange = xrange, yrange
        drawing.line([(self.left, self.top), (self.left, self.bottom), (self.right, self.bottom)],
                     "#1a1a1a")

    def at(self, x, y):
        (x0, x1), (y0, y1) = self.xrange, self.yrange
        return (self.left + (x - x0) / (x1 - x0) * (self.right - self.left),
                self.bottom - (y - y0) / (y1 - y0) * (self.bottom - self.top))

    def xticks(self, values, label):
        for value in values:
            x = self.at(value, self.yrange[0])[0]
            self.drawing.line([(x, self.bottom), (x, self.bottom + 4)], "#1a1a1a")
            self.drawing.text(x, self.bottom + 16, "%g" % value)
        self.drawing.text((self.left + self.right) / 2, self.bottom + 32, label)

    def yticks(self, values, label):
        for value in values:
            y = self.at(self.xrange[0], value)[1]
            self.drawing.line([(self.left - 4, y), (self.left, y)], "#1a1a1a")
            self.drawing.text(self.left - 7, y + 4, "%g" % value, "end")
        self.drawing.text(self.left, self.top - 8, label, "start")


# --------------------------------------------------------------------------------- figures


def highest(values, volume):
    """The highest point of a periodogram within 2 % of a volume."""
    return max((v for v in values if abs(v[0] / volume - 1) < 0.02), key=lambda v: v[1])


def drawperiodogram(values, peak, name):
    drawing = Drawing(640, 290, "The Rayleigh periodogram of forty reflections of quartz")
    axes = Axes(drawing, (45, 30, 625, 240), (60, 300), (0, 0.9))
    axes.xticks(range(60, 301, 20), "volume of the direct cell, cubic angstroms")
    axes.yticks((0, 0.2, 0.4, 0.6, 0.8), "power")
    drawing.line([axes.at(*value) for value in values], BLUE, 1.2)
    for factor, label in ((1, "V"), (2, "2 V"), (1.5, "3/2 V"), (2 / 3, "2/3 V")):
        x, y = axes.at(*highest(values, factor * peak))
        drawing.text(x, y - 6, label, colour=RED)
    drawing.save(name)


def drawphases(vectors, volumes, name):
    """Histograms of the fractional parts of all triple products times a volume."""
    n = len(vectors)
    products = [abs(determinant([vectors[i], vectors[j], vectors[k]]))
                for i in range(n) for j in range(i + 1, n) for k in range(j + 1, n)]
    drawing = Drawing(640, 240, "The phases of all triple products at two volumes")
    for volume, left in zip(volumes, (45, 365)):
        axes = Axes(drawing, (left, 30, left + 260, 190), (-0.5, 0.5), (0, 16))
        axes.xticks((-0.5, -0.25, 0, 0.25, 0.5), "distance of t V from a whole number")
        axes.yticks((0, 5, 10, 15), "% of the products")
        drawing.text(left + 255, 42, "V = %.2f" % volume, "end", RED)
        bins = [0] * 40
        for t in products:
            phase = t * volume - math.floor(t * volume + 0.5)
            bins[min(39, int((phase + 0.5) * 40))] += 1
        for b, count in enumerate(bins):
            share = 100 * count / len(products)
            x, y = axes.at(b / 40 - 0.5, share)
            drawing.bar(x, y, 6.0, axes.bottom - y)
    drawing.save(name)


def drawgrowth(steps, name):
    drawing = Drawing(640, 400, "A basis that takes in one reflection after the other")
    counts = Axes(drawing, (45, 30, 625, 190), (0, 40), (0, 42))
    counts.xticks((), "")
    counts.yticks((0, 10, 20, 30, 40), "reflections indexed, of 40")
    for place, colour, label, y in ((2, GREY, "within c", 30), (1, BLUE, "within c/2", 22)):
        points = [counts.at(step[0], step[place]) for step in steps]
        drawing.line(points, colour, 1.2)
        for point in points:
            drawing.dot(point, colour)
        drawing.text(*counts.at(9, y), label, "start", colour)
    volumes = Axes(drawing, (45, 230, 625, 350), (0, 40), (112, 116))
    volumes.xticks((0, 3, 10, 20, 30, 40), "reflections that the basis is fitted to")
    volumes.yticks((112, 113, 114, 115, 116), "volume of the direct cell, cubic angstroms")
    last = steps[-1][3]
    drawing.line([volumes.at(0, last), volumes.at(40, last)], RED, 0.8, "4 3")
    points = [volumes.at(step[0], step[3]) for step in steps]
    drawing.line(points, BLUE, 1.2)
    for point in points:
        drawing.dot(point)
    drawing.text(*volumes.at(39.5, last + 0.3), "%.2f" % last, "end", RED)
    drawing.save(name)


def main():
    if len(sys.argv) not in (2, 3):
        sys.exit(__doc__)
    program = sys.argv[1]
    folder = sys.argv[2] if len(sys.argv) == 3 else os.path.join(HERE, "figures")
    os.makedirs(folder, exist_ok=True)
    values = periodogram(program)
    peak = max(values, key=lambda value: value[1])[0]
    drawperiodogram(values, peak, os.path.join(folder, "periodogram.svg"))
    vectors = reflections()
    drawphases(vectors, (peak, 100.0), os.path.join(folder, "phases.svg"))
    triple, found = firsttriple(program, peak)
    steps = growth(vectors, triple)
    if abs(steps[-1][3] - found) > 0.02:
        sys.exit("The basis drawn, of volume %.2f, is not that of the run, %.2f"
                 % (steps[-1][3], found))
    drawgrowth(steps, os.path.join(folder, "growth.svg"))
    print("reflections", *triple, "volume %.2f" % found)
    for step in steps[:5]:
        print("fitted to %d: %d within c/2, %d within c, volume %.2f" % step)


if __name__ == "__main__":
    main()
