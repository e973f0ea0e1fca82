'use strict';
// The page of remora annotate in a real browser: what people do with it, and what it saves.
const assert = require('node:assert/strict');
const {spawnSync} = require('node:child_process');
const fs = require('node:fs');
const path = require('node:path');
const {test} = require('node:test');
const {openPage} = require('./browser.js');
const {failure, folder, points, remora, writeFrames} = require('./footage.js');

const open = (file, options, prepare) =>
  openPage(file, {viewport: {width: 1100, height: 750}, acceptDownloads: true, ...options}, prepare, () => view.picture?.image);

// A page of `count` frames with the points nose, tail and fin.
async function openNew(count, options = {}, ...more) {
  const where = folder();
  const frames = writeFrames(where, count);
  remora(where, 'annotate', ...frames, '--names', 'nose,tail,fin', '-o', 'page.html');
  const page = await open(path.join(where, 'page.html'), options, ...more);
  return {where, page};
}

async function onScreen(page, [x, y]) {
  const box = await page.locator('#picture').boundingBox();
  const at = await page.evaluate(([a, b]) => view.toScreen({x: a, y: b}), [x, y]);
  return [box.x + at.x, box.y + at.y];
}

async function drag(page, from, to) {
  await page.mouse.move(...await onScreen(page, from));
  await page.mouse.down();
  await page.mouse.move(...await onScreen(page, [(from[0] + to[0]) / 2, (from[1] + to[1]) / 2]));
  await page.mouse.move(...await onScreen(page, to));
  await page.mouse.up();
}

async function save(page, where, name = 'saved.json') {
  const [download] = await Promise.all([page.waitForEvent('download'), page.keyboard.press('Control+s')]);
  await download.saveAs(path.join(where, name));
  return JSON.parse(fs.readFileSync(path.join(where, name), 'utf8'));
}

const frame = (page) => page.evaluate(() => footage[current].frame);
const progress = (page) => page.locator('#progress').innerText();
const notice = (page) => page.locator('#notice-text').textContent();

function assertNear(actual, expected, limit, what) {
  actual.slice(0, 2).forEach((value, i) => assert.ok(Math.abs(value - expected[i]) <= limit, `${what}: ${actual} is not ${expected}`));
}

test('points placed with the mouse on three frames train a model', async () => {
  const {where, page} = await openNew(3);
  for (const place of points(0)) await page.mouse.click(...await onScreen(page, place));
  await page.keyboard.press('.');
  // The first point is dragged to its place; the others come along and are right.
  await drag(page, points(0)[0], points(1)[0]);
  assert.equal(await page.locator('#points .guess').count(), 2);
  await page.keyboard.press('Enter');
  await page.keyboard.press('.');
  for (const id of [0, 1, 2]) {
    await page.locator('#points button').nth(id).click();
    await page.mouse.click(...await onScreen(page, points(2)[id]));
  }
  assert.match(await progress(page), /^3 of 3 done · not saved$/);
  const saved = await save(page, where);
  assert.deepEqual(saved.frames.map((f) => f.file), ['shot_0.pgm', 'shot_1.pgm', 'shot_2.pgm']);
  saved.frames.forEach((f, k) => f.positions.forEach((p, i) => assertNear(p, points(k)[i], 0.2, `frame ${k}, point ${i}`)));
  assert.equal(await progress(page), '3 of 3 done');
  remora(where, 'train', '--annotations', 'saved.json', '-o', 'model');
  const tracks = remora(where, 'track', 'model', 'shot_0.pgm', 'shot_1.pgm', 'shot_2.pgm');
  const last = tracks.trim().split('\n').slice(-3).map((line) => line.split(','));
  last.forEach((row, i) => {
    assert.equal(row[2], ['nose', 'tail', 'fin'][i]);
    assertNear([Number(row[3]), Number(row[4])], points(2)[i], 1, `tracked point ${i}`);
  });
  assert.deepEqual(page.troubles, []);
});

