// Every kind of PNG, read as the native tool's library reads it.
import assert from 'node:assert/strict';
import { writeFileSync } from 'node:fs';
import { test } from 'node:test';
import zlib from 'node:zlib';
import { readPng, writePng } from '../page/formats/png.js';
import { inFolder, pixelsOf, zel as tool } from './support.js';

const WIDTH = 37, HEIGHT = 23;
const PASSES = [[0, 0, 8, 8], [4, 0, 8, 8], [0, 4, 4, 8], [2, 0, 4, 4], [0, 2, 2, 4], [1, 0, 2, 2], [0, 1, 1, 2]];

/** @param {string} type @param {Buffer} body */
function chunk(type, body) {
  const whole = Buffer.alloc(12 + body.length);
  whole.writeUInt32BE(body.length);
  whole.write(type, 4);
  body.copy(whole, 8);
  let crc = ~0;
  for (const byte of whole.subarray(4, -4)) {
    crc ^= byte;
    for (let k = 0; k < 8; k++) crc = crc & 1 ? (crc >>> 1) ^ 0xedb88320 : crc >>> 1;
  }
  whole.writeUInt32BE(~crc >>> 0, whole.length - 4);
  return whole;
}

// Random bytes under random filters are a valid picture, and show every mistake.
/** @param {number} type @param {number} depth @param {boolean} interlaced @param {boolean} transparent */
function drawPng(type, depth, interlaced, transparent) {
  let seed = type * 100 + depth;
  const random = () => (seed = (seed * 1103515245 + 12345) & 0x7fffffff) >> 16;
  const channels = [1, 0, 3, 1, 2, 0, 4][type];
  const rows = [];
  for (const [x, y, dx, dy] of interlaced ? PASSES : [[0, 0, 1, 1]]) {
    const across = Math.ceil((WIDTH - x) / dx), down = Math.ceil((HEIGHT - y) / dy);
    for (let row = 0; row < down; row++) {
      rows.push(Buffer.from([random() % 5, ...Array.from({ length: Math.ceil((across * channels * depth) / 8) }, () => random() & 255)]));
    }
  }
  const header = Buffer.alloc(13);
  header.writeUInt32BE(WIDTH);
  header.writeUInt32BE(HEIGHT, 4);
  header.set([depth, type, 0, 0, interlaced ? 1 : 0], 8);
  const parts = [Buffer.from('89504e470d0a1a0a', 'hex'), chunk('IHDR', header)];
  if (type === 3) parts.push(chunk('PLTE', Buffer.from(Array.from({ length: 3 * 2 ** depth }, () => random() & 255))));
  if (transparent) parts.push(chunk('tRNS', Buffer.from(type === 3 ? [0, 100, 200].slice(0, 2 ** depth) : type === 0 ? [0, 1] : [0, 1, 0, 2, 0, 3])));
  return Buffer.concat([...parts, chunk('IDAT', zlib.deflateSync(Buffer.concat(rows))), chunk('IEND', Buffer.alloc(0))]);
}

test('every colour type, depth, filter and interlacing is read as the tool reads it', async () => {
  /** @type {[number, number[]][]} */
  const kinds = [[0, [1, 2, 4, 8, 16]], [2, [8, 16]], [3, [1, 2, 4, 8]], [4, [8, 16]], [6, [8, 16]]];
  for (const [type, depths] of kinds) {
    for (const depth of depths) {
      for (const [interlaced, transparent] of [[false, false], [true, type < 4]]) {
        const bytes = drawPng(type, depth, interlaced, transparent);
        writeFileSync(inFolder('drawn.png'), bytes);
        tool('drawn.png', '-o', 'native.png', '--overwrite', 'contrast');
        assert.deepEqual((await readPng(bytes)).pixels, await pixelsOf('native.png'), `type ${type}, ${depth} bits, ${interlaced ? 'interlaced, transparent' : 'plain'}`);
      }
    }
  }
});

test('16 bits, profile, camera data and resolution come back as they were written', async () => {
  for (const channels of [1, 2, 3, 4]) {
    const data = Uint16Array.from({ length: 50 * 30 * channels }, (_, i) => (i * 40503) & 65535);
    const metadata = { icc: new Uint8Array(3000).map((_, i) => i * i), exif: new Uint8Array([1, 2, 3]), perMetre: { x: 11811, y: 5906 } };
    const pixels = { data, width: 50, height: 30, channels };
    const blob = await writePng(pixels, metadata);
    assert.deepEqual(await readPng(new Uint8Array(await blob.arrayBuffer())), { pixels, metadata });
  }
});
