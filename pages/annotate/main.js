'use strict';
// The page: what it was made with, what the user does, what is shown.

const data = JSON.parse(element('data').textContent);
const footage = data.frames;
for (const frame of footage) {
  if (frame.tracked) frame.tracked = trackedPoints(frame.tracked);
}
const isReview = footage.some((frame) => frame.tracked);
const store = new Store(data.id);
const view = new View(element('picture'), element('loupe'));
const work = new Work(firstWork(), changed);
let current = 0;
let selected = null;
let adding = data.points.length === 0;
let guesses = {};
let dragged = null;  // the work before a drag

function firstWork() {
  const points = data.points.map(({name, colour}, i) => ({id: 'p' + i, name, colour: colour || PALETTE[i % PALETTE.length]}));
  const ids = points.map((point) => point.id);
  return {
    points,
    lines: data.lines.map(([a, b]) => [ids[a], ids[b]]),
    frames: footage.map((frame) => ({skipped: false, marks: marksOf(frame.positions, ids)})),
  };
}

// By id; [x, y, confidence, status] each, null where a point was never seen.
function trackedPoints(list) {
  const points = {};
  list.forEach((p, i) => {
    if (p) points['p' + i] = {x: p[0], y: p[1], confidence: p[2] ?? undefined, status: p[3]};
  });
  return points;
}

// ---- What is shown ----

const pictures = new Map();  // decoded ones, the last used last

async function pictureOf(index) {
  const kept = pictures.get(index);
  pictures.delete(index);
  const image = kept ?? Object.assign(new Image(), {src: footage[index].image});
  pictures.set(index, image);
  if (pictures.size > 6) pictures.delete(pictures.keys().next().value);
  await image.decode();
  return image;
}

async function go(index) {
  if (index < 0 || index >= footage.length) return;
  work.seal();
  if (index !== current && work.now.points.length > 0) adding = false;
  current = index;
  const {width, height} = footage[index];
  if (!adding) select(firstOpen(), false);
  show();
  try {
    const image = await pictureOf(index);
    if (current === index) view.setPicture({image, width, height});
  } catch {
    view.setPicture({image: null, width, height});
    notice(`The picture of frame ${footage[index].frame} cannot be shown: make the page again.`);
  }
  if (index + 1 < footage.length) pictureOf(index + 1).catch(() => {});
}

// The first point that has no mark yet; of tracked ones the least sure.
function firstOpen() {
  const {marks} = work.now.frames[current], {tracked} = footage[current];
  const open = work.now.points.filter((point) => !marks[point.id]);
  const sure = (point) => tracked?.[point.id]?.confidence ?? 1;
  return open.reduce((best, point) => best && sure(best) <= sure(point) ? best : point, null)?.id ?? null;
}

function pointsShown() {
  const {marks} = work.now.frames[current];
  return work.now.points.map((point) => {
    const mark = marks[point.id], guess = guesses[point.id];
    return {...point, ...(guess ?? {}), ...(mark ?? {}), state: mark?.state, guess: !mark && Boolean(guess), selected: point.id === selected};
  });
}

const panel = new Panel({
  select: (id) => select(id),
  go,
  canRename: (id, name) => isPointName(name) && !work.now.points.some((point) => point.id !== id && point.name === name),
  rename: (id, name) => work.changePoint(id, {name}),
  recolour: (id, colour) => work.changePoint(id, {colour}, 'colour' + id),
  line: (a, b) => work.toggleLine(a, b),
});

