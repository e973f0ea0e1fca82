"use strict";

const data = JSON.parse(document.getElementById("data").textContent);
const {timeline, groups, points, worst, paths} = data;
const judged = groups.length > 0;
const everything = groups[0];
const trust = judged ? everything.confidence : null;
const frames = timeline.steps.map(([first, last]) => (first + last) / 2);
const chosen = new Set();  // points that the curves show by themselves
const redrawn = [];        // charts that show them

const report = document.getElementById("report");
const plural = (count, what) => `${count} ${what}${count === 1 ? "" : "s"}`;
const stepName = k => timeline.steps[k][0] === timeline.steps[k][1] ? `frame ${timeline.steps[k][0]}` : `frames ${timeline.steps[k].join("–")}`;
const distance = value => value === "inf" ? "∞" : px(value);

function card(title, about, wide, ...content) {
  const section = html("section", {class: wide ? "card wide" : "card"}, html("h2", {}, title));
  if (about) section.append(html("p", {}, about));
  section.append(...content);
  report.append(section);
}

function toggle(point) {
  if (!chosen.delete(point)) chosen.add(point);
  // Rows stay the same elements: the keyboard's focus stays where it is.
  document.querySelectorAll(".row").forEach((row, p) => row.setAttribute("aria-pressed", chosen.has(p)));
  redrawn.forEach(box => box.redraw());
}

// The mean of all points, the range they lie in, and the chosen ones.
function curveOverTime(label, curve, {bound, edge, name, show, height}) {
  const box = chart(label, width => {
    const most = Math.max(...curve.most.filter(isNumber), 1e-3);
    const at = plot(width, {x: [frames[0], frames[frames.length - 1]], y: [0, bound || most], xName: "frame", yName: name, height});
    at.drawing.append(
      svg("path", {d: pathOf(frames, curve[edge], at.x, at.y), fill: "none", stroke: "var(--quiet)", "stroke-opacity": 0.45}),
      svg("path", {d: pathOf(frames, curve.mean, at.x, at.y), fill: "none", stroke: "var(--accent)", "stroke-width": 2}));
    for (const point of chosen) {
      at.drawing.append(svg("path", {d: pathOf(frames, curve.points[point], at.x, at.y), fill: "none", stroke: colourOf(point), "stroke-width": 1.5}));
    }
    readOut(box, at, frames, k => [stepName(k), `mean ${show(curve.mean[k])}`, `${edge === "most" ? "worst" : "least"} ${show(curve[edge][k])}`,
      ...[...chosen].map(point => `${points[point]} ${show(curve.points[point][k])}`)].join("\n"));
    return at.drawing;
  });
  redrawn.push(box);
  return box;
}

function statusOverTime() {
  const box = chart("Share of positions that are occluded or lost, over time", width => {
    const at = plot(width, {x: [frames[0], frames[frames.length - 1]], y: [0, 1], xName: "frame", yName: "share", height: 130});
    const bar = Math.max(1, (at.right - at.left) / frames.length);
    frames.forEach((frame, k) => {
      const lost = timeline.lost[k], occluded = timeline.occluded[k];
      for (const [from, share, colour] of [[0, lost, "var(--bad)"], [lost, occluded, "var(--warn)"]]) {
        if (!share) continue;
        at.drawing.append(svg("rect", {x: at.x(frame) - bar / 2, width: bar, y: at.y(from + share), height: at.y(from) - at.y(from + share), fill: colour}));
      }
    });
    readOut(box, at, frames, k => `${stepName(k)}\noccluded ${percent(timeline.occluded[k])}\nlost ${percent(timeline.lost[k])}`);
    return at.drawing;
  });
  return box;
}

