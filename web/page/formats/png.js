// PNG read and written here, because browsers drop 16 bits, multiply colours by alpha and convert profiles.
import { PhotoFailure, checkSize } from './failure.js';

/** @typedef {import('./failure.js').Pixels} Pixels */
/** @typedef {import('./failure.js').Metadata} Metadata */

const SIGNATURE = [0x89, 0x50, 0x4e, 0x47, 0x0d, 0x0a, 0x1a, 0x0a];
const CHANNELS_OF_TYPE = [1, 0, 3, 1, 2, 0, 4];
const ADAM7 = [[0, 0, 8, 8], [4, 0, 8, 8], [0, 4, 4, 8], [2, 0, 4, 4], [0, 2, 2, 4], [1, 0, 2, 2], [0, 1, 1, 2]];

const CRC = new Uint32Array(256).map((_, n) => {
  for (let k = 0; k < 8; k++) n = n & 1 ? 0xedb88320 ^ (n >>> 1) : n >>> 1;
  return n;
});

/** @param {Uint8Array} bytes @param {number} [crc] */
function crc32(bytes, crc = 0) {
  crc = ~crc;
  for (let i = 0; i < bytes.length; i++) crc = CRC[(crc ^ bytes[i]) & 255] ^ (crc >>> 8);
  return ~crc >>> 0;
}

/** @param {Uint8Array} bytes */
export function isPng(bytes) {
  return SIGNATURE.every((byte, i) => bytes[i] === byte);
}

/** @param {Uint8Array} bytes @param {number} most */
async function inflate(bytes, most) {
  const stream = new Blob([/** @type {Uint8Array<ArrayBuffer>} */ (bytes)]).stream().pipeThrough(new DecompressionStream('deflate'));
  const reader = stream.getReader();
  const parts = [];
  for (let size = 0; ; ) {
    const { done, value } = await reader.read();
    if (done) break;
    parts.push(value);
    size += value.length;
    if (size > most) throw new PhotoFailure('damaged');
  }
  return new Uint8Array(await new Blob(/** @type {BlobPart[]} */ (parts)).arrayBuffer());
}

/** @param {Uint8Array} bytes */
function* chunks(bytes) {
  const view = new DataView(bytes.buffer, bytes.byteOffset, bytes.byteLength);
  for (let at = 8; ; ) {
    if (at + 12 > bytes.length) throw new PhotoFailure('damaged');
    const length = view.getUint32(at);
    if (length > bytes.length - at - 12) throw new PhotoFailure('damaged');
    const type = String.fromCharCode(...bytes.subarray(at + 4, at + 8));
    const critical = (bytes[at + 4] & 32) === 0;
    if (critical && crc32(bytes.subarray(at + 4, at + 8 + length)) !== view.getUint32(at + 8 + length)) {
      throw new PhotoFailure('damaged');
    }
    yield { type, body: bytes.subarray(at + 8, at + 8 + length) };
    if (type === 'IEND') return;
    at += 12 + length;
  }
}

/** @param {Uint8Array} row @param {Uint8Array} above @param {number} filter @param {number} step bytes from pixel to pixel */
function unfilter(row, above, filter, step) {
  const n = row.length;
  if (filter === 1) {
    for (let i = step; i < n; i++) row[i] += row[i - step];
  } else if (filter === 2) {
    for (let i = 0; i < n; i++) row[i] += above[i];
  } else if (filter === 3) {
    for (let i = 0; i < n; i++) row[i] += ((i < step ? 0 : row[i - step]) + above[i]) >> 1;
  } else if (filter === 4) {
    for (let i = 0; i < step && i < n; i++) row[i] += above[i];
    for (let i = step; i < n; i++) row[i] += paeth(row[i - step], above[i], above[i - step]);
  } else if (filter !== 0) {
    throw new PhotoFailure('damaged');
  }
}

