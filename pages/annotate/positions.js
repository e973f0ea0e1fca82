'use strict';
// What is known where: marks of points in frames, guesses for the rest, and the saved file.
//
// A mark is {x, y, state}, state 'seen' or 'hidden', or {state: 'missing'}. x goes right, y goes
// down, in pixels; (0, 0) is the middle of the top left pixel.

const FORMAT = 'remora annotations';
const VERSION = 1;

const PALETTE = ['#f2b134', '#3fa7f5', '#ee5d6c', '#4ecb71', '#b784f7', '#ff8f3f', '#35d0c8',
  '#f27fc3', '#b5c938', '#8fa3ff', '#d99a6c', '#e8e8e8'];

const rounded = (value) => Math.round(value * 1000) / 1000;
const isPlaced = (mark) => Boolean(mark) && mark.state !== 'missing';

// A name that tables can hold.
function isPointName(name) {
  return typeof name === 'string' && name !== '' && name.trim() === name && !/[,"\u0000-\u001f]/.test(name) && name.isWellFormed();
}
if (!String.prototype.isWellFormed) {
  String.prototype.isWellFormed = function () {
    try { encodeURIComponent(this); return true; } catch { return false; }
  };
}

// The similarity (or, with one pair, the shift) that brings points onto others in least squares.
function motionBetween(pairs) {
  if (pairs.length === 0) return (p) => p;
  const mean = (key, axis) => pairs.reduce((sum, pair) => sum + pair[key][axis], 0) / pairs.length;
  const from = {x: mean('from', 'x'), y: mean('from', 'y')};
  const to = {x: mean('to', 'x'), y: mean('to', 'y')};
  let size = 0, along = 0, across = 0;
  for (const pair of pairs) {
    const a = {x: pair.from.x - from.x, y: pair.from.y - from.y};
    const b = {x: pair.to.x - to.x, y: pair.to.y - to.y};
    size += a.x * a.x + a.y * a.y;
    along += a.x * b.x + a.y * b.y;
    across += a.x * b.y - a.y * b.x;
  }
  const c = size > 1 ? along / size : 1, s = size > 1 ? across / size : 0;
  return (p) => ({
    x: to.x + c * (p.x - from.x) - s * (p.y - from.y),
    y: to.y + s * (p.x - from.x) + c * (p.y - from.y),
  });
}

// Where a point is by the annotated frames around: between two, else as in the last one.
function guessFromOthers(work, footage, index, id) {
  const find = (step) => {
    for (let i = index + step; i >= 0 && i < footage.length; i += step) {
      const frame = work.frames[i];
      if (!frame.skipped && isPlaced(frame.marks[id])) return i;
    }
    return -1;
  };
  const before = find(-1), after = find(1);
  if (before < 0 && after < 0) return null;
  if (before < 0 || after < 0) return work.frames[before < 0 ? after : before].marks[id];
  const a = work.frames[before].marks[id], b = work.frames[after].marks[id];
  const span = footage[after].frame - footage[before].frame;
  const t = span > 0 ? (footage[index].frame - footage[before].frame) / span : 0;
  return {x: a.x + t * (b.x - a.x), y: a.y + t * (b.y - a.y)};
}

// Guesses for all points of a frame that have no mark: as they were tracked, or as other frames
// have them, moved along with the points that are placed here.
function guessesFor(work, footage, index) {
  const marks = work.frames[index].marks;
  const guesses = {};
  const {width, height, tracked} = footage[index];
  if (tracked) {
    for (const point of work.points) {
      if (marks[point.id] || !tracked[point.id]) continue;
      guesses[point.id] = tracked[point.id];
    }
    return guesses;
  }
  const sources = {};
  for (const point of work.points) {
    const source = guessFromOthers(work, footage, index, point.id);
    if (source) sources[point.id] = source;
  }
  const move = motionBetween(Object.keys(sources).filter((id) => isPlaced(marks[id]))
    .map((id) => ({from: sources[id], to: marks[id]})));
  for (const id of Object.keys(sources)) {
    const p = move(sources[id]);
    const inside = p.x >= -0.5 && p.y >= -0.5 && p.x < width - 0.5 && p.y < height - 0.5;
    if (!marks[id] && inside) guesses[id] = {...p, status: 'tracked'};
  }
  return guesses;
}

// The text of a saved file.
function formatFile(work, footage) {
  const nameOf = Object.fromEntries(work.points.map((point) => [point.id, point.name]));
  const position = (mark) => {
    if (!mark) return null;
    if (mark.state === 'missing') return 'missing';
    const place = [rounded(mark.x), rounded(mark.y)];
    return mark.state === 'hidden' ? [...place, 'hidden'] : place;
  };
  const lines = [];
  work.frames.forEach((frame, i) => {
    const positions = work.points.map((point) => position(frame.marks[point.id]));
    if (positions.every((p) => p === null) && !frame.skipped) return;
    const entry = {frame: footage[i].frame, file: footage[i].file};
    if (frame.skipped) entry.skipped = true;
    entry.positions = frame.skipped ? positions.map(() => null) : positions;
    lines.push('    ' + JSON.stringify(entry));
  });
  const points = work.points.map(({name, colour}) => '    ' + JSON.stringify({name, colour}));
  const joins = work.lines.map(([a, b]) => JSON.stringify([nameOf[a], nameOf[b]]));
  return `{
  "format": ${JSON.stringify(FORMAT)},
  "version": ${VERSION},
  "points": [\n${points.join(',\n')}\n  ],
  "lines": [${joins.join(', ')}],
  "frames": [\n${lines.join(',\n')}\n  ]
}\n`;
}

// Takes a saved file into the work: what it says replaces what is there, frame by frame. Throws an
// Error in one line.
function takeFile(text, work, footage) {
  let file;
  try { file = JSON.parse(text); } catch { throw new Error('it is not JSON'); }
  if (!file || file.format !== FORMAT) throw new Error('it is no annotation file of Remora');
  if (file.version !== VERSION) {
    throw new Error(`it is of version ${file.version}, this page reads ${VERSION}: make a new page with the program that wrote it`);
  }
  const isWhole = Array.isArray(file.points) && Array.isArray(file.frames) && file.points.every((point) => isPointName(point?.name));
  if (!isWhole) throw new Error('it lacks points or frames');
  const next = {...work, points: [...work.points], frames: [...work.frames]};
  const ids = file.points.map((point) => {
    const known = next.points.find((p) => p.name === point.name);
    if (known) return known.id;
    const id = newId(next.points);
    next.points.push({id, name: point.name, colour: /^#[0-9a-f]{6}$/i.test(point.colour) ? point.colour : PALETTE[next.points.length % PALETTE.length]});
    return id;
  });
  const idOf = (name) => next.points.find((p) => p.name === name)?.id;
  const joins = (file.lines ?? []).map((line) => line.map(idOf)).filter(([a, b]) => a && b);
  if (joins.length > 0) next.lines = joins;
  let taken = 0;
  for (const entry of file.frames) {
    const i = footage.findIndex((f) => f.frame === entry.frame && (!entry.file || f.file === entry.file));
    if (i < 0) continue;
    ++taken;
    next.frames[i] = {skipped: entry.skipped === true, marks: marksOf(entry.positions, ids)};
  }
  if (taken === 0) throw new Error('it has none of the frames of this page');
  return {work: next, taken, left: file.frames.length - taken};
}

// Marks as the file has them.
function marksOf(positions, ids) {
  const marks = {};
  (positions ?? []).forEach((p, i) => {
    if (p === 'missing') marks[ids[i]] = {state: 'missing'};
    if (Array.isArray(p) && Number.isFinite(p[0]) && Number.isFinite(p[1])) {
      marks[ids[i]] = {x: p[0], y: p[1], state: p[2] === 'hidden' ? 'hidden' : 'seen'};
    }
  });
  return marks;
}

function newId(points) {
  let number = points.length;
  while (points.some((point) => point.id === 'p' + number)) ++number;
  return 'p' + number;
}
