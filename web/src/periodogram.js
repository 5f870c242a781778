// The periodogram, with the volumes that were tested: the peaks taken from it.
import { bottomaxis, caption, drawing, element, leftaxis, linear, logarithmic, widthof } from "./svg.js";
import { Table } from "./table.js";

const height = 340;
const margin = { left: 70, right: 20, top: 30, bottom: 44 };

function volumescale([low, high], width) {
  const range = [margin.left, width - margin.right];
  return high > 8 * low ? logarithmic(low, high, ...range) : linear(low, high, ...range);
}

function curvepath(curve, x, y) {
  return curve.map(([volume, value], i) =>
    `${i ? "L" : "M"}${x(volume).toFixed(1)} ${y(value).toFixed(1)}`).join("");
}

export class Periodogram {
  constructor(data) {
    this.data = data;
    this.given = data.periodogram;
    this.figure = document.getElementById("periodogram");
    document.getElementById("periodogramnote").textContent = this.given?.note ?? data.noperiodogram;
    if (!this.given) {
      document.getElementById("volumesdetails").hidden = true;
      return;
    }
    this.draw();
    this.list();
  }

  draw() {
    const width = widthof(this.figure, 1240);
    const { curve, volumes, name } = this.given;
    const all = [...curve.map((one) => one[0]), ...volumes.map((one) => one[0])];
    const low = all.reduce((u, v) => Math.min(u, v));
    const high = all.reduce((u, v) => Math.max(u, v));
    this.x = volumescale(curve.length > 1 ? [low, high] : [low / 1.2, 1.2 * high], width);
    const title = `${name}: ${volumes.length} volumes were tested`;
    const svg = drawing(width, height, title);
    if (curve.length > 1) this.drawcurve(svg, curve, volumes);
    else this.drawvolumes(svg, volumes, () => margin.top + 100);
    bottomaxis(svg, this.x, height - margin.bottom, "Volume of the cell / Å³", width / 110);
    this.marks = element("g");
    svg.append(this.marks);
    this.figure.replaceChildren(svg);
    caption(this.figure, "Circles: the volumes that were tested. Triangle below: the chosen solution.");
  }

  drawcurve(svg, curve, volumes) {
    const values = curve.map((one) => one[1]).filter(Number.isFinite);
    const top = Math.max(0, values.reduce((u, v) => Math.max(u, v), -Infinity));
    const bottom = Math.min(0, values.reduce((u, v) => Math.min(u, v), Infinity));
    const y = linear(bottom, top > bottom ? top : bottom + 1, height - margin.bottom, margin.top);
    const [left, right] = this.x.range();
    leftaxis(svg, y, left, right - left, this.given.name);
    const path = curvepath(curve.filter((one) => Number.isFinite(one[1])), this.x, y);
    svg.append(element("path", { d: path, fill: "none", stroke: "var(--accent)", "stroke-width": 1.2,
                                 "stroke-linejoin": "round" }));
    this.drawvolumes(svg, volumes, (value) => y(value));
  }

  drawvolumes(svg, volumes, y) {
    const group = element("g", { fill: "none", stroke: "var(--axisa)", "stroke-width": 1.5 });
    volumes.forEach(([volume, value], i) => {
      const circle = element("circle", { cx: this.x(volume), cy: y(value), r: 4, "pointer-events": "all" });
      circle.append(element("title", {}, `${i + 1}: ${volume} Å³` + (value === null ? "" : `, ${value}`)));
      group.append(circle);
    });
    svg.append(group);
  }

  // Where the chosen solution stands.
  choose(solution) {
    this.solution = solution;
    if (!this.x) return;
    const x = this.x(solution.volume);
    const [low, high] = this.x.range();
    const y = height - margin.bottom;
    const inside = x >= low && x <= high;
    this.marks.replaceChildren(...(inside
      ? [element("path", { d: `M${x} ${y}l-6 11h12z`, fill: "var(--strict)" }),
         element("path", { d: `M${x} ${y}V${margin.top}`, stroke: "var(--strict)", "stroke-dasharray": "3 4" })]
      : []));
  }

  redraw() {
    if (!this.x) return;
    this.draw();
    this.choose(this.solution);
  }

  list() {
    const digits = (value) => (value === null ? "" : String(value));
    new Table(document.getElementById("volumesbox"), {
      caption: "In the order in which they stand in the log: by fragments, the highest first. "
        + "They are tested from the smallest on.",
      name: "volume",
      columns: [
        { head: "No", value: (row) => row.number, text: (row) => String(row.number) },
        { head: "Volume / Å³", value: (row) => row.volume, text: (row) => row.volume.toFixed(3) },
        { head: this.given.name, value: (row) => row.value, text: (row) => digits(row.value) },
        { head: "Solutions within 5 %", value: (row) => row.near.length, text: (row) => row.near.join(" ") },
      ],
      rows: this.given.volumes.map(([volume, value], i) => ({
        number: i + 1, volume, value,
        near: this.data.solutions.filter((one) => Math.abs(one.volume - volume) < 0.05 * volume)
          .map((one) => one.number),
      })),
    });
  }
}
