// The table of the reflections under the chosen solution.
import { Table, make } from "./table.js";
import { names } from "./charts.js";

export const signs = { strict: "●", loose: "◆", none: "▲", other: "■" };

const letters = { strict: "H", loose: "h", none: "", other: "" };

function columnsof(data) {
  const number = (head, title, value, digits, width = 6) =>
    ({ head, title, value, width, text: (row) => value(row).toFixed(digits) });
  const columns = [{ head: "Nr", title: "in the input", width: 5, value: (row) => row.number, text: (row) => String(row.number) }];
  ["x", "y", "z"].forEach((name, i) => columns.push(number(name, "1/Å", (row) => row.vector[i], 5)));
  columns.push(number("d", "Å: inverse of the length", (row) => 1 / row.length, 4));
  ["h", "k", "l"].forEach((name, i) => columns.push({
    head: name, title: "if indexed", width: 4, value: (row) => (row.kind in letters && letters[row.kind] ? row.whole[i] : Infinity),
    text: (row) => (letters[row.kind] ? String(row.whole[i]) : ""),
  }));
  ["h", "k", "l"].forEach((name, i) =>
    columns.push(number(`real ${name}`, "as computed from basis and vector", (row) => row.real[i], 3)));
  columns.push(number("Error", "length of the deviations", (row) => row.error, 3));
  if (data.genuine)
    columns.push({ head: "Genuine", width: 6, title: "how sure it is no chance", value: (row) => data.genuine[row.number - 1] ?? -1,
                   text: (row) => data.genuine[row.number - 1]?.toFixed(3) ?? "" });
  columns.push({ head: "Kind", width: 19, value: (row) => Object.keys(names).indexOf(row.kind), class: "kind", text: kindcell });
  return columns;
}

function kindcell(row) {
  return make("span", {}, make("span", { class: `mark ${row.kind}`, "aria-hidden": "true" }, signs[row.kind]),
                    ` ${names[row.kind]}`);
}

export function reflectionstable(data, rows, choose) {
  return new Table(document.getElementById("reflectionsbox"), {
    caption: `${rows.length} reflections. The head of a column puts them in its order; a chosen one is marked in space.`,
    name: "reflection", columns: columnsof(data), rows, choose,
  });
}
