// The page of a crystal: reads the data that stand in it, and keeps what is chosen.
import { cellwords, indexed, withother } from "./crystal.js";
import { deviationchart, errorchart, countsof, lengthchart, names } from "./charts.js";
import { Periodogram } from "./periodogram.js";
import { Relations, relationsto, wordsof } from "./relations.js";
import { reflectionstable, signs } from "./reflections.js";
import { solutionstable } from "./solutions.js";
import { Space } from "./space.js";
import { forgetwidths } from "./svg.js";
import { make } from "./table.js";

const data = JSON.parse(document.getElementById("data").textContent);
const at = (id) => document.getElementById(id);
const chosen = { solution: null, other: null, reflection: null, rows: [] };

function numbered(number) {
  return data.solutions.find((one) => one.number === number);
}

function summaryof(solution, rows) {
  const counts = countsof(rows);
  const fits = `${counts.strict + counts.loose} of ${rows.length} reflections indexed, ${counts.strict} of them within c/2`;
  return `Solution ${solution.number}: ${cellwords(solution.cell)}, ${solution.volume.toFixed(2)} Å³; ${fits}.`;
}

function latticewords({ symbol, cell, obliquity }) {
  if (symbol === "aP") return "Its metric has no symmetry.";
  return `By its metric the lattice may be ${symbol}: ${cellwords(cell)} (obliquity ${obliquity.toFixed(2)}°).`;
}

function choosesolution(number) {
  const solution = numbered(number);
  chosen.solution = solution;
  const found = relationsto(data, number);
  for (const one of data.solutions) one.relation = wordsof(found.get(one.number));
  table.update(data.solutions);
  table.mark(number);
  relations.choose(number, found);
  periodogram?.choose(solution);
  history.replaceState(null, "", `#solution=${number}`);
  refresh();
}

function refresh() {
  const others = chosen.other ? indexed(data, chosen.other) : null;
  const rows = withother(indexed(data, chosen.solution), others);
  if (!others && data.lattices && chosen.solution === data.solutions[0])
    rows.forEach((row, i) => { if (row.kind === "none" && data.lattices[i] > 1) row.kind = "other"; });
  at("summary").textContent = summaryof(chosen.solution, rows);
  at("lattice").textContent = latticewords(chosen.solution.lattice);
  at("reflectionsnote").textContent = `Indices of solution ${chosen.solution.number}, at full precision.`;
  chosen.rows = rows;
  drawcharts();
  space.show(chosen.solution, rows);
  if (!reflections) reflections = reflectionstable(data, rows, (row) => choosereflection(row.number, false));
  else reflections.update(rows);
  tellkinds(rows);
  if (chosen.reflection) choosereflection(chosen.reflection, false);
}

function drawcharts() {
  errorchart(chosen.rows, data.criterion);
  deviationchart(chosen.rows, data.criterion);
  lengthchart(chosen.rows, data.criterion);
}

// Drawings take the width that there is.
function followwidth() {
  let width = at("main").clientWidth;
  new ResizeObserver(() => {
    if (at("main").clientWidth === width) return;
    width = at("main").clientWidth;
    forgetwidths();
    drawcharts();
    relations.redraw();
    periodogram.redraw();
  }).observe(at("main"));
}

function choosereflection(number, scroll = true) {
  chosen.reflection = number;
  reflections.mark(number, scroll);
  at("spoken").textContent = space.choose(number);
}

function tellkinds(rows) {
  const counts = countsof(rows);
  for (const kind of Object.keys(names)) {
    const label = at(`kind-${kind}`);
    label.querySelector(".count").textContent = String(counts[kind]);
    label.hidden = kind === "other" && !counts.other && !chosen.other;
  }
}

function makekinds() {
  for (const kind of Object.keys(names)) {
    const box = make("input", { type: "checkbox", checked: "", autocomplete: "off" });
    box.addEventListener("change", () => space.showkind(kind, box.checked));
    at("kinds").append(make("label", { id: `kind-${kind}` }, box, " ",
      make("span", { class: kind, "aria-hidden": "true" }, signs[kind]), ` ${names[kind]}: `, make("span", { class: "count" })));
  }
  const lattice = make("input", { type: "checkbox", checked: "", autocomplete: "off" });
  lattice.addEventListener("change", () => space.showlattice(lattice.checked));
  at("kinds").append(make("label", { id: "kind-lattice" }, lattice, " lattice"));
}

function makeothers() {
  for (const one of data.solutions)
    at("compare").append(make("option", { value: one.number }, `nr ${one.number}, ${one.volume.toFixed(2)} Å³`));
  at("compare").addEventListener("change", () => {
    chosen.other = numbered(Number(at("compare").value)) ?? null;
    refresh();
  });
  at("spotsize").addEventListener("input", () => space.resize(Number(at("spotsize").value)));
}

function telltherun() {
  document.title = `${data.input}: Torvik`;
  at("title").textContent = data.input;
  if (data.verdict) {
    at("verdict").hidden = false;
    at("verdict").textContent = `Verdict: ${data.verdict}. ${data.reason ?? ""}`.trim();
  }
  at("solutionsnote").textContent = `From ${data.source}. c = ${data.criterion} is the largest deviation of an index from a `
    + "whole number; h counts the reflections within c, H those within c/2.";
  for (const [name, value] of data.parameters) at("parameters").append(make("dt", {}, name), make("dd", {}, value));
  at("made").textContent = `${data.program}, ${data.date}. Made by torvik-tools ${data.tools}. Three dimensions by three.js, scales by d3.`;
}

function nothing() {
  at("summary").textContent = "There are no solutions.";
  for (const id of ["solutions", "space", "errors", "reflections"]) at(id).hidden = true;
  if (data.periodogram || data.noperiodogram) new Periodogram(data);
}

let table, relations, periodogram, space, reflections;
telltherun();
if (!data.solutions.length) nothing();
else {
  makekinds();
  makeothers();
  space = new Space(choosereflection);
  periodogram = new Periodogram(data);
  relations = new Relations(data, choosesolution);
  for (const one of data.solutions) one.relation = "";
  table = solutionstable(data, (row) => choosesolution(row.number));
  const asked = /solution=(\d+)/.exec(location.hash);
  choosesolution(numbered(Number(asked?.[1]))?.number ?? data.solutions[0].number);
  followwidth();
}
