// Drawings in SVG: elements, axes, and scales by d3.
import { scaleLinear, scaleLog } from "d3-scale";

const space = "http://www.w3.org/2000/svg";

export function element(name, attributes = {}, ...children) {
  const made = document.createElementNS(space, name);
  for (const [key, value] of Object.entries(attributes)) made.setAttribute(key, value);
  made.append(...children);
  return made;
}

// The width that a figure has for its drawing, within limits. It is asked for once: an answer between
// changes of the page makes the browser lay it out at each.
const widths = new Map();

export function widthof(figure, most) {
  if (!widths.has(figure)) widths.set(figure, figure.clientWidth || most);
  return Math.round(Math.max(280, Math.min(most, widths.get(figure))));
}

export const forgetwidths = () => widths.clear();

// A drawing with a title for those who do not see it.
export function drawing(width, height, title) {
  return element("svg", { viewBox: `0 0 ${width} ${height}`, width, height, role: "img", "aria-label": title });
}

export function linear(from, to, low, high) {
  return scaleLinear([from, to], [low, high]);
}

export function logarithmic(from, to, low, high) {
  return scaleLog([from, to], [low, high]);
}

// A number as the tables have it: an ordinary minus, no sign between thousands.
const plain = (text) => text.replace("−", "-").replaceAll(",", "");

export function bottomaxis(svg, scale, y, label, count = 6) {
  const [low, high] = scale.range();
  svg.append(element("path", { class: "axisline", d: `M${low} ${y}H${high}` }));
  const write = scale.tickFormat(count);
  for (const tick of scale.ticks(count)) {
    const x = scale(tick);
    svg.append(element("path", { class: "tick", d: `M${x} ${y}v5` }));
    const text = plain(write(tick));
    if (text) svg.append(element("text", { x, y: y + 18, "text-anchor": "middle" }, text));
  }
  svg.append(element("text", { x: (low + high) / 2, y: y + 34, "text-anchor": "middle" }, label));
}

export function leftaxis(svg, scale, x, width, label, count = 5) {
  const write = scale.tickFormat(count);
  for (const tick of scale.ticks(count)) {
    const y = scale(tick);
    svg.append(element("path", { class: "grid", d: `M${x} ${y}h${width}` }));
    svg.append(element("text", { x: x - 6, y: y + 4, "text-anchor": "end" }, plain(write(tick))));
  }
  const [low, high] = scale.range();
  const middle = (low + high) / 2;
  svg.append(element("text", { x: 12, y: middle, "text-anchor": "middle", transform: `rotate(-90 12 ${middle})` }, label));
}

export function caption(figure, text) {
  const words = document.createElement("figcaption");
  words.textContent = text;
  figure.append(words);
}
