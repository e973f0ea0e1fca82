'use strict';
// Keeps work in the browser, where it lets us: from closing the page to opening it again.
class Store {
  // id: of the frames of this page; a page with other frames has other work
  constructor(id) {
    this.key = 'remora-annotate:' + id;
    this.trouble = null;
    try {
      this.area = window.localStorage;
      this.area.setItem('remora-annotate', '1');
    } catch {
      this.#fail('This browser keeps nothing for this page: save before you leave it.');
    }
  }

  #fail(trouble) {
    this.area = null;
    this.trouble = trouble;
  }

  // {work, isSaved} of as many frames, or null
  load(frames) {
    if (!this.area) return null;
    try {
      const kept = JSON.parse(this.area.getItem(this.key));
      if (!kept) return null;
      if (kept.version > VERSION) {
        this.#fail(`A later version of this page (${kept.version}) keeps work here. It stays as it is: go on there, or save what you do here.`);
        return null;
      }
      const {points, lines, frames: keptFrames} = kept.work;
      return Array.isArray(points) && Array.isArray(lines) && keptFrames.length === frames ? kept : null;
    } catch {
      return null;
    }
  }

  save(work, isSaved) {
    if (!this.area) return;
    try {
      this.area.setItem(this.key, JSON.stringify({version: VERSION, work, isSaved}));
    } catch {
      this.#fail('This browser has no room for more: save before you leave the page.');
    }
  }

  // Another window with this page has changed the work.
  onOther(callback) {
    window.addEventListener('storage', (event) => {
      if (event.key === this.key && event.newValue !== null) callback();
    });
  }
}
