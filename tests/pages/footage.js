'use strict';
// Small footage whose points are known, and the program that is under test.
const {execFileSync, spawnSync} = require('node:child_process');
const fs = require('node:fs');
const os = require('node:os');
const path = require('node:path');

const program = process.env.REMORA_PROGRAM;
const width = 160, height = 120;

// A folder that goes when the tests end.
function folder() {
  const name = fs.mkdtempSync(path.join(os.tmpdir(), 'remora-pages-'));
  process.on('exit', () => fs.rmSync(name, {recursive: true, force: true}));
  return name;
}

// Where the three points of frame k are.
function points(k) {
  return [[50 + 2 * k, 40 + k], [90 + 2 * k, 45 + k], [65 + 2 * k, 80 + k]];
}

// A frame of smooth texture that moves as its points do.
function picture(k) {
  const pixels = Buffer.alloc(width * height);
  for (let y = 0; y < height; ++y) {
    for (let x = 0; x < width; ++x) {
      const u = x - 2 * k, v = y - k;
      const value = 120 + 40 * Math.sin(u / 5.1 + 1.7 * Math.sin(v / 9)) + 40 * Math.sin(v / 4.3 + 1.3 * Math.sin(u / 11)) + 20 * Math.sin((u + 2 * v) / 3.1);
      pixels[y * width + x] = Math.max(0, Math.min(255, Math.round(value)));
    }
  }
  return Buffer.concat([Buffer.from(`P5\n${width} ${height}\n255\n`), pixels]);
}

// Writes frames, and returns their names, relative to the folder.
function writeFrames(where, count, name = (k) => `shot_${k}.pgm`) {
  return Array.from({length: count}, (_, k) => {
    fs.mkdirSync(path.dirname(path.join(where, name(k))), {recursive: true});
    fs.writeFileSync(path.join(where, name(k)), picture(k));
    return name(k);
  });
}

function remora(where, ...parameters) {
  return execFileSync(program, parameters, {cwd: where, encoding: 'utf8', stdio: ['ignore', 'pipe', 'pipe']});
}

// What a command that must fail says, and how it ends.
function failure(where, ...parameters) {
  const {status, stderr} = spawnSync(program, parameters, {cwd: where, encoding: 'utf8'});
  return {status, lines: stderr.trim().split('\n')};
}

module.exports = {failure, folder, points, remora, writeFrames};
