'use strict';
// Draws a frame with its points, as large as the user wants it, and the magnifier.
class View {
  constructor(canvas, loupe) {
    this.canvas = canvas;
    this.loupe = loupe;
    this.picture = null;  // an image, and its size
    this.scale = 1;       // screen pixels a pixel of the frame
    this.offset = {x: 0, y: 0};
    this.isFitted = true;
    this.focus = null;    // what the magnifier shows, in the frame
    this.scene = {points: [], lines: []};
    this.showsNames = true;
    this.showsLoupe = true;
    this.pending = false;
    new ResizeObserver(() => this.#resize()).observe(canvas);
  }

  get size() { return {width: this.canvas.clientWidth, height: this.canvas.clientHeight}; }

  setPicture(picture) {
    const isOther = !this.picture || picture.width !== this.picture.width || picture.height !== this.picture.height;
    this.picture = picture;
    if (isOther || this.isFitted) this.fit();
    this.draw();
  }

  // The middle of pixel (0, 0) is half a pixel from the corner of the picture.
  toScreen(p) {
    return {x: (p.x + 0.5) * this.scale + this.offset.x, y: (p.y + 0.5) * this.scale + this.offset.y};
  }
  toImage(p) {
    return {x: (p.x - this.offset.x) / this.scale - 0.5, y: (p.y - this.offset.y) / this.scale - 0.5};
  }
  limited(p) {
    const {width, height} = this.picture;
    return {x: Math.min(Math.max(p.x, -0.499), width - 0.501), y: Math.min(Math.max(p.y, -0.499), height - 0.501)};
  }

  fit() {
    const {width, height} = this.size;
    if (!this.picture || width === 0) return;
    this.scale = Math.min((width - 16) / this.picture.width, (height - 16) / this.picture.height);
    this.offset = {x: (width - this.scale * this.picture.width) / 2, y: (height - this.scale * this.picture.height) / 2};
    this.isFitted = true;
    this.draw();
  }
  // Shows these places as large as they fit, with some of what is around them.
  fitTo(places) {
    const {width, height} = this.size;
    if (!this.picture || places.length === 0 || width === 0) return;
    const range = (axis) => [Math.min(...places.map((p) => p[axis])), Math.max(...places.map((p) => p[axis]))];
    const [left, right] = range('x'), [top, bottom] = range('y');
    const around = 0.3 * Math.max(right - left, bottom - top, 40);
    this.scale = Math.min(width / (right - left + 2 * around), height / (bottom - top + 2 * around), 40);
    this.offset = {x: width / 2 - this.scale * ((left + right) / 2 + 0.5), y: height / 2 - this.scale * ((top + bottom) / 2 + 0.5)};
    this.isFitted = false;
    this.draw();
  }
  zoom(factor, at = {x: this.size.width / 2, y: this.size.height / 2}) {
    const before = this.scale;
    this.scale = Math.min(Math.max(before * factor, 0.02), 80);
    const done = this.scale / before;
    this.offset = {x: at.x - done * (at.x - this.offset.x), y: at.y - done * (at.y - this.offset.y)};
    this.isFitted = false;
    this.draw();
  }
  pan(dx, dy) {
    const {width, height} = this.size, margin = 60;
    const within = (value, span, room) => Math.min(Math.max(value, margin - span * this.scale), room - margin);
    this.offset = {
      x: within(this.offset.x + dx, this.picture.width, width),
      y: within(this.offset.y + dy, this.picture.height, height),
    };
    this.isFitted = false;
    this.draw();
  }
  // Pans as little as brings a place of the frame into sight.
  reveal(p) {
    const {width, height} = this.size, s = this.toScreen(p), margin = 40;
    const missing = (value, room) => value < margin ? margin - value : Math.min(room - margin - value, 0);
    const dx = missing(s.x, width), dy = missing(s.y, height);
    if (!this.isFitted && (dx !== 0 || dy !== 0)) this.pan(dx, dy);
  }

  #resize() {
    const ratio = window.devicePixelRatio || 1;
    for (const canvas of [this.canvas, this.loupe]) {
      canvas.width = Math.round(canvas.clientWidth * ratio);
      canvas.height = Math.round(canvas.clientHeight * ratio);
    }
    this.isFitted ? this.fit() : this.draw();
  }

  draw() {
    if (this.pending) return;
    this.pending = true;
    requestAnimationFrame(() => {
      this.pending = false;
      this.#drawFrame();
      this.#drawLoupe();
    });
  }

