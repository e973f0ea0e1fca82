"use strict";
// Frames with what was tracked in them.

const MARKS = {tracked: "#ffeb3b", occluded: "#ff9100", lost: "#ff283c"};

// A mark as long as `arm` to each side: a cross, a square or an X, by status.
function markOf([x, y, status], arm) {
  const a = x - arm, b = x + arm, c = y - arm, d = y + arm;
  const shapes = {
    tracked: `M${a} ${y}H${b}M${x} ${c}V${d}`,
    occluded: `M${a} ${c}H${b}V${d}H${a}Z`,
    lost: `M${a} ${c}L${b} ${d}M${a} ${d}L${b} ${c}`
  };
  return svg("path", {d: shapes[status], fill: "none", stroke: MARKS[status]});
}

// The part of a picture that holds the places with some room around them; where there is no picture,
// because the footage was not given, just that part. The middle of the top left pixel is (0, 0).
function partWith(places, picture) {
  const whole = picture ? [-0.5, -0.5, picture.width - 0.5, picture.height - 0.5] : [-Infinity, -Infinity, Infinity, Infinity];
  if (places.length === 0) return picture ? whole : [0, 0, 160, 120];
  const xs = places.map(point => point[0]), ys = places.map(point => point[1]);
  const [left, right, top, bottom] = [Math.min(...xs), Math.max(...xs), Math.min(...ys), Math.max(...ys)];
  const middle = [(left + right) / 2, (top + bottom) / 2];
  const half = 0.8 * Math.max((right - left) * 0.75, bottom - top, 30);
  const part = [middle[0] - half * 4 / 3, middle[1] - half, middle[0] + half * 4 / 3, middle[1] + half];
  const cut = [...part.slice(0, 2).map((from, k) => Math.max(from, whole[k])), ...part.slice(2).map((to, k) => Math.min(to, whole[k + 2]))];
  return cut[2] > cut[0] && cut[3] > cut[1] ? cut : whole;
}

function frame(picture, points, draw) {
  const [left, top, right, bottom] = partWith(points.filter(([x, y]) => isNumber(x) && isNumber(y)), picture);
  const drawing = svg("svg", {viewBox: [left, top, right - left, bottom - top].join(" "), role: "img"});
  if (picture) {
    drawing.append(svg("image", {href: picture.image, x: -0.5, y: -0.5, width: picture.width, height: picture.height}));
  }
  const unit = (right - left) / 320;  // about a pixel of the page
  const group = svg("g", {"stroke-width": 1.5 * unit});
  draw(group, unit);
  drawing.append(group);
  return drawing;
}

// Tracked points by status, known positions as circles, and a line from one to the other.
function judgedFrame({picture, points, truth}, names) {
  return frame(picture, points, (group, unit) => {
    points.forEach((point, k) => {
      if (!isNumber(point[0]) || !isNumber(point[1])) return;
      const known = truth && truth[k];
      if (known && isNumber(known[0])) {
        group.append(svg("line", {x1: point[0], y1: point[1], x2: known[0], y2: known[1], stroke: "#ff4de1"}),
          svg("circle", {cx: known[0], cy: known[1], r: 3 * unit, fill: "none", stroke: "#00e5ff"}));
      }
      const mark = markOf(point, 4 * unit);
      mark.append(svg("title", {}, `${names[k]}: ${point[2]}${isNumber(point[3]) ? `, confidence ${point[3]}` : ""}`));
      group.append(mark);
    });
  });
}

function pathsFrame({picture, start, lines}, names) {
  const everywhere = lines.flat();
  return frame(picture, everywhere, (group, unit) => {
    lines.forEach((line, k) => {
      const path = pathOf(line.map((_, i) => i), line.map(([x, y]) => isNumber(x) && isNumber(y) ? y : null), i => line[i][0], y => y);
      group.append(svg("path", {d: path, fill: "none", stroke: colourOf(k), "stroke-opacity": 0.85, "stroke-linejoin": "round"},
        svg("title", {}, names[k])));
    });
    start.forEach(([x, y], k) => {
      if (isNumber(x)) group.append(svg("circle", {cx: x, cy: y, r: 2.5 * unit, fill: colourOf(k), stroke: "#fff", "stroke-width": 0.6 * unit}));
    });
  });
}