// A row a point, a cell a stretch of time. `colour` is of a value, null where there is none.
function heatMap(label, curve, colour, show) {
  return chart(label, width => {
    const rowHeight = 18, names = Math.min(150, width * 0.28);
    const cells = Math.min(frames.length, Math.floor((width - names - 8) / 3));
    const cell = (width - names - 8) / cells;
    const drawing = svg("svg", {viewBox: `0 0 ${width} ${points.length * rowHeight}`, height: points.length * rowHeight});
    points.forEach((point, p) => {
      const row = svg("g", {class: "row", role: "button", tabindex: 0, "aria-label": point, "aria-pressed": chosen.has(p), transform: `translate(0 ${p * rowHeight})`});
      row.append(svg("rect", {width, height: rowHeight, fill: "transparent"}));
      const text = svg("text", {class: "label", x: names - 8, y: 13, "text-anchor": "end"});
      text.textContent = point.length * 7 > names - 8 ? point.slice(0, Math.floor((names - 8) / 7) - 1) + "…" : point;
      row.append(text, svg("title", {}, point));
      for (let c = 0; c < cells; ++c) {
        const values = curve.points[p].slice(Math.floor(c * frames.length / cells), Math.floor((c + 1) * frames.length / cells)).filter(isNumber);
        if (values.length === 0) continue;
        const mean = values.reduce((sum, value) => sum + value, 0) / values.length;
        row.append(svg("rect", {x: names + c * cell, width: cell + 0.3, y: 1, height: rowHeight - 2, fill: colour(mean)}));
      }
      row.addEventListener("click", () => toggle(p));
      row.addEventListener("keydown", event => { if (event.key === "Enter" || event.key === " ") { event.preventDefault(); toggle(p); } });
      drawing.append(row);
    });
    return drawing;
  });
}

// From blue, as it should be, to red; told apart without seeing green, too.
const SCALE = [[59, 111, 182], [143, 184, 222], [241, 233, 176], [242, 158, 76], [194, 47, 58]];
function scale(share) {
  const place = Math.min(Math.max(share, 0), 1) * (SCALE.length - 1);
  const below = Math.min(Math.floor(place), SCALE.length - 2);
  return `rgb(${SCALE[below].map((from, c) => Math.round(from + (place - below) * (SCALE[below + 1][c] - from))).join(" ")})`;
}

function keyFigures() {
  const {counts} = data;
  const all = counts.tracked + counts.occluded + counts.lost;
  const figures = judged ? [
    [`${distance(everything.all.mean)} px`, "mean error"],
    [`${distance(everything.all.p95)} px`, "95 % are within"],
    [percent(everything.all.lost), `farther off than ${data.lost_above} px`]] : [];
  figures.push([percent(counts.tracked / all), "tracked"], [percent(counts.occluded / all), "occluded"], [percent(counts.lost / all), "lost"]);
  if (trust && isNumber(trust.roc_area)) figures.push([trust.roc_area.toFixed(3), "ROC area of confidence"]);
  report.append(html("section", {class: "card wide figures"}, ...figures.map(([value, name]) =>
    html("div", {class: "figure"}, html("b", {}, value), html("span", {}, name)))));
}

function overTime() {
  const content = [];
  if (timeline.error) {
    content.push(curveOverTime("Error over time", timeline.error, {edge: "most", name: "error, px", show: value => `${px(value)} px`}));
  }
  if (timeline.confidence) {
    content.push(curveOverTime("Confidence over time", timeline.confidence, {edge: "least", bound: 1, name: "confidence", show: value => isNumber(value) ? value.toFixed(2) : "–", height: 170}));
  }
  content.push(statusOverTime(),
    curveOverTime("Motion over time", timeline.motion, {edge: "most", name: "motion, px a frame", show: value => `${px(value)} px`, height: 170}),
    legend([["var(--accent)", "mean of all points"], ["var(--quiet)", "worst point (least confidence, most motion)"],
            ["var(--warn)", "occluded"], ["var(--bad)", "lost"]]));
  card("Over time", "Choose points in the map below to see their curves here.", true, ...content);
}

function perPointOverTime() {
  if (timeline.error) {
    card("Error of each point over time", `From none (blue) to ${data.lost_above} px and more (red).`, true,
      heatMap("Error of each point over time", timeline.error, value => scale(value / (data.lost_above || 1)), px));
  } else if (timeline.confidence) {
    card("Confidence of each point over time", "From sure (blue) to not at all (red).", true,
      heatMap("Confidence of each point over time", timeline.confidence, value => scale(1 - value), px));
  } else {
    card("Motion of each point over time", "From none (blue) to the most (red).", true,
      heatMap("Motion of each point over time", timeline.motion, value => scale(value / Math.max(...timeline.motion.most.filter(isNumber), 1e-3)), px));
  }
}