function show() {
  const frame = work.now.frames[current];
  guesses = frame.skipped ? {} : guessesFor(work.now, footage, current);
  const points = pointsShown();
  const places = Object.fromEntries(points.map((point) => [point.id, point]));
  const hasPlace = (point) => point.guess || isPlaced(frame.marks[point.id]);
  view.scene = {
    skipped: frame.skipped,
    why: Boolean(footage[current].why),
    points: points.filter(hasPlace),
    lines: work.now.lines.filter((line) => line.every((id) => places[id] && hasPlace(places[id]))).map((line) => line.map((id) => places[id])),
  };
  view.draw();
  panel.showPoints(points, selected, work.now.lines);
  const states = footage.map((_, i) => work.stateOf(i));
  panel.showFrames(footage, states, current);
  const done = states.filter((state) => state === 'done' || state === 'skipped').length;
  element('done').textContent = `${done} of ${footage.length} done`;
  element('unsaved').hidden = work.isSaved;
  element('save').classList.toggle('wanted', !work.isSaved);
  element('undo').disabled = work.past.length === 0;
  element('redo').disabled = work.future.length === 0;
  element('previous').disabled = current === 0;
  element('next').disabled = current === footage.length - 1;
  element('fit-points').disabled = view.scene.points.length === 0;
  element('skip').setAttribute('aria-pressed', String(frame.skipped));
  element('add').setAttribute('aria-pressed', String(adding));
  element('loupe-shown').setAttribute('aria-pressed', String(view.showsLoupe));
  element('names-shown').setAttribute('aria-pressed', String(view.showsNames));
  const hasGuesses = Object.keys(guesses).length > 0;
  element('accept').textContent = hasGuesses ? (isReview ? 'All right, next' : 'Accept, next') : 'Next';
  element('accept').disabled = !hasGuesses && current === footage.length - 1;
  element('why').hidden = !footage[current].why;
  element('why').textContent = footage[current].why ?? '';
  element('hint').textContent = hintFor(frame, hasGuesses);
}

function hintFor(frame, hasGuesses) {
  if (frame.skipped) return 'This frame is left out.';
  if (adding) return 'Click into the picture: every click makes a point. Then name them here.';
  if (isReview && hasGuesses) return 'Drag what is wrong; “All right, next” confirms the rest. Only what you confirm is saved.';
  if (hasGuesses) return 'Faint points are suggestions. Drag them; the others follow.';
  if (selected) return 'Click into the picture, or press Space and the arrow keys.';
  return '';
}

function changed() {
  if (selected !== null && !work.now.points.some((point) => point.id === selected)) selected = null;
  store.save(work.now, work.isSaved);
  if (store.trouble) notice(store.trouble), store.trouble = null;
  show();
}

function notice(text) {
  element('notice').hidden = false;
  element('notice-text').textContent = text;
}
function tell(text) { element('status').textContent = text; }

// ---- What the user does ----

function placeOf(id) {
  const mark = work.now.frames[current].marks[id];
  return isPlaced(mark) ? mark : guesses[id] ?? null;
}

function select(id, announces = true) {
  work.seal();
  selected = id;
  if (!announces) return;
  const place = id && placeOf(id);
  if (place && view.picture) view.reveal(place);
  view.focus = place || null;
  const name = work.now.points.find((point) => point.id === id)?.name;
  if (name) tell(name + (place ? ` at ${place.x.toFixed(1)}, ${place.y.toFixed(1)}` : ', no position'));
  show();
}

function put(id, place, name = null) {
  const state = work.now.frames[current].marks[id]?.state === 'hidden' ? 'hidden' : 'seen';
  const {x, y} = view.limited(place);
  work.mark(current, id, {x: rounded(x), y: rounded(y), state}, name);
}

// Goes on to the point that comes next without a mark, as long as there is one.
function advance() {
  const {points} = work.now, {marks} = work.now.frames[current];
  const at = points.findIndex((point) => point.id === selected);
  const order = [...points.slice(at + 1), ...points.slice(0, at + 1)];
  select(order.find((point) => !marks[point.id])?.id ?? null);
}

function click(place) {
  const {width, height} = footage[current];
  if (place.x < -0.5 || place.y < -0.5 || place.x >= width - 0.5 || place.y >= height - 0.5) return;
  if (adding) {
    const point = work.addPoint();
    selected = point.id;
    put(point.id, place, 'add');
    work.seal();
    tell(point.name + ' added');
    return;
  }
  if (selected === null) return;
  put(selected, place);
  advance();
}

new Pointer(view, {
  at: (screen, radius) => {
    let best = null, least = radius;
    for (const point of view.scene.points) {
      const s = view.toScreen(point);
      // The selected point is easier to hit than what lies beside it.
      const distance = Math.hypot(s.x - screen.x, s.y - screen.y) * (point.id === selected ? 0.6 : 1);
      if (distance < least) [best, least] = [point.id, distance];
    }
    return adding && best !== null && guesses[best] ? null : best;
  },
  placeOf,
  press: (id) => {
    dragged = work.now;
    select(id);
  },
  drag: (id, place) => {
    put(id, place, 'drag');
    view.focus = placeOf(id);
  },
  drop: (id, clicked) => {
    dragged = null;
    const guess = guesses[id];
    if (clicked && guess) {
      // Who clicks beside a suggestion means the place of the click.
      const apart = view.scale * Math.hypot(clicked.x - guess.x, clicked.y - guess.y);
      put(id, apart > 3 ? clicked : guess);
      advance();
    }
    view.focus = null;
    work.seal();
    view.draw();
  },
  cancel: () => {
    if (dragged && work.now !== dragged) work.undo();
    dragged = null;
    view.focus = null;
  },
  click,
  hover: (place) => {
    view.focus = place;
    view.draw();
  },
});

