"use strict";
// Charts as inline SVG, drawn anew when their width changes so that text keeps its size.

const COLOURS = ["#2f7ed8", "#e0672c", "#2aa36b", "#b455c4", "#c9a227", "#d6456b", "#3aa6b9", "#8a6d4b"];
const colourOf = index => index < COLOURS.length ? COLOURS[index] : `hsl(${(index * 137.5) % 360} 60% 52%)`;

function svg(name, attributes = {}, ...children) {
  const element = document.createElementNS("http://www.w3.org/2000/svg", name);
  for (const [key, value] of Object.entries(attributes)) element.setAttribute(key, value);
  element.append(...children);
  return element;
}

function html(name, attributes = {}, ...children) {
  const element = document.createElement(name);
  for (const [key, value] of Object.entries(attributes)) element.setAttribute(key, value);
  element.append(...children);
  return element;
}

const isNumber = value => typeof value === "number";
const px = value => isNumber(value) ? value.toFixed(value < 10 ? 2 : 1) : "–";
// Two decimals near none and all, where they matter.
const percent = value => isNumber(value) ? `${(100 * value).toFixed(value === 0 || value === 1 ? 0 : value < 0.1 || value > 0.9 ? 2 : 1)} %` : "–";

// Round values that divide 0 ... most, or from ... to.
function ticks(from, to, wanted) {
  const rough = Math.max(to - from, 1e-9) / Math.max(wanted, 1);
  const unit = 10 ** Math.floor(Math.log10(rough));
  const step = [1, 2, 5, 10].map(factor => factor * unit).find(candidate => candidate >= rough);
  const values = [];
  for (let k = Math.ceil(from / step - 1e-9); k * step <= to + step * 1e-9; ++k) values.push(+(k * step).toPrecision(6));
  return values;
}

// A box that draws itself into the width that it has.
function chart(label, draw) {
  const box = html("div", {class: "chart"});
  let width = 0;
  const redraw = () => {
    const old = box.querySelector("svg");
    const drawing = draw(Math.max(width, 200));
    drawing.setAttribute("role", drawing.querySelector("[tabindex]") ? "group" : "img");
    drawing.setAttribute("aria-label", label);
    if (old) old.replaceWith(drawing); else box.prepend(drawing);
  };
  new ResizeObserver(entries => {
    const now = Math.floor(entries[0].contentRect.width);
    if (now === width || now === 0) return;
    width = now;
    redraw();
  }).observe(box);
  box.redraw = () => { if (width > 0) redraw(); };
  return box;
}

// The lines between numbers; a gap where there is none.
function pathOf(xs, ys, x, y) {
  let path = "";
  let open = false;
  ys.forEach((value, k) => {
    if (isNumber(value)) path += `${open ? "L" : "M"}${x(xs[k]).toFixed(1)} ${y(value).toFixed(1)}`;
    // A number between two gaps is a dot.
    if (isNumber(value) && !open && !isNumber(ys[k + 1])) path += "h.01";
    open = isNumber(value);
  });
  return path;
}

const MARGIN = {left: 40, right: 12, top: 26, bottom: 34};

// An empty plot with axes. `options`: x and y as [from, to], names, height.
function plot(width, {x: [x0, x1], y: [y0, y1], xName, yName, height = 220}) {
  const w = width - MARGIN.left - MARGIN.right;
  const h = height - MARGIN.top - MARGIN.bottom;
  const x = value => MARGIN.left + (x1 > x0 ? (value - x0) / (x1 - x0) : 0.5) * w;
  const y = value => MARGIN.top + h - (Math.min(value, y1) - y0) / (y1 - y0) * h;
  const drawing = svg("svg", {viewBox: `0 0 ${width} ${height}`, height});
  for (const tick of ticks(y0, y1, 4)) {
    drawing.append(svg("line", {class: "grid", x1: x(x0), x2: MARGIN.left + w, y1: y(tick), y2: y(tick)}),
      svg("text", {x: MARGIN.left - 8, y: y(tick) + 4, "text-anchor": "end"}, `${tick}`));
  }
  for (const tick of ticks(x0, x1, Math.max(2, width / 110))) {
    drawing.append(svg("line", {class: "axis", x1: x(tick), x2: x(tick), y1: MARGIN.top + h, y2: MARGIN.top + h + 4}),
      svg("text", {x: x(tick), y: MARGIN.top + h + 17, "text-anchor": "middle"}, `${tick}`));
  }
  drawing.append(svg("line", {class: "axis", x1: MARGIN.left, x2: MARGIN.left + w, y1: MARGIN.top + h, y2: MARGIN.top + h}),
    svg("text", {x: MARGIN.left + w, y: height - 2, "text-anchor": "end"}, xName),
    svg("text", {x: 0, y: 12}, yName));
  return {drawing, x, y, left: MARGIN.left, right: MARGIN.left + w, top: MARGIN.top, bottom: MARGIN.top + h};
}

// Shows what `read` says of the nearest x value while the pointer is over a plot.
function readOut(box, {drawing, x, left, right, top, bottom}, xs, read) {
  const cursor = svg("line", {class: "cursor", y1: top, y2: bottom, visibility: "hidden"});
  const area = svg("rect", {x: left, y: top, width: right - left, height: bottom - top, fill: "transparent"});
  let tip = box.querySelector(".tip");
  if (!tip) { tip = html("div", {class: "tip", hidden: ""}); box.append(tip); }
  area.addEventListener("pointermove", event => {
    const at = event.clientX - drawing.getBoundingClientRect().left;
    let nearest = 0;
    xs.forEach((value, k) => { if (Math.abs(x(value) - at) < Math.abs(x(xs[nearest]) - at)) nearest = k; });
    const place = x(xs[nearest]);
    cursor.setAttribute("x1", place);
    cursor.setAttribute("x2", place);
    cursor.setAttribute("visibility", "visible");
    tip.textContent = read(nearest);
    tip.hidden = false;
    const room = right + MARGIN.right - tip.offsetWidth;
    tip.style.left = `${Math.max(0, Math.min(place + 10, room))}px`;
    tip.style.top = `${top + 4}px`;
  });
  area.addEventListener("pointerleave", () => { tip.hidden = true; cursor.setAttribute("visibility", "hidden"); });
  drawing.append(cursor, area);
}

function legend(entries) {
  return html("div", {class: "legend"}, ...entries.map(([colour, name]) => {
    const key = html("i");
    key.style.background = colour;
    return html("span", {}, key, name);
  }));
}
