// Errors of the reflections, deviations of their indices, and how both go with length.
import { bottomaxis, caption, drawing, element, leftaxis, linear, widthof } from "./svg.js";

const kindsdrawn = ["strict", "loose", "other", "none"];
export const names = {
  strict: "indexed (within c/2)", loose: "weakly indexed (within c)", none: "not indexed", other: "of the other lattice alone",
};

// Counts per bin and kind; values beyond the last bin fall into it.
export function counted(rows, value, from, to, bins) {
  const counts = Array.from({ length: bins }, () => ({ strict: 0, loose: 0, none: 0, other: 0 }));
  for (const row of rows) {
    const place = Math.floor(((value(row) - from) / (to - from)) * bins);
    counts[Math.min(bins - 1, Math.max(0, place))][row.kind] += 1;
  }
  return counts;
}

const total = (bin) => bin.strict + bin.loose + bin.none + bin.other;

function drawbars(svg, counts, x, y, from, to) {
  const step = (to - from) / counts.length;
  counts.forEach((bin, i) => {
    let base = 0;
    const [left, right] = [x(from + i * step), x(from + (i + 1) * step)];
    const group = element("g");
    for (const kind of kindsdrawn) {
      if (!bin[kind]) continue;
      const top = base + bin[kind];
      group.append(element("rect", { x: left + 0.5, width: Math.max(0.5, right - left - 1), y: y(top),
                                     height: y(base) - y(top), fill: `var(--${kind})` }));
      base = top;
    }
    const words = kindsdrawn.filter((kind) => bin[kind]).map((kind) => `${bin[kind]} ${names[kind]}`);
    if (words.length) group.append(element("title", {}, words.join(", ")));
    svg.append(group);
  });
}

function limitline(svg, x, top, bottom, text) {
  svg.append(element("path", { d: `M${x} ${top}V${bottom}`, stroke: "var(--soft)", "stroke-dasharray": "4 3" }));
  if (text) svg.append(element("text", { x: x + 4, y: top + 10 }, text));
}

// How large the errors are: those of indexed reflections are at most the root of 3 times c.
export function errorchart(rows, criterion) {
  const figure = document.getElementById("errorchart");
  const [width, height] = [widthof(figure, 620), 280];
  const to = Math.sqrt(3) / 2;
  const counts = counted(rows, (row) => row.error, 0, to, 44);
  const svg = drawing(width, height, "Histogram of the errors of all reflections, by kind");
  const x = linear(0, to, 50, width - 12);
  const y = linear(0, Math.max(1, ...counts.map(total)), height - 44, 14);
  leftaxis(svg, y, 50, width - 62, "Reflections", 4);
  drawbars(svg, counts, x, y, 0, to);
  limitline(svg, x(criterion / 2), 14, height - 44, "c/2");
  limitline(svg, x(criterion), 14, height - 44, "c");
  bottomaxis(svg, x, height - 44, width < 450 ? "Error" : "Error: length of the deviations of h, k, l from whole numbers");
  figure.replaceChildren(svg);
  caption(figure, `Colours as in space: ${wordsofkinds(rows)}. c = ${criterion} limits each deviation, not their length.`);
}

export function countsof(rows) {
  const counts = { strict: 0, loose: 0, none: 0, other: 0 };
  for (const row of rows) counts[row.kind] += 1;
  return counts;
}

function wordsofkinds(rows) {
  const counts = countsof(rows);
  return kindsdrawn.filter((kind) => counts[kind]).map((kind) => `${counts[kind]} ${names[kind]}`).join(", ");
}

const indexnames = ["h", "k", "l"];

// Deviations of each index: a peak at 0, or further ones at halves and thirds.
export function deviationchart(rows, criterion) {
  const figure = document.getElementById("deviationchart");
  const [width, height] = [widthof(figure, 620), 280];
  const svg = drawing(width, height, "Histograms of the deviations of h, k and l from whole numbers, by kind");
  const bins = 25;
  const panels = indexnames.map((name, k) => ({ name, counts: counted(rows, (row) => row.off[k], -0.5, 0.5, bins) }));
  const y = linear(0, Math.max(1, ...panels.flatMap(({ counts }) => counts.map(total))), height - 44, 14);
  leftaxis(svg, y, 50, width - 62, "Reflections", 4);
  const step = (width - 50) / 3;
  panels.forEach(({ name, counts }, k) => {
    const left = 50 + k * step;
    const x = linear(-0.5, 0.5, left + 4, left + step - 12);
    drawbars(svg, counts, x, y, -0.5, 0.5);
    for (const limit of [-criterion, criterion]) limitline(svg, x(limit), 14, height - 44);
    bottomaxis(svg, x, height - 44, width < 450 ? name : `deviation of ${name}`, step > 150 ? 4 : 2);
  });
  figure.replaceChildren(svg);
  caption(figure, "Indices that gather at halves or thirds speak for a cell larger by that factor.");
}

const dots = { strict: 4, loose: 5.5, other: 5.5, none: 4 };

// One path for each kind: a line of no length with round ends is a dot.
function drawdots(svg, rows, x, y, k) {
  for (const kind of [...kindsdrawn].reverse()) {
    const d = rows.filter((row) => row.kind === kind)
      .map((row) => `M${x(row.length).toFixed(1)} ${y(row.off[k]).toFixed(1)}h0`).join("");
    if (d) svg.append(element("path", { d, stroke: `var(--${kind})`, "stroke-width": dots[kind], "stroke-linecap": "round" }));
  }
}

// The three panels side by side, or one below the other where there is no room.
export function lengthchart(rows, criterion) {
  const figure = document.getElementById("lengthchart");
  const width = widthof(figure, 1240);
  const across = width > 700 ? 3 : 1;
  const height = 280;
  const svg = drawing(width, (3 / across) * height, "Deviations of h, k and l from whole numbers against the length of the vector");
  const longest = rows.reduce((u, row) => Math.max(u, row.length), 1e-9);
  const step = (width - 56) / across;
  indexnames.forEach((name, k) => {
    const top = across === 3 ? 0 : k * height;
    const left = across === 3 ? 56 + k * step : 56;
    const y = linear(-0.5, 0.5, top + height - 44, top + 22);
    const x = linear(0, longest * 1.03, left, left + step - 24);
    if (k === 0 || across === 1) leftaxis(svg, y, 56, width - 80, "Deviation from whole");
    svg.append(element("rect", { x: left, width: step - 24, y: y(criterion), height: y(-criterion) - y(criterion),
                                 fill: "var(--band)" }));
    drawdots(svg, rows, x, y, k);
    svg.append(element("text", { x: left + 6, y: top + 16, "font-weight": 600 }, name));
    bottomaxis(svg, x, top + height - 44, "Length / Å⁻¹", 5);
  });
  figure.replaceChildren(svg);
  caption(figure, "The band is within c. Deviations that grow with length speak for a scale that is off (wavelength, "
    + "distance) or an inaccurate basis; those that do not, for noise.");
}
