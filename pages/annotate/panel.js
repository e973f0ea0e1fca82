'use strict';
// The lists of points and frames, and what can be done with the selected point. Names come from
// outside: they become text, never HTML.

const element = (id) => document.getElementById(id);
const UNSURE = 0.5;  // confidence below which a frame or point is pointed out

function make(tag, className, text = '') {
  const node = document.createElement(tag);
  node.className = className;
  node.textContent = text;
  return node;
}

class Panel {
  // `hands`: select(id), go(index), rename(id, name), recolour(id, colour), line(a, b)
  constructor(hands) {
    this.hands = hands;
    this.shownFrames = [];
    const name = element('name');
    name.addEventListener('input', () => name.classList.toggle('wrong', !hands.canRename(this.id, name.value)));
    name.addEventListener('change', () => {
      if (hands.canRename(this.id, name.value)) hands.rename(this.id, name.value);
      else if (this.point) name.value = this.point.name;
      name.classList.remove('wrong');
    });
    name.addEventListener('keydown', (event) => {
      if (event.key === 'Escape') name.value = this.point.name;
      if (event.key === 'Enter' || event.key === 'Escape') element('picture').focus();
      if (!event.ctrlKey && !event.metaKey) event.stopPropagation();
    });
    element('colour').addEventListener('input', (event) => hands.recolour(this.id, event.target.value));
    element('line').addEventListener('change', (event) => {
      if (event.target.value) hands.line(this.id, event.target.value);
    });
  }

  // The points of a frame, as the view draws them, with `status` and `confidence` where they are
  // tracked.
  showPoints(points, selected, lines) {
    const list = element('points');
    const hadFocus = list.contains(document.activeElement);
    list.replaceChildren(...points.map((point) => this.#pointRow(point, point.id === selected)));
    const row = list.querySelector('[aria-current="true"]');
    if (row) {
      const box = list.getBoundingClientRect(), at = row.getBoundingClientRect();
      if (at.top < box.top || at.bottom > box.bottom || at.left < box.left || at.right > box.right) row.scrollIntoView({block: 'nearest', inline: 'nearest'});
      if (hadFocus) row.focus();
    }
    this.#showDetail(points.find((point) => point.id === selected), points, lines);
  }

  #pointRow(point, isSelected) {
    const row = make('button', point.state || (point.guess ? 'guess' : 'none'));
    row.style.setProperty('--dot', point.colour);
    row.append(make('span', 'dot'), make('span', 'label', point.name), make('span', 'state', describe(point)));
    row.classList.toggle('unsure', point.guess && point.confidence < UNSURE);
    row.dataset.id = point.id;
    if (isSelected) row.setAttribute('aria-current', 'true');
    row.addEventListener('click', () => this.hands.select(point.id));
    const item = document.createElement('li');
    item.append(row);
    return item;
  }

  #showDetail(point, points, lines) {
    element('detail').hidden = !point;
    this.point = point;
    this.id = point?.id;
    if (!point) return;
    if (document.activeElement !== element('name')) element('name').value = point.name;
    element('colour').value = point.colour;
    for (const button of document.querySelectorAll('.states button')) {
      button.setAttribute('aria-pressed', String(button.dataset.state === point.state));
    }
    element('clear').disabled = !point.state;
    const options = [new Option('Line to …', '')];
    for (const other of points) {
      if (other === point) continue;
      const isJoined = lines.some((line) => line.includes(point.id) && line.includes(other.id));
      options.push(new Option((isJoined ? '✓ ' : '') + other.name, other.id));
    }
    element('line').replaceChildren(...options);
    element('line').disabled = options.length < 2;
  }

  // footage: frames of the page; states: of each, as Work.stateOf
  showFrames(footage, states, current) {
    const list = element('frames');
    if (list.childElementCount !== footage.length) {
      list.replaceChildren(...footage.map((frame, i) => this.#frameButton(frame, i)));
    }
    [...list.children].forEach((button, i) => {
      for (const state of ['begun', 'done', 'skipped']) button.classList.toggle(state, states[i] === state);
      const isCurrent = i === current;
      if (isCurrent && button.getAttribute('aria-selected') !== 'true') this.#centre(list, button);
      button.setAttribute('aria-selected', String(isCurrent));
      button.tabIndex = isCurrent ? 0 : -1;
      button.setAttribute('aria-label', `Frame ${footage[i].frame}${states[i] ? ', ' + states[i] : ''}`);
    });
  }

  // Not scrollIntoView: it would scroll the page as well.
  #centre(list, button) {
    requestAnimationFrame(() => {
      const at = button.getBoundingClientRect(), box = list.getBoundingClientRect();
      list.scrollLeft += at.left + at.width / 2 - (box.left + box.width / 2);
    });
  }

  #frameButton(frame, index) {
    const button = make('button', '', String(frame.frame));
    button.setAttribute('role', 'option');
    button.title = frame.name;
    if (frame.confidence !== undefined) {
      button.append(make('span', 'sure', Math.round(100 * frame.confidence) + ' %'));
      button.classList.toggle('unsure', frame.confidence < UNSURE);
    }
    button.addEventListener('click', () => this.hands.go(index));
    return button;
  }
}

function describe(point) {
  if (point.state === 'missing') return 'missing';
  if (point.state === 'hidden') return 'hidden';
  if (point.state === 'seen') return `${point.x.toFixed(1)}, ${point.y.toFixed(1)}`;
  if (!point.guess) return '–';
  if (point.confidence === undefined) return 'suggested';
  return `${point.status === 'tracked' ? '' : point.status + ' '}${Math.round(100 * point.confidence)} %`;
}
