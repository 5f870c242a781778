// Reflections under a basis. A basis has nine numbers: its rows are a, b, c in the frame of the
// reflection vectors, and times a vector it gives the indices h k l.

export const kinds = ["strict", "loose", "none", "other"];

export function times(m, v) {
  return [0, 3, 6].map((i) => m[i] * v[0] + m[i + 1] * v[1] + m[i + 2] * v[2]);
}

export function determinant(m) {
  return m[0] * (m[4] * m[8] - m[5] * m[7]) - m[1] * (m[3] * m[8] - m[5] * m[6])
    + m[2] * (m[3] * m[7] - m[4] * m[6]);
}

// a*, b*, c*: the columns of the inverse of the basis.
export function reciprocal(m) {
  const cross = (i, j) => [
    m[i + 1] * m[j + 2] - m[i + 2] * m[j + 1],
    m[i + 2] * m[j] - m[i] * m[j + 2],
    m[i] * m[j + 1] - m[i + 1] * m[j],
  ];
  const volume = determinant(m);
  return [cross(3, 6), cross(6, 0), cross(0, 3)].map((v) => v.map((x) => x / volume));
}

// The matrix T, of whole numbers, with basis `large` = T times basis `small`.
export function transformation(large, small) {
  const stars = reciprocal(small);
  return [0, 3, 6].map((i) => stars.map((star) => {
    const x = large[i] * star[0] + large[i + 1] * star[1] + large[i + 2] * star[2];
    return Math.round(x) || 0;
  }));
}

// Without the sign of a zero.
export const nearest = (x) => Math.round(x) || 0;

export function lengthof(v) {
  return Math.hypot(v[0], v[1], v[2]);
}

// What a solution makes of every reflection: indices at full precision, the nearest whole ones,
// deviations, the error (their length) and the kind. The kinds are those of the file where it gives
// them: a deviation at a limit may fall to either side when it is computed anew.
export function indexed(data, solution) {
  return data.vectors.map((vector, i) => {
    const real = times(solution.basis, vector);
    const whole = real.map(nearest);
    const off = real.map((x, k) => x - whole[k]);
    const largest = Math.max(...off.map(Math.abs));
    return { number: i + 1, vector, length: lengthof(vector), real, whole, off, largest,
             error: lengthof(off), kind: kindof(data, solution, i, whole, largest) };
  });
}

const letters = { H: "strict", h: "loose" };

function kindof(data, solution, i, whole, largest) {
  if (solution.fits) return letters[solution.fits[i]] ?? "none";
  if (whole.some((x) => Math.abs(x) > data.largestindex)) return "none";
  if (largest < data.criterion / 2) return "strict";
  return largest < data.criterion ? "loose" : "none";
}

// Marks reflections that another solution takes and this one does not.
export function withother(rows, others) {
  rows.forEach((row, i) => {
    const taken = others && others[i].kind !== "none";
    if (row.kind === "none" && taken) row.kind = "other";
    row.otherwhole = taken ? others[i].whole : null;
  });
  return rows;
}

export const cellwords = (cell) =>
  cell.slice(0, 3).map((x) => x.toFixed(3)).join(" ") + " Å, " + cell.slice(3).map((x) => x.toFixed(2)).join(" ") + "°";