/** @param {number} a left @param {number} b above @param {number} c above left */
function paeth(a, b, c) {
  const pa = Math.abs(b - c), pb = Math.abs(a - c), pc = Math.abs(a + b - 2 * c);
  return pa <= pb && pa <= pc ? a : pb <= pc ? b : c;
}

/**
 * @param {Uint8Array} bytes
 * @returns {Promise<{pixels: Pixels, metadata: Metadata}>}
 */
export async function readPng(bytes) {
  /** @type {Metadata} */
  const metadata = {};
  /** @type {Uint8Array[]} */
  const data = [];
  let width = 0, height = 0, depth = 0, type = 0, interlaced = false;
  /** @type {Uint8Array | undefined} */
  let palette;
  /** @type {Uint8Array | undefined} */
  let transparency;
  for (const chunk of chunks(bytes)) {
    const view = new DataView(chunk.body.buffer, chunk.body.byteOffset, chunk.body.byteLength);
    if (chunk.type === 'IHDR') {
      if (chunk.body.length !== 13) throw new PhotoFailure('damaged');
      width = view.getUint32(0);
      height = view.getUint32(4);
      [depth, type] = [chunk.body[8], chunk.body[9]];
      interlaced = chunk.body[12] === 1;
      const allowed = type === 0 ? [1, 2, 4, 8, 16] : type === 3 ? [1, 2, 4, 8] : [8, 16];
      if (!CHANNELS_OF_TYPE[type] || !allowed.includes(depth) || chunk.body[12] > 1) throw new PhotoFailure('damaged');
      checkSize(width, height);
    } else if (width === 0) {
      throw new PhotoFailure('damaged');
    } else if (chunk.type === 'PLTE') {
      palette = chunk.body;
    } else if (chunk.type === 'tRNS') {
      transparency = chunk.body;
    } else if (chunk.type === 'IDAT') {
      data.push(chunk.body);
    } else if (chunk.type === 'pHYs' && chunk.body.length === 9 && chunk.body[8] === 1) {
      metadata.perMetre = { x: view.getUint32(0), y: view.getUint32(4) };
    } else if (chunk.type === 'eXIf') {
      metadata.exif = chunk.body.slice();
    } else if (chunk.type === 'iCCP') {
      const zero = chunk.body.indexOf(0);
      // A profile that cannot be read costs the colours nothing but their name.
      if (zero > 0) metadata.icc = await inflate(chunk.body.subarray(zero + 2), 16e6).catch(() => undefined);
    }
  }
  if (data.length === 0 || (type === 3 && !palette)) throw new PhotoFailure('damaged');

  const stored = CHANNELS_OF_TYPE[type];
  const keyed = transparency !== undefined && (type === 0 || type === 2 || type === 3);
  const channels = (type === 3 ? 3 : stored) + (keyed ? 1 : 0);
  const count = width * height * channels;
  const out = depth === 16 ? new Uint16Array(count) : new Uint8Array(count);
  const put = expander({ depth, type, stored, channels, palette, transparency }, out);
  const passes = interlaced ? ADAM7 : [[0, 0, 1, 1]];
  const rows = new RowReader(data, Math.max(1, (stored * depth) >> 3));
  try {
    for (const [x, y, dx, dy] of passes) {
      const across = Math.ceil((width - x) / dx), down = Math.ceil((height - y) / dy);
      if (across <= 0 || down <= 0) continue;
      rows.startPass(Math.ceil((across * stored * depth) / 8));
      for (let row = 0; row < down; row++) put(await rows.next(), across, (y + row * dy) * width + x, dx);
    }
  } catch {
    throw new PhotoFailure('damaged');
  } finally {
    rows.close();
  }
  return { pixels: { data: out, width, height, channels }, metadata };
}

// Filtered rows out of the compressed stream, one at a time, so that the picture is in memory only once.
class RowReader {
  /** @param {Uint8Array[]} data @param {number} step */
  constructor(data, step) {
    const stream = new Blob(/** @type {BlobPart[]} */ (data)).stream().pipeThrough(new DecompressionStream('deflate'));
    this.reader = stream.getReader();
    this.step = step;
    this.block = new Uint8Array(0);
    this.at = 0;
    this.row = this.above = new Uint8Array(0);
  }