function nudge(dx, dy) {
  if (!selected) select(firstOpen() ?? work.now.points[0]?.id ?? null);
  if (!selected) return;
  const from = placeOf(selected) ?? middleOfView();
  put(selected, {x: from.x + dx, y: from.y + dy}, 'nudge' + selected);
  showSelected();
}

function middleOfView() {
  const {width, height} = view.size;
  const {x, y} = view.limited(view.toImage({x: width / 2, y: height / 2}));
  return {x: Math.round(x), y: Math.round(y)};
}

function showSelected() {
  view.focus = placeOf(selected);
  if (view.focus) view.reveal(view.focus);
  view.draw();
  const {x, y} = view.focus;
  tell(`${x.toFixed(1)}, ${y.toFixed(1)}`);
}

function placeAndGoOn() {
  if (adding) return click(middleOfView());
  if (!selected) select(firstOpen());
  if (!selected) return;
  if (!work.now.frames[current].marks[selected]) put(selected, placeOf(selected) ?? middleOfView());
  advance();
}

function stepPoint(by) {
  const {points} = work.now;
  if (points.length === 0) return;
  const at = points.findIndex((point) => point.id === selected);
  const next = at < 0 ? (by > 0 ? 0 : points.length - 1) : (at + by + points.length) % points.length;
  select(points[next].id);
}

function setState(state) {
  if (!selected) return;
  if (state === 'missing') return work.mark(current, selected, {state});
  const {x, y} = placeOf(selected) ?? middleOfView();
  work.mark(current, selected, {x: rounded(x), y: rounded(y), state});
}

// What tracking has placed where it cannot be seen is hidden; what it has lost needs a look.
function accept() {
  const changes = {};
  for (const [id, {x, y, status}] of Object.entries(guesses)) {
    if (status === 'lost') continue;
    changes[id] = {x: rounded(x), y: rounded(y), state: status === 'occluded' ? 'hidden' : 'seen'};
  }
  if (Object.keys(changes).length > 0) work.markAll(current, changes);
  if (Object.keys(guesses).length > 0) {
    notice(`Frame ${footage[current].frame} has lost points: place them, or say that they are missing.`);
    return;
  }
  isReview ? goToLeastSure() || go(current + 1) : go(current + 1);
}

function goToLeastSure(except = current) {
  const open = footage.map((frame, i) => i).filter((i) => footage[i].confidence !== undefined && ['', 'begun'].includes(work.stateOf(i)) && i !== except);
  if (open.length === 0) return false;
  go(open.reduce((best, i) => footage[i].confidence < footage[best].confidence ? i : best));
  return true;
}

function skip() {
  const {skipped} = work.now.frames[current];
  work.skip(current, !skipped);
  if (!skipped) go(current + 1);
}

function removeSelected() {
  const {name} = work.now.points.find((point) => point.id === selected);
  work.removePoint(selected);
  tell(name + ' removed; undo brings it back');
}

function saveFile() {
  if (work.now.points.length === 0) return notice('There is nothing to save yet.');
  const link = document.createElement('a');
  link.href = URL.createObjectURL(new Blob([formatFile(work.now, footage)], {type: 'application/json'}));
  link.download = data.save_as;
  link.click();
  setTimeout(() => URL.revokeObjectURL(link.href), 10000);
  work.saved = work.now;
  store.save(work.now, true);
  show();
  tell('saved as ' + data.save_as);
}

async function openFile(file) {
  try {
    const {work: next, taken, left} = takeFile(await file.text(), work.now, footage);
    work.step(next);
    notice(`${taken} frame${taken === 1 ? '' : 's'} taken from ${file.name}` + (left > 0 ? `; ${left} are not in this page` : '') + '.');
  } catch (error) {
    notice(`${file.name}: ${error.message}.`);
  }
}

function toggleAdding() {
  adding = !adding;
  if (adding) select(null);
  show();
}

