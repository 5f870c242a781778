// The table of the solutions.
import { Table } from "./table.js";

const columnof = (head, title, value, digits) => ({
  head, title, value, text: (row) => (digits === undefined ? String(value(row)) : value(row).toFixed(digits)),
});

function columnsof(data) {
  const names = ["a", "b", "c", "α", "β", "γ"];
  const columns = [columnof("Nr", "as in the file", (row) => row.number)];
  names.forEach((name, i) =>
    columns.push(columnof(name, i < 3 ? "Å" : "degrees", (row) => row.cell[i], i < 3 ? 3 : 2)));
  columns.push(columnof("Volume", "Å³", (row) => row.volume, 2));
  const first = data.solutions[0];
  if (first.h !== undefined) {
    columns.push(columnof("h", "reflections whose indices are within c of whole numbers", (row) => row.h));
    columns.push(columnof("H", "reflections whose indices are within c/2 of whole numbers", (row) => row.H));
    columns.push(columnof("Quality", "1 if all reflections are within c/2", (row) => row.quality, 3));
  } else {
    columns.push(columnof("Indexed", "reflections within c", (row) => row.indexed));
    columns.push(columnof("Evidence", "beyond chance; the larger, the surer", (row) => row.evidence ?? 0, 1));
  }
  columns.push(columnof("Lattice", "Bravais lattice within an obliquity of 0.3 degrees", (row) => row.lattice.symbol));
  columns.push({ head: "Relation to the chosen", value: (row) => row.relation, class: "kind", text: (row) => row.relation });
  return columns;
}

export function solutionstable(data, choose) {
  return new Table(document.getElementById("solutionsbox"), {
    caption: `${data.solutions.length} solutions. The head of a column puts them in its order.`,
    name: "solution", columns: columnsof(data), rows: data.solutions, choose,
  });
}