const hasFfmpeg = spawnSync('ffmpeg', ['-version']).status === 0;
test('frames of a video are annotated, and train by its name', {skip: !hasFfmpeg && 'there is no ffmpeg'}, async () => {
  const where = folder();
  writeFrames(where, 12);
  spawnSync('ffmpeg', ['-v', 'error', '-framerate', '10', '-i', 'shot_%d.pgm', '-crf', '10', '-pix_fmt', 'yuv420p', 'talk.mp4'], {cwd: where});
  remora(where, 'annotate', 'talk.mp4', '--at', '1,5,9', '--names', 'nose,tail,fin', '-o', 'talk.html');
  const page = await open(path.join(where, 'talk.html'));
  for (const k of [1, 5, 9]) {
    assert.equal(await frame(page), k);
    for (const id of [0, 1, 2]) {
      await page.locator('#points button').nth(id).click();
      await page.mouse.click(...await onScreen(page, points(k)[id]));
    }
    await page.keyboard.press('.');
  }
  const saved = await save(page, where, 'talk.json');
  assert.deepEqual(saved.frames.map((f) => [f.frame, f.file]), [[1, 'talk.mp4'], [5, 'talk.mp4'], [9, 'talk.mp4']]);
  remora(where, 'train', '--sequence', 'talk.mp4:0:talk.json', '-o', 'model');
  remora(where, 'train', '--annotations', 'talk.json', '-o', 'same');
  assert.deepEqual(fs.readFileSync(path.join(where, 'model/stage0.flp')), fs.readFileSync(path.join(where, 'same/stage0.flp')));
  assert.deepEqual(page.troubles, []);
});

test('the keyboard alone places, moves, marks, skips and saves', async () => {
  const {where, page} = await openNew(4);
  const press = async (...keys) => { for (const key of keys) await page.keyboard.press(key); };
  await press('Space');                                   // nose in the middle: 80, 60
  await press('ArrowRight', 'Shift+ArrowDown');           // tail: the middle, then 81, 70
  await press('j', 'ArrowLeft', 'Alt+ArrowUp');           // fin: 79, 59.9
  await press('h');
  await press('Enter', 'Enter', '.');                     // nothing to accept: frame 1, take all; frame 3
  assert.equal(await frame(page), 3);
  await press('j', 'm', ',');                             // frame 2
  assert.equal(await frame(page), 2);
  await press('s');
  await press('k', 'Delete', 'Control+z', 'Control+Shift+z', 'Control+z');
  const saved = await save(page, where);
  const [first, second, skipped, last] = saved.frames;
  const middle = await page.evaluate(() => middleOfView());
  assert.deepEqual(first.positions[0], [middle.x, middle.y]);
  assert.deepEqual(first.positions[1], [middle.x + 1, middle.y + 10]);
  assert.deepEqual(first.positions[2], [middle.x - 1, middle.y - 0.1, 'hidden']);
  assert.deepEqual(second.positions.map((p) => p.slice(0, 2)), first.positions.map((p) => p.slice(0, 2)));
  assert.equal(skipped.skipped, true);
  assert.equal(last.positions.filter((p) => p === 'missing').length, 1);
  assert.deepEqual(page.troubles, []);
});

test('work outlives a reload, undo takes it back, leaving asks', async () => {
  const {where, page} = await openNew(2);
  for (const place of points(0)) await page.mouse.click(...await onScreen(page, place));
  const asked = new Promise((resolve) => page.once('dialog', (dialog) => { resolve(dialog.type()); dialog.accept(); }));
  await page.reload();
  assert.equal(await asked, 'beforeunload');
  await page.waitForFunction(() => view.picture?.image);
  assert.match(await progress(page), /^1 of 2 done · not saved$/);
  await page.keyboard.press(',');
  await drag(page, points(0)[1], [100, 60]);
  await page.locator('#points button').nth(1).click();
  await page.locator('#name').fill('a, "tail"');
  assert.ok(await page.locator('#name.wrong').isVisible());
  await page.locator('#name').fill('Schwanz');
  await page.locator('#name').press('Enter');
  let saved = await save(page, where);
  assertNear(saved.frames[0].positions[1], [100, 60], 0.2, 'after the drag');
  assert.equal(saved.points[1].name, 'Schwanz');
  await page.keyboard.press('Control+z');
  await page.keyboard.press('Control+z');
  saved = await save(page, where);
  assertNear(saved.frames[0].positions[1], points(0)[1], 0.2, 'after undo');
  assert.equal(saved.points[1].name, 'tail');
  // Another browser goes on from the saved file.
  const other = await open(path.join(where, 'page.html'));
  await other.locator('#file').setInputFiles(path.join(where, 'saved.json'));
  await other.waitForFunction(() => work.stateOf(0) === 'done');
  assert.deepEqual((await save(other, where, 'again.json')).frames, saved.frames);
  assert.deepEqual(page.troubles.concat(other.troubles), []);
});

