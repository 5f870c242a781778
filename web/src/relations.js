// Which solutions are super- and sublattices of which: data.relations has [k, l, index] where the cell
// of solution k is `index` times as large as that of l and its lattice a part of l's; 1: the same.
import { drawing, element, widthof } from "./svg.js";
import { make } from "./table.js";
import { transformation } from "./crystal.js";

// For every solution its relation to solution `number`: { how, index }.
export function relationsto(data, number) {
  const found = new Map([[number, { how: "chosen", index: 1 }]]);
  for (const [k, l, index] of data.relations) {
    if (k === number) found.set(l, { how: index === 1 ? "same" : "sub", index });
    if (l === number) found.set(k, { how: index === 1 ? "same" : "super", index });
  }
  return found;
}

export function wordsof(relation) {
  if (!relation) return "none";
  if (relation.how === "chosen") return "chosen";
  if (relation.how === "same") return "same lattice";
  return relation.how === "super" ? `${relation.index} times the cell` : `1/${relation.index} of the cell`;
}

// Solutions of one lattice as one node, with the solution that stands first for it.
function nodesof(data, found, number) {
  const same = new Map();
  for (const [k, l, index] of data.relations)
    if (index === 1) for (const [u, v] of [[k, l], [l, k]]) same.set(u, [...(same.get(u) ?? []), v]);
  const nodes = [];
  const taken = new Set();
  for (const one of [number, ...[...found.keys()].sort((u, v) => u - v)]) {
    if (taken.has(one)) continue;
    const members = [one, ...(same.get(one) ?? [])].filter((x) => found.has(x) && !taken.has(x));
    members.forEach((x) => taken.add(x));
    nodes.push({ number: one, members: members.sort((u, v) => u - v), ...found.get(one),
                 solution: data.solutions.find((x) => x.number === one) });
  }
  return nodes;
}

// Pairs with nothing between them.
function edgesof(data, nodes) {
  const numbers = new Set(nodes.map((one) => one.number));
  const direct = data.relations.filter(([k, l, index]) => index > 1 && numbers.has(k) && numbers.has(l));
  const below = new Map();
  for (const [k, l] of direct) below.set(k, (below.get(k) ?? new Set()).add(l));
  return direct.filter(([k, l]) => ![...below.get(k)].some((m) => m !== l && below.get(m)?.has(l)));
}

const box = { width: 92, height: 38, gapx: 14, gapy: 34 };

// Rows of nodes of one relative volume, the largest cells on top; long ones are broken.
function placed(nodes, room) {
  const perline = Math.max(2, Math.floor((room - box.gapx) / (box.width + box.gapx)));
  const level = (one) => (one.how === "super" ? one.index : 1 / one.index);
  const rows = [];
  for (const value of [...new Set(nodes.map(level))].sort((u, v) => v - u)) {
    const row = nodes.filter((one) => level(one) === value);
    for (let i = 0; i < row.length; i += perline) rows.push(row.slice(i, i + perline));
  }
  const width = Math.max(...rows.map((row) => row.length)) * (box.width + box.gapx) + box.gapx;
  rows.forEach((row, j) => row.forEach((one, i) => {
    one.x = width / 2 + (i - (row.length - 1) / 2) * (box.width + box.gapx);
    one.y = 8 + box.height / 2 + j * (box.height + box.gapy);
  }));
  return { width, height: 16 + rows.length * (box.height + box.gapy) - box.gapy };
}

function drawnode(one, choose) {
  const group = element("g", { class: one.how === "chosen" ? "node chosen" : "node", role: "button", tabindex: 0,
                               "aria-label": `Solution ${one.members.join(", ")}: ${wordsof(one)}` });
  group.append(
    element("rect", { x: one.x - box.width / 2, y: one.y - box.height / 2, width: box.width, height: box.height, rx: 5 }),
    element("text", { x: one.x, y: one.y - 3, "text-anchor": "middle", "font-weight": 600 }, titleof(one)),
    element("text", { x: one.x, y: one.y + 12, "text-anchor": "middle" }, `${one.solution.volume.toFixed(1)} Å³`));
  const act = () => choose(one.number);
  group.addEventListener("click", act);
  group.addEventListener("keydown", (event) => {
    if (event.key !== "Enter" && event.key !== " ") return;
    event.preventDefault();
    act();
  });
  return group;
}

const titleof = (one) =>
  one.members.length < 4 ? `nr ${one.members.join(", ")}` : `nr ${one.members[0]} and ${one.members.length - 1} more`;

function drawedge(svg, large, small, index) {
  const [y1, y2] = [large.y + box.height / 2, small.y - box.height / 2];
  svg.append(element("path", { class: "edge", d: `M${large.x} ${y1}L${small.x} ${y2}` }));
  const at = { x: large.x + (small.x - large.x) * 0.35, y: y1 + (y2 - y1) * 0.35 + 4 };
  svg.append(element("text", { ...at, "text-anchor": "middle", stroke: "var(--paper)", "stroke-width": 4,
                               "paint-order": "stroke" }, String(index)));
}

function matrixwords(data, large, small) {
  const basisof = (number) => data.solutions.find((one) => one.number === number).basis;
  const T = transformation(basisof(large), basisof(small));
  return `a, b, c of ${large} = T times those of ${small}, T = ${T.map((row) => row.join(" ")).join(" / ")}`;
}

export class Relations {
  constructor(data, choose) {
    Object.assign(this, { data, choosenumber: choose });
    this.figure = document.getElementById("relations");
    this.list = document.getElementById("relationslist");
  }

  redraw() {
    this.choose(...this.last);
  }

  choose(number, found) {
    this.last = [number, found];
    const nodes = nodesof(this.data, found, number);
    const alone = nodes.length === 1;
    document.getElementById("relationsnote").textContent = alone
      ? `No other solution is a super- or sublattice of solution ${number}.`
      : "Larger cells stand above smaller ones; a number at a line tells how many times. "
        + "Whatever a cell indexes, its multiples above it index as well.";
    document.getElementById("relationsdetails").hidden = found.size === 1;
    const size = placed(nodes, widthof(this.figure, 1240));
    const svg = drawing(size.width, size.height, "");
    svg.setAttribute("role", "group");
    svg.setAttribute("aria-label", "Lattices related to the chosen one; each is a button that chooses it");
    const bynumber = new Map(nodes.map((one) => [one.number, one]));
    for (const [k, l, index] of edgesof(this.data, nodes)) drawedge(svg, bynumber.get(k), bynumber.get(l), index);
    const held = this.figure.contains(document.activeElement);
    svg.append(...nodes.map((one) => drawnode(one, this.choosenumber)));
    this.figure.replaceChildren(svg);
    if (held) this.figure.querySelector(".chosen").focus();
    this.tell(number, found);
  }

  tell(number, found) {
    this.list.replaceChildren(...[...found].filter(([one]) => one !== number).sort(([u], [v]) => u - v)
      .map(([one, relation]) => {
        const [large, small] = relation.how === "super" ? [one, number] : [number, one];
        return make("li", {}, `Solution ${one}: ${wordsof(relation)}; ${matrixwords(this.data, large, small)}.`);
      }));
  }
}