  /** @param {number} length */
  startPass(length) {
    this.row = new Uint8Array(length);
    this.above = new Uint8Array(length);
  }

  async next() {
    [this.row, this.above] = [this.above, this.row];
    const filter = this.at < this.block.length ? this.block[this.at++] : await this.byte();
    for (let filled = 0; filled < this.row.length; ) {
      if (this.at === this.block.length) await this.refill();
      const part = this.block.subarray(this.at, this.at + this.row.length - filled);
      this.row.set(part, filled);
      filled += part.length;
      this.at += part.length;
    }
    unfilter(this.row, this.above, filter, this.step);
    return this.row;
  }

  async byte() {
    await this.refill();
    return this.block[this.at++];
  }

  async refill() {
    do {
      const { done, value } = await this.reader.read();
      if (done) throw new PhotoFailure('damaged');
      this.block = value;
      this.at = 0;
    } while (this.block.length === 0);
  }

  close() {
    this.reader.cancel().catch(() => {});
  }
}

/**
 * How a row of the file becomes samples: the function writes `across` pixels from `to` on, `dx` pixels apart.
 * @param {{depth: number, type: number, stored: number, channels: number, palette?: Uint8Array, transparency?: Uint8Array}} how
 * @param {Uint8Array | Uint16Array} out
 * @returns {(row: Uint8Array, across: number, to: number, dx: number) => void}
 */
function expander({ depth, type, stored, channels, palette, transparency }, out) {
  if (depth === 8 && channels === stored && type !== 3) {
    return (row, across, to, dx) => {
      if (dx === 1) return out.set(row, to * channels);
      for (let i = 0; i < across; i++) {
        for (let c = 0; c < channels; c++) out[(to + i * dx) * channels + c] = row[i * channels + c];
      }
    };
  }
  const most = 2 ** depth - 1;
  const key = [0, 2, 4].map((i) => (transparency && type !== 3 ? (transparency[i] << 8) | transparency[i + 1] : -1));
  /** @param {Uint8Array} row @param {number} i */
  const sample = (row, i) => {
    if (depth === 8) return row[i];
    if (depth === 16) return (row[2 * i] << 8) | row[2 * i + 1];
    return (row[(i * depth) >> 3] >> (8 - depth - ((i * depth) & 7))) & most;
  };
  return (row, across, to, dx) => {
    for (let i = 0; i < across; i++) {
      const at = (to + i * dx) * channels;
      if (type === 3) {
        const entry = sample(row, i);
        if (!palette || 3 * entry + 2 >= palette.length) throw new PhotoFailure('damaged');
        for (let c = 0; c < 3; c++) out[at + c] = palette[3 * entry + c];
        if (channels === 4) out[at + 3] = transparency?.[entry] ?? 255;
        continue;
      }
      let matches = true;
      for (let c = 0; c < stored; c++) {
        const value = sample(row, i * stored + c);
        matches &&= value === key[c];
        out[at + c] = depth < 8 ? (value * 255) / most : value;
      }
      if (channels > stored) out[at + stored] = matches ? 0 : depth === 16 ? 65535 : 255;
    }
  };
}

/** @param {string} type @param {...Uint8Array} parts @returns {Uint8Array[]} */
function chunk(type, ...parts) {
  const head = new Uint8Array(8), tail = new Uint8Array(4);
  new DataView(head.buffer).setUint32(0, parts.reduce((sum, part) => sum + part.length, 0));
  for (let i = 0; i < 4; i++) head[4 + i] = type.charCodeAt(i);
  new DataView(tail.buffer).setUint32(0, parts.reduce((crc, part) => crc32(part, crc), crc32(head.subarray(4))));
  return [head, ...parts, tail];
}