function cumulative() {
  const box = chart("Cumulative error", width => {
    const curve = everything.curve;
    const at = plot(width, {x: [0, curve[curve.length - 1][0] || 1], y: [0, 1], xName: "error, px", yName: "share of positions"});
    groups.forEach((group, g) => at.drawing.append(svg("path", {
      d: pathOf(group.curve.map(([x]) => x), group.curve.map(([, y]) => y), at.x, at.y), fill: "none", stroke: colourOf(g), "stroke-width": 2})));
    readOut(box, at, curve.map(([x]) => x), k => [`within ${px(curve[k][0])} px`, ...groups.map(group => `${group.name} ${percent(group.curve[k][1])}`)].join("\n"));
    return at.drawing;
  });
  card("Cumulative error", `The share of positions that are no farther off. Area: that under the curve up to ${data.lost_above} px, 1 at best.`, false,
    box, legend(groups.map((group, g) => [colourOf(g), `${group.name}: area ${isNumber(group.area) ? group.area.toFixed(3) : "–"}`])));
}

function reliability() {
  if (!trust) return;
  const bins = trust.reliability.filter(bin => bin.count > 0);
  const most = Math.max(...bins.map(bin => bin.count));
  const box = chart("Confidence against what came of it", width => {
    const at = plot(width, {x: [0, 1], y: [0, 1], xName: "confidence", yName: "share within 5 % of the shape's size"});
    at.drawing.append(svg("line", {class: "grid", x1: at.x(0), y1: at.y(0), x2: at.x(1), y2: at.y(1)}));
    for (const bin of bins) {
      at.drawing.append(svg("circle", {cx: at.x(bin.confidence), cy: at.y(bin.close), r: 3 + 7 * Math.sqrt(bin.count / most), fill: "var(--accent)", "fill-opacity": 0.75},
        svg("title", {}, `confidence ${bin.confidence.toFixed(2)}: ${percent(bin.close)} of ${bin.count}`)));
    }
    return at.drawing;
  });
  const marked = [["hidden or lost", trust.hidden_or_lost, trust.marked], ["good", trust.good, trust.marked_falsely]];
  card("Can confidence be believed?", "On the line, it means what it says. Larger dots stand for more positions.", false, box,
    table(["positions", "count", "marked as occluded or lost"], marked.map(([name, count, share]) => [name, count, percent(share)])));
}

function table(head, rows) {
  return html("div", {class: "scroll"}, html("table", {},
    html("thead", {}, html("tr", {}, ...head.map(name => html("th", {scope: "col"}, name)))),
    html("tbody", {}, ...rows.map(row => html("tr", {}, ...row.map(value => html("td", {}, `${value}`)))))));
}

const SUMMARY = ["count", "mean", "median", "90 %", "95 %", "99 %", "worst", `> ${data.lost_above} px`];
const summaryCells = errors => [errors.count, ...["mean", "median", "p90", "p95", "p99", "worst"].map(key => distance(errors[key])), percent(errors.lost)];

function percentiles() {
  card("Groups", "Errors in pixels.", true, table(["", ...SUMMARY], groups.map(group => [group.name, ...summaryCells(group.all)])));
  card("Points", "Errors in pixels of all judged frames, percentiles of each point.", true,
    table(["point", ...SUMMARY], everything.points.map(point => [point.name, ...summaryCells(point)])));
}

function worstFrames() {
  if (worst.length === 0) return;
  const pictures = worst.map(item => html("figure", {}, judgedFrame(item, points),
    html("figcaption", {}, `frame ${item.frame}: ${judged ? `mean error ${isNumber(item.score) ? px(item.score) : "∞"} px` : `mean confidence ${(1 - item.score).toFixed(2)}`}`)));
  card(judged ? "Worst frames" : "Frames of least confidence", null, true,
    html("div", {class: "gallery"}, ...pictures),
    legend([[MARKS.tracked, "tracked (cross)"], [MARKS.occluded, "occluded (square)"], [MARKS.lost, "lost (X)"], ...(judged ? [["#00e5ff", "known position (circle)"]] : [])]));
}

function allPaths() {
  card("Paths", `Where each point went; dots are its places in frame ${paths.frame}.`, true,
    html("figure", {}, pathsFrame(paths, points)),
    legend(points.map((point, p) => [colourOf(p), point])));
}

document.title = `${data.title} – tracks`;
document.getElementById("title").textContent = data.title;
document.getElementById("about").textContent =
  `${plural(data.frames, "frame")} (${data.first} to ${data.last}), ${plural(points.length, "point")}` +
  (judged ? `, judged in ${plural(everything.frames, "frame")}` : "") +
  (data.frames_with_lost ? `; the shape was lost in ${data.frames_with_lost}` : "");
document.getElementById("made").textContent = `remora ${data.version}`;
keyFigures();
overTime();
perPointOverTime();
if (judged) { cumulative(); reliability(); percentiles(); }
worstFrames();
allPaths();