test('points can be made, joined and removed in the page', async () => {
  const where = folder();
  remora(where, 'annotate', ...writeFrames(where, 2), '-o', 'page.html');
  const page = await open(path.join(where, 'page.html'));
  for (const place of points(0)) await page.mouse.click(...await onScreen(page, place));
  await page.keyboard.press('a');
  await page.locator('#points button').first().click();
  await page.locator('#line').selectOption({label: 'point 3'});
  await page.locator('#points button').nth(1).click();
  await page.locator('#remove').click();
  const saved = await save(page, where);
  assert.deepEqual(saved.points.map((p) => p.name), ['point 1', 'point 3']);
  assert.deepEqual(saved.lines, [['point 1', 'point 3']]);
  assertNear(saved.frames[0].positions[1], points(0)[2], 0.2, 'the last point');
  assert.deepEqual(page.troubles, []);
});

test('names that hold HTML stay names', async () => {
  const where = folder();
  const name = (k) => `a<${k}/script><script>window.owned = 1;.pgm`.replace(/<\d/, '<');
  const evil = ['<img src=x onerror=owned=2>', '</script><script>owned=3;</script>', '&lt;<!--'];
  const frames = writeFrames(where, 2, (k) => k === 0 ? name(0) : '<img src=x onerror=owned=4>.pgm');
  remora(where, 'annotate', ...frames, '--names', evil.join(','), '-o', 'page.html');
  const page = await open(path.join(where, 'page.html'));
  for (const place of points(0)) await page.mouse.click(...await onScreen(page, place));
  await page.keyboard.press('.');
  assert.equal(await page.evaluate(() => window.owned), undefined);
  assert.equal(await page.locator('img, script[src], b').count(), 0);
  assert.deepEqual(await page.locator('#points .label').allTextContents(), evil);
  const saved = await save(page, where);
  assert.deepEqual(saved.points.map((p) => p.name), evil);
  assert.equal(saved.frames[0].file, frames[0]);
  remora(where, 'convert', 'saved.json', '-o', 'table.csv');
  assert.ok(fs.readFileSync(path.join(where, 'table.csv'), 'utf8').includes(evil[0]));
  assert.deepEqual(page.troubles, []);
});

test('fingers place, drag and zoom, and everything fits a phone', async () => {
  const {where, page} = await openNew(2, {viewport: {width: 400, height: 800}, hasTouch: true, isMobile: true});
  for (const place of points(0)) await page.touchscreen.tap(...await onScreen(page, place));
  const fingers = await page.context().newCDPSession(page);
  const touch = (type, ...places) => fingers.send('Input.dispatchTouchEvent', {type, touchPoints: places.map(([x, y], id) => ({x, y, id}))});
  const [x, y] = await onScreen(page, points(0)[0]);
  // A finger beside the point moves it by as much as it moves itself.
  await touch('touchStart', [x + 8, y + 8]);
  await touch('touchMove', [x + 28, y + 8]);
  assert.ok(await page.locator('#loupe').isVisible());
  await touch('touchMove', [x + 48, y + 8]);
  await touch('touchEnd');
  const scale = await page.evaluate(() => view.scale);
  await touch('touchStart', [150, 200], [250, 200]);
  await touch('touchMove', [100, 200], [300, 200]);
  await touch('touchEnd');
  assert.ok(Math.abs(await page.evaluate(() => view.scale) / scale - 2) < 0.1);
  const saved = await save(page, where);
  assertNear(saved.frames[0].positions[0], [points(0)[0][0] + 40 / scale, points(0)[0][1]], 0.3, 'dragged');
  assertNear(saved.frames[0].positions[2], points(0)[2], 0.3, 'tapped');
  assert.equal(saved.frames.length, 1);
  const wide = await page.evaluate(() => [...document.querySelectorAll('header *, main, aside, nav > *:not(#frames), #detail *')]
    .filter((e) => e.getBoundingClientRect().right > innerWidth + 0.5).map((e) => e.id || e.tagName));
  assert.deepEqual(wide, []);
  assert.deepEqual(page.troubles, []);
});

