'use strict';
// What the user has made, step by step, so that every step can be taken back.
//
//   {points: [{id, name, colour}], lines: [[id, id]], frames: [{skipped, marks: {id: mark}}]}
//
// A work is never changed in place: each step makes a new one that shares what stayed.
class Work {
  constructor(first, onChange) {
    this.now = first;
    this.saved = first;
    this.onChange = onChange;
    this.past = [];
    this.future = [];
    this.merging = null;
  }

  get isSaved() { return this.now === this.saved; }

  // Steps with the same name that follow each other are one, until seal().
  step(next, name = null) {
    if (next === this.now) return;
    if (name === null || name !== this.merging) this.past.push(this.now);
    if (this.past.length > 1000) this.past.shift();
    this.merging = name;
    this.future = [];
    this.now = next;
    this.onChange();
  }
  seal() { this.merging = null; }

  undo() { this.#travel(this.past, this.future); }
  redo() { this.#travel(this.future, this.past); }
  #travel(from, to) {
    if (from.length === 0) return;
    to.push(this.now);
    this.now = from.pop();
    this.seal();
    this.onChange();
  }

  // Work from elsewhere, which is as saved as that one was.
  replace(next, isSaved) {
    this.past = [];
    this.future = [];
    this.now = next;
    this.saved = isSaved ? next : null;
    this.seal();
    this.onChange();
  }

  // mark: null takes it away
  mark(index, id, mark, name = null) { this.markAll(index, {[id]: mark}, name); }
  markAll(index, changes, name = null) {
    const frame = this.now.frames[index];
    const marks = {...frame.marks, ...changes};
    for (const id of Object.keys(marks)) if (marks[id] === null) delete marks[id];
    this.#frame(index, {skipped: false, marks}, name);
  }
  skip(index, skipped) { this.#frame(index, {...this.now.frames[index], skipped}); }
  #frame(index, frame, name = null) {
    const frames = [...this.now.frames];
    frames[index] = frame;
    this.step({...this.now, frames}, name);
  }

  addPoint() {
    const {points} = this.now;
    let number = points.length + 1;
    while (points.some((point) => point.name === 'point ' + number)) ++number;
    const point = {id: newId(points), name: 'point ' + number, colour: PALETTE[points.length % PALETTE.length]};
    this.step({...this.now, points: [...points, point]}, 'add');
    return point;
  }
  changePoint(id, change, name = null) {
    const points = this.now.points.map((point) => point.id === id ? {...point, ...change} : point);
    this.step({...this.now, points}, name);
  }
  removePoint(id) {
    const points = this.now.points.filter((point) => point.id !== id);
    const lines = this.now.lines.filter((line) => !line.includes(id));
    const frames = this.now.frames.map((frame) => {
      const {[id]: gone, ...marks} = frame.marks;
      return gone ? {...frame, marks} : frame;
    });
    this.step({points, lines, frames});
  }
  toggleLine(a, b) {
    const joins = (line) => line.includes(a) && line.includes(b);
    const lines = this.now.lines.some(joins) ? this.now.lines.filter((line) => !joins(line))
      : [...this.now.lines, [a, b]];
    this.step({...this.now, lines});
  }

  // 'skipped', 'done', 'begun' or ''
  stateOf(index) {
    const frame = this.now.frames[index];
    if (frame.skipped) return 'skipped';
    const marked = this.now.points.filter((point) => frame.marks[point.id]).length;
    if (marked === 0) return '';
    return marked === this.now.points.length ? 'done' : 'begun';
  }
}