  #begin(canvas) {
    const context = canvas.getContext('2d');
    const ratio = canvas.clientWidth > 0 ? canvas.width / canvas.clientWidth : 1;
    context.setTransform(ratio, 0, 0, ratio, 0, 0);
    context.clearRect(0, 0, canvas.clientWidth, canvas.clientHeight);
    return context;
  }

  #drawFrame() {
    const context = this.#begin(this.canvas);
    if (!this.picture) return;
    const {image, width, height} = this.picture;
    context.imageSmoothingEnabled = this.scale < 3;
    context.imageSmoothingQuality = 'high';
    context.globalAlpha = this.scene.skipped ? 0.35 : 1;
    if (image) context.drawImage(image, this.offset.x, this.offset.y, width * this.scale, height * this.scale);
    context.globalAlpha = 1;
    const place = (p) => this.toScreen(p);
    for (const [a, b] of this.scene.lines) drawLine(context, place(a), place(b));
    for (const point of this.scene.points) drawPoint(context, place(point), point, point.selected ? 11 : 8);
    const many = this.scene.points.length > 30;
    for (const point of this.scene.points) {
      if ((this.showsNames && !many) || point.selected) drawName(context, place(point), point);
    }
  }

  // As many screen pixels a pixel as show sub-pixel differences.
  #drawLoupe() {
    const shown = this.showsLoupe && this.focus !== null && this.picture !== null && this.picture.image;
    if (this.loupe.hidden === Boolean(shown)) {
      this.loupe.hidden = !shown;
      if (shown) this.#resize();
    }
    if (!shown) return;
    const at = this.toScreen(this.focus), {width, height} = this.size;
    const side = this.loupe.clientWidth;
    const isLeft = at.x > width / 2 || (at.y < height / 2 && width < 2.5 * side);
    this.loupe.style.left = (isLeft ? 12 : width - side - 12) + 'px';
    this.loupe.style.top = (at.y > height - side - 80 || this.scene.why ? 48 : 12) + 'px';
    const context = this.#begin(this.loupe);
    const factor = Math.max(8, 2.5 * this.scale), middle = side / 2;
    const place = (p) => ({x: (p.x - this.focus.x) * factor + middle, y: (p.y - this.focus.y) * factor + middle});
    const corner = place({x: -0.5, y: -0.5});
    context.fillStyle = '#333';
    context.fillRect(0, 0, side, side);
    context.imageSmoothingEnabled = false;
    context.drawImage(this.picture.image, corner.x, corner.y, this.picture.width * factor, this.picture.height * factor);
    for (const point of this.scene.points) if (!point.selected) drawPoint(context, place(point), point, 8);
    drawCross(context, middle, side);
  }
}

function stroke(context, draw, colour, width, dash = []) {
  for (const [style, extra] of [['rgba(0, 0, 0, .65)', 2.5], [colour, 0]]) {
    context.strokeStyle = style;
    context.lineWidth = width + extra;
    context.setLineDash(dash);
    context.beginPath();
    draw();
    context.stroke();
  }
  context.setLineDash([]);
}

// A ring that leaves its middle free, with ticks; a square where the point is hidden.
function drawPoint(context, at, point, radius) {
  context.globalAlpha = point.guess ? 0.75 : 1;
  const inner = radius / 3;
  stroke(context, () => {
    if (point.state === 'hidden') {
      context.rect(at.x - radius * 0.8, at.y - radius * 0.8, radius * 1.6, radius * 1.6);
    } else {
      context.arc(at.x, at.y, radius * 0.8, 0, 2 * Math.PI);
    }
    if (point.guess) return;
    for (const [dx, dy] of [[1, 0], [-1, 0], [0, 1], [0, -1]]) {
      context.moveTo(at.x + dx * inner, at.y + dy * inner);
      context.lineTo(at.x + dx * radius, at.y + dy * radius);
    }
  }, point.colour, point.selected ? 2.2 : 1.6, point.guess || point.state === 'hidden' ? [3, 3] : []);
  context.globalAlpha = 1;
}

function drawLine(context, a, b) {
  context.globalAlpha = 0.55;
  stroke(context, () => {
    context.moveTo(a.x, a.y);
    context.lineTo(b.x, b.y);
  }, '#ffffff', 1.2);
  context.globalAlpha = 1;
}

function drawName(context, at, point) {
  context.font = (point.selected ? '600 ' : '') + '12.5px system-ui, sans-serif';
  context.lineWidth = 3.5;
  context.lineJoin = 'round';
  context.strokeStyle = 'rgba(0, 0, 0, .75)';
  context.strokeText(point.name, at.x + 12, at.y - 7);
  context.fillStyle = point.guess ? '#dddddd' : '#ffffff';
  context.fillText(point.name, at.x + 12, at.y - 7);
}

function drawCross(context, middle, side) {
  stroke(context, () => {
    for (const [from, to] of [[0, middle - 7], [middle + 7, side]]) {
      context.moveTo(from, middle);
      context.lineTo(to, middle);
      context.moveTo(middle, from);
      context.lineTo(middle, to);
    }
    context.arc(middle, middle, 1, 0, 2 * Math.PI);
  }, '#ffffff', 1);
}