test('a browser without storage says so and saves all the same', async () => {
  const {where, page} = await openNew(1, {}, (p) => p.addInitScript(() => {
    Object.defineProperty(window, 'localStorage', {get() { throw new DOMException('denied', 'SecurityError'); }});
  }));
  assert.match(await notice(page), /keeps nothing.*save/);
  for (const place of points(0)) await page.mouse.click(...await onScreen(page, place));
  assert.equal((await save(page, where)).frames.length, 1);
  assert.deepEqual(page.troubles, []);
});

test('work and files of a later version are left alone', async () => {
  const {where, page} = await openNew(1);
  const key = await page.evaluate(() => store.key);
  const later = JSON.stringify({version: 99, work: {points: [], lines: [], frames: []}});
  await page.evaluate(([k, text]) => localStorage.setItem(k, text), [key, later]);
  await page.reload();
  await page.waitForFunction(() => view.picture?.image);
  assert.match(await notice(page), /later version/);
  for (const place of points(0)) await page.mouse.click(...await onScreen(page, place));
  assert.equal(await page.evaluate((k) => localStorage.getItem(k), key), later);
  const saved = await save(page, where);
  fs.writeFileSync(path.join(where, 'later.json'), JSON.stringify({...saved, version: 2}));
  await page.locator('#file').setInputFiles(path.join(where, 'later.json'));
  await page.waitForFunction(() => element('notice-text').textContent.includes('later.json'));
  assert.match(await notice(page), /version 2/);
  for (const [file, reason] of [['later.json', /later\.json is of version 2/], ['page.html', /page\.html is a page: open it/]]) {
    const {status, lines} = failure(where, 'train', '--annotations', file, '-o', 'model');
    assert.equal(status, 1);
    assert.equal(lines.length, 1);
    assert.match(lines[0], reason);
  }
  assert.ok(!fs.existsSync(path.join(where, 'model')));
  assert.deepEqual(page.troubles, []);
});

test('tracks are looked over, from the frame that is least sure on', async () => {
  const where = folder();
  const frames = writeFrames(where, 6);
  const rows = frames.flatMap((_, k) => points(k).map(([x, y], p) => {
    const isOff = k === 4 && p === 1;
    return `${k},${p},${['nose', 'tail', 'fin'][p]},${x + (isOff ? 9 : 0)},${y},${isOff ? 0.1 : 0.9},${isOff ? 'lost' : 'tracked'}`;
  }));
  fs.writeFileSync(path.join(where, 'tracks.csv'), ['frame,point,name,x,y,confidence,status', ...rows].join('\n') + '\n');
  remora(where, 'suggest', 'tracks.csv', ...frames, '-n', '2', '-o', 'next.csv');
  const [header, ...next] = fs.readFileSync(path.join(where, 'next.csv'), 'utf8').trim().split('\n');
  assert.equal(header, 'frame,confidence,why');
  assert.equal(next.length, 2);
  remora(where, 'annotate', ...frames, '--tracks', 'tracks.csv', '--suggested', 'next.csv', '-o', 'few.html');
  const few = await open(path.join(where, 'few.html'));
  assert.equal(await few.locator('#frames button').count(), 2);
  assert.match(await few.locator('#why').textContent(), /confidence/);

  remora(where, 'annotate', ...frames, '--tracks', 'tracks.csv', '-o', 'page.html');
  const page = await open(path.join(where, 'page.html'));
  assert.equal(await frame(page), 4);
  assert.equal(await page.locator('#points [aria-current] .label').textContent(), 'tail');
  const [x, y] = points(4)[1];
  await page.keyboard.press('Enter');
  assert.match(await notice(page), /lost/);
  await drag(page, [x + 9, y], [x, y]);
  await page.keyboard.press('l');
  assert.notEqual(await frame(page), 4);
  const saved = await save(page, where);
  assert.equal(saved.frames.length, 1);
  saved.frames[0].positions.forEach((p, i) => assertNear(p, points(4)[i], 0.2, `point ${i}`));
  // What was confirmed trains a model, and corrects its tracks.
  remora(where, 'train', '--annotations', 'saved.json', '-o', 'model');
  const tracks = remora(where, 'track', 'model', ...frames, '--corrections', 'saved.json');
  assert.match(tracks, new RegExp(`^4,1,tail,${saved.frames[0].positions[1][0].toFixed(4)}`, 'm'));
  assert.deepEqual(page.troubles.concat(few.troubles), []);
});