/** @param {Uint8Array} bytes */
async function deflate(bytes) {
  const stream = new Blob([/** @type {Uint8Array<ArrayBuffer>} */ (bytes)]).stream().pipeThrough(new CompressionStream('deflate'));
  return new Uint8Array(await new Response(stream).arrayBuffer());
}

// Filters one row, choosing the filter whose differences are smallest in sum, as the format's authors advise.
/** @param {Uint8Array} row @param {Uint8Array} above @param {number} step @param {Uint8Array[]} trial @param {Uint8Array} out */
function filterRow(row, above, step, trial, out) {
  const n = row.length;
  const [sub, up, pae] = trial;
  let sumSub = 0, sumUp = 0, sumPae = 0;
  for (let i = 0; i < n; i++) {
    const x = row[i], a = i < step ? 0 : row[i - step], b = above[i], c = i < step ? 0 : above[i - step];
    const s = (sub[i] = x - a), u = (up[i] = x - b), p = (pae[i] = x - paeth(a, b, c));
    sumSub += Math.abs((s << 24) >> 24);
    sumUp += Math.abs((u << 24) >> 24);
    sumPae += Math.abs((p << 24) >> 24);
  }
  const least = Math.min(sumSub, sumUp, sumPae);
  const filter = least === sumPae ? 4 : least === sumUp ? 2 : 1;
  out[0] = filter;
  out.set(filter === 4 ? pae : filter === 2 ? up : sub, 1);
}

/**
 * @param {Pixels} pixels
 * @param {Metadata} metadata
 * @returns {Promise<Blob>}
 */
export async function writePng({ data, width, height, channels }, metadata = {}) {
  const wide = data instanceof Uint16Array;
  const header = new Uint8Array(13);
  const view = new DataView(header.buffer);
  view.setUint32(0, width);
  view.setUint32(4, height);
  header.set([wide ? 16 : 8, [0, 0, 4, 2, 6][channels]], 8);
  const parts = [new Uint8Array(SIGNATURE), ...chunk('IHDR', header)];
  if (metadata.icc) {
    const name = new TextEncoder().encode('profile\0\0');
    parts.push(...chunk('iCCP', name, await deflate(metadata.icc)));
  }
  if (metadata.perMetre) {
    const body = new Uint8Array(9);
    new DataView(body.buffer).setUint32(0, Math.round(metadata.perMetre.x));
    new DataView(body.buffer).setUint32(4, Math.round(metadata.perMetre.y));
    body[8] = 1;
    parts.push(...chunk('pHYs', body));
  }
  if (metadata.exif) parts.push(...chunk('eXIf', metadata.exif));

  const step = channels * (wide ? 2 : 1), length = width * step;
  let row = new Uint8Array(length), above = new Uint8Array(length);
  const trial = [0, 1, 2].map(() => new Uint8Array(length));
  const compression = new CompressionStream('deflate');
  const collected = (async () => {
    const reader = compression.readable.getReader();
    for (;;) {
      const { done, value } = await reader.read();
      if (done) return;
      parts.push(...chunk('IDAT', value));
    }
  })();
  const writer = compression.writable.getWriter();
  const atOnce = Math.max(1, Math.floor(1e6 / length));
  for (let y = 0; y < height; ) {
    const rows = Math.min(atOnce, height - y);
    const block = new Uint8Array(rows * (length + 1));
    for (let i = 0; i < rows; i++, y++) {
      const from = data.subarray(y * width * channels, (y + 1) * width * channels);
      if (wide) {
        for (let k = 0; k < from.length; k++) {
          row[2 * k] = from[k] >> 8;
          row[2 * k + 1] = from[k];
        }
      } else {
        row.set(from);
      }
      filterRow(row, above, step, trial, block.subarray(i * (length + 1), (i + 1) * (length + 1)));
      [row, above] = [above, row];
    }
    await writer.write(block);
  }
  await writer.close();
  await collected;
  parts.push(...chunk('IEND'));
  return new Blob(/** @type {BlobPart[]} */ (parts), { type: 'image/png' });
}