function toggleView(key) {
  view[key] = !view[key];
  show();
}

// ---- Buttons and keys ----

const onClick = {
  undo: () => work.undo(), redo: () => work.redo(),
  'zoom-in': () => view.zoom(1.5), 'zoom-out': () => view.zoom(1 / 1.5), fit: () => view.fit(),
  'fit-points': () => view.fitTo(view.scene.points),
  'loupe-shown': () => toggleView('showsLoupe'), 'names-shown': () => toggleView('showsNames'),
  previous: () => go(current - 1), next: () => go(current + 1), least: () => goToLeastSure(),
  skip, accept, add: toggleAdding, save: saveFile,
  open: () => element('file').click(),
  help: () => element('keys').showModal(),
  clear: () => selected && work.mark(current, selected, null),
  remove: removeSelected,
  'notice-close': () => { element('notice').hidden = true; },
};
for (const [id, action] of Object.entries(onClick)) element(id).addEventListener('click', action);
for (const button of document.querySelectorAll('.states button')) {
  button.addEventListener('click', () => setState(button.dataset.state));
}
element('file').addEventListener('change', (event) => {
  if (event.target.files.length > 0) openFile(event.target.files[0]);
  event.target.value = '';
});

const keys = {
  ' ': placeAndGoOn, Enter: accept,
  j: () => stepPoint(1), k: () => stepPoint(-1),
  ',': () => go(current - 1), '.': () => go(current + 1), PageUp: () => go(current - 1), PageDown: () => go(current + 1),
  v: () => setState('seen'), h: () => setState('hidden'), m: () => setState('missing'),
  Delete: onClick.clear, Backspace: onClick.clear,
  s: skip, l: () => goToLeastSure(), a: toggleAdding,
  r: () => { if (selected) element('name').focus(), element('name').select(); },
  '+': () => view.zoom(1.5), '=': () => view.zoom(1.5), '-': () => view.zoom(1 / 1.5), 0: () => view.fit(), z: () => view.fitTo(view.scene.points),
  g: () => toggleView('showsLoupe'), t: () => toggleView('showsNames'),
  '?': () => element('keys').showModal(),
  Escape: () => { if (adding) toggleAdding(); else select(null); },
};
const arrows = {ArrowLeft: [-1, 0], ArrowRight: [1, 0], ArrowUp: [0, -1], ArrowDown: [0, 1]};

function onKey(event) {
  const isCommand = event.ctrlKey || event.metaKey;
  const key = event.key.length === 1 ? event.key.toLowerCase() : event.key;
  const isWriting = /^(INPUT|SELECT)$/.test(event.target.tagName) && !(isCommand && key === 's');
  if (element('keys').open || isWriting) return;
  let action = null;
  if (isCommand) {
    action = {z: () => event.shiftKey ? work.redo() : work.undo(), y: () => work.redo(), s: saveFile}[key];
  } else if (arrows[key]) {
    const far = event.shiftKey ? 10 : event.altKey ? 0.1 : 1;
    action = () => nudge(far * arrows[key][0], far * arrows[key][1]);
  } else if (!event.altKey) {
    // A button in focus takes Space and Enter itself.
    const isButton = event.target.tagName === 'BUTTON';
    action = isButton && (key === ' ' || key === 'Enter') ? null : keys[key];
  }
  if (!action) return;
  event.preventDefault();
  action();
}
document.addEventListener('keydown', onKey);

window.addEventListener('beforeunload', (event) => {
  if (!work.isSaved) event.preventDefault(), event.returnValue = '';
});
store.onOther(() => notice('This page is open in another window, too, which has just changed its work. Load this one again to go on with that.'));

// ---- Beginning ----

document.title = data.title + ' – Annotate';
element('title').textContent = data.title;
element('title').title = data.title;
element('least').hidden = !isReview;
for (const row of document.querySelectorAll('.review')) row.hidden = !isReview;
const kept = store.load(footage.length);
if (kept) {
  work.replace(kept.work, kept.isSaved);
  adding = adding && kept.work.points.length === 0;
}
if (store.trouble) notice(store.trouble), store.trouble = null;
const firstTodo = footage.findIndex((_, i) => ['', 'begun'].includes(work.stateOf(i)));
if (!isReview || !goToLeastSure(-1)) go(Math.max(firstTodo, 0));
element('picture').focus();
