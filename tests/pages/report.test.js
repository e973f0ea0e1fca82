'use strict';
// The page of remora evaluate --report in a real browser, on a desk and on a phone.
const assert = require('node:assert/strict');
const fs = require('node:fs');
const path = require('node:path');
const {test} = require('node:test');
const {openPage} = require('./browser.js');
const {folder, points, remora} = require('./footage.js');

const NAMES = ['nose', 'tail', '<img src=x onerror=alert(1)>'];
const FRAMES = 40;

// Tracks that stray from what is known in frame 20, where the tail is lost.
function writeTables(where) {
  let tracks = 'frame,point,name,x,y,confidence,status\n', known = 'frame,point,name,x,y\n';
  for (let k = 0; k < FRAMES; ++k) {
    points(k).forEach(([x, y], p) => {
      const lost = k === 20 && p === 1;
      tracks += `${k},${p},${NAMES[p]},${x + (lost ? 30 : 0.1)},${y},${lost ? 0 : 0.95},${lost ? 'lost' : 'tracked'}\n`;
      known += `${k},${p},${NAMES[p]},${x},${y}\n`;
    });
  }
  fs.writeFileSync(path.join(where, 'tracks.csv'), tracks);
  fs.writeFileSync(path.join(where, 'known.csv'), known);
}

async function openReport(viewport, ...more) {
  const where = folder();
  writeTables(where);
  remora(where, 'evaluate', 'tracks.csv', '--report', 'report.html', ...more);
  return openPage(path.join(where, 'report.html'), {viewport}, undefined, () => document.querySelector('.chart svg'));
}

const titles = (page) => page.locator('h2').allInnerTexts();

for (const viewport of [{width: 1400, height: 900}, {width: 400, height: 800}]) {
  test(`the whole report fits ${viewport.width} pixels`, async () => {
    const page = await openReport(viewport, '--truth', 'known.csv', '--trained', '0-39/8');
    assert.deepEqual(await titles(page), ['Over time', 'Error of each point over time', 'Cumulative error', 'Can confidence be believed?', 'Groups', 'Points', 'Worst frames', 'Paths']);
    const [figure] = await page.locator('.figure').filter({hasText: 'farther off than 5 px'}).allInnerTexts();
    assert.match(figure, /^0\.83 %/);
    assert.match(await page.locator('figcaption').first().innerText(), /^frame 20: mean error 10\.\d+ px/);
    const wide = await page.evaluate(() => document.documentElement.scrollWidth);
    assert.ok(wide <= viewport.width, `${wide} pixels wide`);
    for (const drawing of await page.locator('.chart svg').all()) {
      const box = await drawing.boundingBox();
      assert.ok(box.width > 150 && box.x + box.width <= viewport.width, `${box.x} + ${box.width}`);
    }
    assert.equal(await page.locator('img').count(), 0, 'a name became an element');
    assert.deepEqual(page.troubles, []);
  });
}

test('a point that is chosen gets curves of its own, by mouse and by keyboard', async () => {
  const page = await openReport({width: 1000, height: 800}, '--truth', 'known.csv');
  const curves = () => page.locator('.chart').first().locator('path').count();
  const before = await curves();
  await page.locator('.row').nth(1).click();
  assert.equal(await curves(), before + 1);
  await page.locator('.row').nth(0).focus();
  await page.keyboard.press('Enter');
  assert.equal(await curves(), before + 2);
  assert.equal(await page.evaluate(() => document.activeElement.getAttribute('aria-pressed')), 'true', 'the focus has moved');
  await page.locator('.row').nth(1).click();
  assert.equal(await curves(), before + 1);
  await page.locator('.chart svg').first().hover();
  const tip = await page.locator('.tip').first().innerText();
  assert.match(tip, /^frame \d+\nmean 0\.10 px\nworst 0\.10 px\nnose 0\.10 px$/);
  assert.deepEqual(page.troubles, []);
});

test('without known positions the report shows what tracking says of itself', async () => {
  const page = await openReport({width: 1000, height: 800});
  assert.deepEqual(await titles(page), ['Over time', 'Confidence of each point over time', 'Frames of least confidence', 'Paths']);
  assert.match(await page.locator('figcaption').first().innerText(), /^frame 20: mean confidence 0\.63/);
  assert.deepEqual(page.troubles, []);
});
