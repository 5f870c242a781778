#!/usr/bin/env python3
"""Makes the example inputs and, beside each, the lattice that a run must find.

Usage: python3 generate.py [FOLDER]        (default: the folder of this script)

Each crystal has a published cell. It is put on the goniometer in an arbitrary but fixed orientation;
some of its reflections (no systematically absent ones, one of each Friedel pair) are taken in arbitrary
order and given errors of measurement. Only the standard library is used, and only random(), whose
sequence is the same in every version of the language, so the files come out alike everywhere.

Conventions: the rows of a direct basis D are the vectors a, b, c in the laboratory frame, so that a
reflection vector r has the indices D r. Lengths are in angstroms, reflection vectors in 1/angstrom,
angles in degrees.
"""

import json
import math
import os
import random
import sys

# ------------------------------------------------------------------------------ three dimensions


def dot(u, v):
    return u[0] * v[0] + u[1] * v[1] + u[2] * v[2]


def cross(u, v):
    return [u[1] * v[2] - u[2] * v[1], u[2] * v[0] - u[0] * v[2], u[0] * v[1] - u[1] * v[0]]


def length(v):
    return math.sqrt(dot(v, v))


def determinant(M):
    return dot(M[0], cross(M[1], M[2]))


def dual(M):
    """The basis R of rows a*, b*, c* that belongs to the rows of M, and back."""
    V = determinant(M)
    return [[x / V for x in cross(M[i], M[j])] for i, j in ((1, 2), (2, 0), (0, 1))]


def combination(factors, M):
    """The sum of the rows of M, each times its factor."""
    return [sum(f * row[k] for f, row in zip(factors, M)) for k in range(3)]


def basis(cell):
    """A direct basis of a cell a, b, c, alpha, beta, gamma: a along x, b in the plane of x and y."""
    a, b, c = cell[:3]
    ca, cb, cg = (math.cos(math.radians(x)) for x in cell[3:])
    sg = math.sin(math.radians(cell[5]))
    y = (ca - cb * cg) / sg
    return [[a, 0.0, 0.0], [b * cg, b * sg, 0.0], [c * cb, c * y, c * math.sqrt(1 - cb * cb - y * y)]]


# ------------------------------------------------------------------------------ chance


def normal(chance):
    """A normal deviate of mean 0 and variance 1 (Box and Muller)."""
    return math.sqrt(-2 * math.log(1 - chance.random())) * math.cos(2 * math.pi * chance.random())


def rotation(chance):
    """A rotation matrix, every orientation equally likely, from a quaternion of length 1."""
    q = [normal(chance) for _ in range(4)]
    w, x, y, z = (p / math.sqrt(sum(s * s for s in q)) for p in q)
    return [
        [1 - 2 * (y * y + z * z), 2 * (x * y - z * w), 2 * (x * z + y * w)],
        [2 * (x * y + z * w), 1 - 2 * (x * x + z * z), 2 * (y * z - x * w)],
        [2 * (x * z - y * w), 2 * (y * z + x * w), 1 - 2 * (x * x + y * y)],
    ]


def shuffled(chance, items):
    items = list(items)
    for i in range(len(items) - 1, 0, -1):
        j = int(chance.random() * (i + 1))
        items[i], items[j] = items[j], items[i]
    return items


# ------------------------------------------------------------------------------ crystals

PRIMITIVE = [[1, 0, 0], [0, 1, 0], [0, 0, 1]]
C_CENTRED = [[0.5, 0.5, 0], [-0.5, 0.5, 0], [0, 0, 1]]
R_OBVERSE = [[2 / 3, 1 / 3, 1 / 3], [-1 / 3, 1 / 3, 1 / 3], [-1 / 3, -2 / 3, 1 / 3]]

