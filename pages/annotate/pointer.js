'use strict';
// Mouse, pen and fingers on the picture. `hands` says what they do:
//   at(screen, radius)   the id of the point there, or null
//   placeOf(id)          where it is in the frame
//   press(id)            it was touched
//   drag(id, place)      it is moved
//   drop(id, clicked)    it was let go; clicked: where, if it was not moved
//   cancel()             the drag became something else
//   click(place)         a click or tap beside all points
//   hover(place)         the mouse is there; null: it has gone
class Pointer {
  constructor(view, hands) {
    this.view = view;
    this.hands = hands;
    this.down = new Map();  // pointers that touch, and where
    this.drag = null;       // {id, from, place, moved}
    this.moved = false;     // since the first pointer went down
    const canvas = view.canvas;
    canvas.addEventListener('pointerdown', (event) => this.#press(event));
    canvas.addEventListener('pointermove', (event) => this.#move(event));
    canvas.addEventListener('pointerup', (event) => this.#lift(event, true));
    canvas.addEventListener('pointercancel', (event) => this.#lift(event, false));
    canvas.addEventListener('pointerleave', () => hands.hover(null));
    canvas.addEventListener('contextmenu', (event) => event.preventDefault());
    canvas.addEventListener('wheel', (event) => this.#wheel(event), {passive: false});
  }

  #at(event) {
    const box = this.view.canvas.getBoundingClientRect();
    return {x: event.clientX - box.left, y: event.clientY - box.top};
  }

  #press(event) {
    event.preventDefault();
    this.view.canvas.focus({preventScroll: true});
    this.view.canvas.setPointerCapture(event.pointerId);
    const at = this.#at(event);
    this.down.set(event.pointerId, at);
    if (this.down.size > 1) return this.#letGo();
    this.first = at;
    this.moved = false;
    const isPan = event.pointerType === 'mouse' && event.button !== 0;
    const id = isPan ? null : this.hands.at(at, event.pointerType === 'touch' ? 26 : 13);
    this.isPan = isPan;
    if (id === null) return;
    this.drag = {id, from: at, place: this.hands.placeOf(id)};
    this.hands.press(id);
  }

  // A second finger came: what the first one did is taken back.
  #letGo() {
    if (this.drag && this.moved) this.hands.cancel();
    this.drag = null;
    this.moved = true;
  }

  #move(event) {
    const at = this.#at(event);
    const before = this.down.get(event.pointerId);
    if (!before) {
      if (event.pointerType === 'mouse') this.hands.hover(this.view.toImage(at));
      return;
    }
    const slack = event.pointerType === 'touch' ? 7 : 3;
    if (!this.moved && Math.hypot(at.x - this.first.x, at.y - this.first.y) < slack) return;
    this.moved = true;
    if (this.down.size === 2) {
      this.#pinch(event.pointerId, before, at);
    } else if (this.drag) {
      // The point moves as the pointer does, and need not be under it.
      const fine = event.shiftKey ? 0.2 : 1;
      this.drag.place = {
        x: this.drag.place.x + fine * (at.x - this.drag.from.x) / this.view.scale,
        y: this.drag.place.y + fine * (at.y - this.drag.from.y) / this.view.scale,
      };
      this.drag.from = at;
      this.view.canvas.classList.add('moving');
      this.hands.drag(this.drag.id, this.drag.place);
    } else {
      this.view.canvas.classList.add('panning');
      this.view.pan(at.x - before.x, at.y - before.y);
    }
    this.down.set(event.pointerId, at);
  }

  #pinch(id, before, at) {
    const other = [...this.down].find(([key]) => key !== id)[1];
    const distance = (p) => Math.max(Math.hypot(p.x - other.x, p.y - other.y), 10);
    this.view.pan((at.x - before.x) / 2, (at.y - before.y) / 2);
    this.view.zoom(distance(at) / distance(before), {x: (at.x + other.x) / 2, y: (at.y + other.y) / 2});
  }

  #lift(event, isDone) {
    if (!this.down.delete(event.pointerId)) return;
    this.view.canvas.classList.remove('moving', 'panning');
    const {drag} = this;
    this.drag = null;
    if (drag && !isDone && this.moved) this.hands.cancel();
    else if (drag) this.hands.drop(drag.id, this.moved ? null : this.view.toImage(this.#at(event)));
    else if (isDone && !this.moved && !this.isPan) this.hands.click(this.view.toImage(this.#at(event)));
  }

  #wheel(event) {
    event.preventDefault();
    const lines = event.deltaMode === 1 ? 20 : 1;
    this.view.zoom(Math.exp(-event.deltaY * lines * (event.ctrlKey ? 0.01 : 0.0015)), this.#at(event));
  }
}
