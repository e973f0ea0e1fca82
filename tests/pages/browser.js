'use strict';
// Pages in a real browser.
const {after, before} = require('node:test');
const {pathToFileURL} = require('node:url');
const {chromium} = require('playwright-core');

let browser;
before(async () => {
  browser = await chromium.launch({
    executablePath: process.env.REMORA_BROWSER,
    args: ['--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run', '--disable-background-networking', '--disable-component-update', '--disable-sync'],
  });
});
after(() => browser.close());

// Opens a page and waits until it `isReady`. Its `troubles` are errors in it, and whatever it asks the
// network for.
async function openPage(file, options, prepare = async () => {}, isReady = () => true) {
  const context = await browser.newContext(options);
  const page = await context.newPage();
  page.troubles = [];
  page.on('pageerror', (error) => page.troubles.push(error.message));
  page.on('console', (message) => message.type() === 'error' && page.troubles.push(message.text()));
  page.on('request', (request) => /^(file|data|blob):/.test(request.url()) || page.troubles.push(request.url()));
  await prepare(page);
  await page.goto(pathToFileURL(file).href);
  await page.waitForFunction(isReady);
  return page;
}

module.exports = {openPage};