QUARTZ = {
    "name": "alpha-quartz, SiO2",
    "reference": "Levien, Prewitt & Weidner (1980), Am. Mineral. 65, 920-930",
    "group": "P 31 2 1 or P 32 2 1",
    "cell": [4.916, 4.916, 5.4054, 90, 90, 120],
    "primitive": PRIMITIVE,
    "present": lambda h, k, l: (h, k) != (0, 0) or l % 3 == 0,
}
SUCROSE = {
    "name": "sucrose, C12H22O11",
    "reference": "Brown & Levy (1973), Acta Cryst. B29, 790-797",
    "group": "P 1 21 1",
    "cell": [10.8633, 8.7050, 7.7585, 90, 102.945, 90],
    "primitive": PRIMITIVE,
    "present": lambda h, k, l: (h, l) != (0, 0) or k % 2 == 0,
}
DIOPSIDE = {
    "name": "diopside, CaMgSi2O6",
    "reference": "Cameron, Sueno, Prewitt & Papike (1973), Am. Mineral. 58, 594-618",
    "group": "C 1 2/c 1",
    "cell": [9.746, 8.899, 5.251, 90, 105.63, 90],
    "primitive": C_CENTRED,
    "present": lambda h, k, l: (h + k) % 2 == 0 and (k != 0 or l % 2 == 0),
}
CALCITE = {
    "name": "calcite, CaCO3",
    "reference": "Effenberger, Mereiter & Zemann (1981), Z. Kristallogr. 156, 233-243",
    "group": "R -3 2/c, hexagonal axes, obverse",
    "cell": [4.9896, 4.9896, 17.0610, 90, 90, 120],
    "primitive": R_OBVERSE,
    # The glide planes contain c and one of a*, b* and a* - b*.
    "present": lambda h, k, l: (-h + k + l) % 3 == 0
    and (h * k * (h + k) != 0 or l % 2 == 0),
}
KYANITE = {
    "name": "kyanite, Al2SiO5",
    "reference": "Winter & Ghose (1979), Am. Mineral. 64, 573-586",
    "group": "P -1",
    "cell": [7.126, 7.852, 5.572, 89.99, 101.11, 106.03],
    "primitive": PRIMITIVE,
    "present": lambda h, k, l: True,
}


def reflections_within(crystal, D, smallestd):
    """The indices of one of each Friedel pair, d spacings from smallestd up, absent ones left out."""
    R = dual(D)
    limits = [int(length(row) / smallestd) for row in D]
    found = []
    for h in range(-limits[0], limits[0] + 1):
        for k in range(-limits[1], limits[1] + 1):
            for l in range(-limits[2], limits[2] + 1):
                if (h, k, l) <= (0, 0, 0) or not crystal["present"](h, k, l):
                    continue
                if length(combination((h, k, l), R)) * smallestd <= 1:
                    found.append((h, k, l))
    return found


def measured(chance, crystal, count, smallestd, error, wrong=0):
    """A direct primitive basis, and as many vectors as asked for, `wrong` of them on no lattice."""
    turn = rotation(chance)
    D = [[dot(row, v) for row in turn] for v in basis(crystal["cell"])]
    R = dual(D)
    vectors = []
    for hkl in shuffled(chance, reflections_within(crystal, D, smallestd))[: count - wrong]:
        sign = 1 if chance.random() < 0.5 else -1  # one of the two of the Friedel pair
        vectors.append([sign * x + error * normal(chance) for x in combination(hkl, R)])
    shortest = min(length(v) for v in vectors)
    while len(vectors) < count:
        v = [(2 * chance.random() - 1) / smallestd for _ in range(3)]
        if shortest <= length(v) <= 1 / smallestd:
            vectors.append(v)
    return [combination(row, D) for row in crystal["primitive"]], shuffled(chance, vectors)


# ------------------------------------------------------------------------------ goniometers


def eulerian(wavelength, v):
    """Theta, phi and chi of a vector in the bisecting position."""
    theta = math.asin(wavelength * length(v) / 2)
    return [math.degrees(x) for x in (theta, math.atan2(-v[0], v[1]), math.asin(v[2] / length(v)))]


def kappa(wavelength, alpha, v):
    """Theta, phi and kappa of a vector, alpha being the angle of the kappa axis.

    Turning kappa turns the crystal about omega and phi as well, by delta each. The given theta is
    the omega circle's: it is shifted by delta as phi is.
    """
    theta, phi, chi = (math.radians(x) for x in eulerian(wavelength, v))
    d = -math.sin(chi / 2)
    r = math.sqrt(math.sin(math.radians(alpha)) ** 2 - d * d)
    delta = math.atan2(d * math.cos(math.radians(alpha)), r)
    return [math.degrees(x) for x in (theta - delta, phi - delta, -2 * math.atan2(d, r))]


# ------------------------------------------------------------------------------ files


def numbers(rows, decimals):
    return ["  " + "".join("%12.*f" % (decimals, x) for x in row) for row in rows]


def conventional(crystal):
    a, b, c, alpha, beta, gamma = crystal["cell"]
    return "a %g, b %g, c %g, alpha %g, beta %g, gamma %g" % (a, b, c, alpha, beta, gamma)


