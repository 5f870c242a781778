// Tables whose rows can be chosen and put in order by any column.

export function make(name, attributes = {}, ...children) {
  const made = document.createElement(name);
  for (const [key, value] of Object.entries(attributes))
    if (value !== null) made.setAttribute(key, value);
  made.append(...children);
  return made;
}

// columns: { head, title, value(row): for the order, text(row), class, width }; the first one names the row.
// If all have a width (in em), a browser lays out long tables much faster.
// `choose(row)` makes the first cell of each a radio button, so that arrow keys go from row to row.
export class Table {
  constructor(box, { caption, columns, rows, name, choose }) {
    Object.assign(this, { columns, rows, name, choose });
    this.body = make("tbody");
    this.heads = columns.map((column, i) => this.headof(column, i));
    const head = make("thead", {}, make("tr", {}, ...this.heads));
    this.body.addEventListener("change", (event) => this.choose(event.target.closest("tr").row));
    this.body.addEventListener("click", (event) => this.clicked(event));
    this.lines = rows.map((row) => this.lineof(row));
    this.body.append(...this.lines);
    const widths = columns.every((column) => column.width)
      ? [make("colgroup", {}, ...columns.map((column) => make("col", { style: `width: ${column.width}em` })))] : [];
    box.replaceChildren(make("table", { class: widths.length ? "even" : null }, make("caption", {}, caption), ...widths, head, this.body));
  }

  headof(column, i) {
    const button = make("button", { type: "button", title: column.title ?? null }, column.head);
    button.addEventListener("click", () => this.sort(i));
    return make("th", { scope: "col", class: column.class ?? null, "aria-sort": i === 0 ? "ascending" : "none" }, button);
  }

  lineof(row) {
    const cells = this.columns.map((column, i) =>
      i === 0 ? this.firstcell(row, column) : make("td", { class: column.class ?? null }));
    const line = make("tr", {}, ...cells);
    line.row = row;
    this.fill(line);
    return line;
  }

  firstcell(row, column) {
    if (!this.choose) return make("th", { scope: "row" }, column.text(row));
    const radio = make("input", { type: "radio", name: this.name, value: String(row.number), autocomplete: "off",
                                  "aria-label": `${this.name} ${row.number}` });
    return make("th", { scope: "row" }, make("label", {}, radio, column.text(row)));
  }

  // The text of a cell that is there already is changed in place, which is quickest.
  fill(line) {
    for (let i = 1; i < this.columns.length; ++i) {
      const content = this.columns[i].text(line.row);
      const cell = line.cells[i];
      if (typeof content !== "string") {
        if (cell.textContent !== content.textContent) cell.replaceChildren(content);
      } else if (!cell.firstChild) cell.textContent = content;
      else if (cell.firstChild.data !== content) cell.firstChild.data = content;
    }
  }

  // Other rows of the same number: what the lines show changes, their order is kept if it may be.
  update(rows) {
    this.rows = rows;
    const bynumber = new Map(rows.map((row) => [row.number, row]));
    for (const line of this.lines) {
      line.row = bynumber.get(line.row.number);
      this.fill(line);
    }
    if (this.sorted > 0) this.order();
  }

  sort(i) {
    this.falling = this.sorted === i || (this.sorted === undefined && i === 0) ? !this.falling : false;
    this.sorted = i;
    this.heads.forEach((head, k) =>
      head.setAttribute("aria-sort", k !== i ? "none" : this.falling ? "descending" : "ascending"));
    this.order();
  }

  order() {
    const { value } = this.columns[this.sorted];
    const sign = this.falling ? -1 : 1;
    const compare = (u, v) => (u < v ? -1 : u > v ? 1 : 0);
    this.lines.sort((s, t) => sign * compare(value(s.row), value(t.row)) || s.row.number - t.row.number);
    this.body.append(...this.lines);
  }

  clicked(event) {
    const line = event.target.closest("tr");
    if (!this.choose || !line || event.target.closest("label")) return;
    line.querySelector("input").checked = true;
    this.choose(line.row);
  }

  // Shows a row as the chosen one; scrolls to it within its box if asked.
  mark(number, scroll = false) {
    if (this.marked) this.marked.classList.remove("chosen");
    this.marked = this.lines.find((line) => line.row.number === number);
    if (!this.marked) return;
    this.marked.classList.add("chosen");
    this.marked.querySelector("input").checked = true;
    if (!scroll) return;
    const box = this.body.closest(".scroll");
    const top = this.marked.offsetTop;
    if (top < box.scrollTop + 60 || top > box.scrollTop + box.clientHeight - 40)
      box.scrollTop = top - box.clientHeight / 2;
  }
}