def write(folder, name, crystal, D, notes, keywords, listname, rows):
    """Writes the input file and the truth beside it."""
    V = abs(determinant(D))
    lines = [crystal["name"], crystal["reference"], "%s; %s" % (crystal["group"], conventional(crystal))]
    lines += ["Volume of the primitive cell: %.2f" % V] + notes
    text = ["# " + line for line in lines] + keywords
    text += ["_NumberOfReflections", str(len(rows)), listname] + rows
    with open(os.path.join(folder, name + ".idx"), "w", encoding="ascii", newline="\n") as file:
        file.write("\n".join(text) + "\n")
    truth = {
        "crystal": crystal["name"],
        "reference": crystal["reference"],
        "conventional_cell": crystal["cell"],
        "primitive_volume": round(V, 4),
        "direct_basis_rows": [[round(x, 8) for x in row] for row in D],
    }
    with open(os.path.join(folder, name + ".truth.json"), "w", encoding="ascii", newline="\n") as file:
        file.write(json.dumps(truth, indent=1) + "\n")


def vectors_of_quartz(folder):
    D, vectors = measured(random.Random(1980), QUARTZ, 40, 0.9, 0.0006)
    notes = [
        "Forty reflection vectors in 1/angstrom, with errors of 0.0006.",
        "Expect: the first solution is the cell above, with all forty reflections.",
    ]
    keywords = ["_ExtentOfTheSearch", "1", "_MinMaxVolumeOfPrimitiveCell", "60 300"]
    write(folder, "1_quartz_vectors", QUARTZ, D, notes, keywords, "_Reflections", numbers(vectors, 5))


def eulerian_angles_of_sucrose(folder):
    wavelength = 1.54178
    D, vectors = measured(random.Random(1973), SUCROSE, 30, 1.3, 0.0006)
    angles = [eulerian(wavelength, v) for v in vectors]
    notes = [
        "Thirty reflections as theta, phi, chi of a Eulerian cradle, Cu K-alpha, with errors of",
        "0.0006 1/angstrom.",
        "Expect: the first solution is the cell above, with all reflections.",
    ]
    keywords = ["_Wavelength", "%g" % wavelength, "_MinMaxVolumeOfPrimitiveCell", "500 1000"]
    write(folder, "2_sucrose_euler", SUCROSE, D, notes, keywords, "_ReflectionsThetaPhiChi",
          numbers(angles, 3))


def kappa_angles_of_diopside(folder):
    wavelength, alpha = 0.71073, 50.0
    D, vectors = measured(random.Random(594), DIOPSIDE, 30, 1.0, 0.0006)
    angles = [kappa(wavelength, alpha, v) for v in vectors]
    notes = [
        "Thirty reflections as theta, phi, kappa, the kappa axis at 50 degrees, Mo K-alpha, with errors",
        "of 0.0006 1/angstrom.",
        "Theta is the angle of the omega circle: kappa shifts it as it shifts phi.",
        "Expect: the first solution is the primitive cell, half of the C-centred one.",
    ]
    keywords = ["_Wavelength", "%g" % wavelength, "_AngleOfKappaAxis", "%g" % alpha,
                "_MinMaxVolumeOfPrimitiveCell", "150 300"]
    write(folder, "3_diopside_kappa", DIOPSIDE, D, notes, keywords, "_ReflectionsThetaPhiKappa",
          numbers(angles, 3))


def known_volumes_of_calcite(folder):
    D, vectors = measured(random.Random(1981), CALCITE, 30, 1.0, 0.0006)
    notes = [
        "Thirty reflection vectors in 1/angstrom, with errors of 0.0006. The volume of the hexagonal cell",
        "is known, its centring is not: the volume, a half and a third of it are given to be tried.",
        "Expect: the first solution is the rhombohedral primitive cell, a third of the other.",
    ]
    keywords = ["_UserProvidedTestVolumes", "3", "367.9 183.9 122.6"]
    write(folder, "4_calcite_volumes", CALCITE, D, notes, keywords, "_Reflections", numbers(vectors, 5))


def difficult_kyanite(folder):
    D, vectors = measured(random.Random(1979), KYANITE, 40, 1.3, 0.003, wrong=10)
    notes = [
        "Forty reflection vectors in 1/angstrom with errors of 0.003, ten of them (25 %) on no lattice.",
        "Expect: the cell above is among the solutions, with about thirty reflections. A cell of twice the",
        "volume stands before it: it takes in a wrong reflection more, by chance.",
    ]
    keywords = ["_MinMaxVolumeOfPrimitiveCell", "200 600",
                "_SortSolutionsByQualityVsVolume", "3", "_MaxNumberOfSavedBases", "8"]
    write(folder, "5_kyanite_difficult", KYANITE, D, notes, keywords, "_Reflections", numbers(vectors, 5))


def main():
    folder = sys.argv[1] if len(sys.argv) > 1 else os.path.dirname(os.path.abspath(__file__))
    os.makedirs(folder, exist_ok=True)
    for example in (vectors_of_quartz, eulerian_angles_of_sucrose, kappa_angles_of_diopside,
                    known_volumes_of_calcite, difficult_kyanite):
        example(folder)


if __name__ == "__main__":
    main()
