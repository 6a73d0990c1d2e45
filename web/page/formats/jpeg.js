// The segments of a JPEG file that carry what is known about the picture.
import { PhotoFailure } from './failure.js';

/** @typedef {import('./failure.js').Metadata} Metadata */

const EXIF = 'Exif\0\0', ICC = 'ICC_PROFILE\0', JFIF = 'JFIF\0';

/** @param {Uint8Array} bytes */
export function isJpeg(bytes) {
  return bytes[0] === 0xff && bytes[1] === 0xd8 && bytes[2] === 0xff;
}

/** @param {Uint8Array} body @param {string} text */
function startsWith(body, text) {
  for (let i = 0; i < text.length; i++) if (body[i] !== text.charCodeAt(i)) return false;
  return true;
}

/** Segments up to the first scan. @param {Uint8Array} bytes */
function* segments(bytes) {
  for (let at = 2; at + 4 <= bytes.length; ) {
    if (bytes[at] !== 0xff) throw new PhotoFailure('damaged');
    const marker = bytes[at + 1];
    if (marker === 0xff) {
      at++;
      continue;
    }
    const length = (bytes[at + 2] << 8) | bytes[at + 3];
    if (length < 2 || at + 2 + length > bytes.length) throw new PhotoFailure('damaged');
    yield { marker, at, end: at + 2 + length, body: bytes.subarray(at + 4, at + 2 + length) };
    if (marker === 0xda) return;
    at += 2 + length;
  }
  throw new PhotoFailure('damaged');
}

/**
 * @param {Uint8Array} bytes
 * @returns {{width: number, height: number, components: number, metadata: Metadata}}
 */
export function readJpegHeader(bytes) {
  /** @type {Metadata} */
  const metadata = {};
  /** @type {Uint8Array[]} */
  const profile = [];
  let width = 0, height = 0, components = 0;
  for (const { marker, body } of segments(bytes)) {
    if (marker >= 0xc0 && marker <= 0xcf && ![0xc4, 0xc8, 0xcc].includes(marker)) {
      [height, width, components] = [(body[1] << 8) | body[2], (body[3] << 8) | body[4], body[5]];
    } else if (marker === 0xe0 && startsWith(body, JFIF) && body.length >= 12 && (body[7] === 1 || body[7] === 2)) {
      const scale = body[7] === 1 ? 1 / 0.0254 : 100;
      metadata.perMetre = { x: ((body[8] << 8) | body[9]) * scale, y: ((body[10] << 8) | body[11]) * scale };
    } else if (marker === 0xe1 && startsWith(body, EXIF)) {
      metadata.exif ??= body.slice(EXIF.length);
    } else if (marker === 0xe2 && startsWith(body, ICC)) {
      profile[body[ICC.length]] = body.subarray(ICC.length + 2);
    }
  }
  const parts = profile.filter(Boolean);
  if (parts.length > 0) metadata.icc = join(parts);
  return { width, height, components, metadata };
}

/** @param {Uint8Array[]} parts */
function join(parts) {
  const whole = new Uint8Array(parts.reduce((sum, part) => sum + part.length, 0));
  let at = 0;
  for (const part of parts) {
    whole.set(part, at);
    at += part.length;
  }
  return whole;
}

/** @param {number} marker @param {string} name @param {Uint8Array} body */
function segment(marker, name, body) {
  const length = 2 + name.length + body.length;
  const head = [0xff, marker, length >> 8, length & 255, ...[...name].map((c) => c.charCodeAt(0))];
  return join([new Uint8Array(head), body]);
}

/**
 * The file with its own metadata replaced.
 * @param {Uint8Array} bytes
 * @param {Metadata} metadata
 */
export function withJpegMetadata(bytes, metadata) {
  const parts = [bytes.subarray(0, 2)];
  const inch = metadata.perMetre && { x: metadata.perMetre.x * 0.0254, y: metadata.perMetre.y * 0.0254 };
  const [x, y] = inch ? [Math.round(inch.x), Math.round(inch.y)] : [1, 1];
  const fits = inch && x > 0 && x < 65536 && y > 0 && y < 65536;
  const density = fits ? [1, x >> 8, x & 255, y >> 8, y & 255] : [0, 0, 1, 0, 1];
  parts.push(segment(0xe0, JFIF, new Uint8Array([1, 1, ...density, 0, 0])));
  // One segment holds at most 64 KiB; a longer EXIF block is all thumbnail and maker's notes.
  if (metadata.exif && metadata.exif.length < 65500) parts.push(segment(0xe1, EXIF, metadata.exif));
  if (metadata.icc) {
    const most = 65500, count = Math.ceil(metadata.icc.length / most);
    for (let i = 0; i < count && count < 256; i++) {
      const part = metadata.icc.subarray(i * most, (i + 1) * most);
      parts.push(segment(0xe2, ICC, join([new Uint8Array([i + 1, count]), part])));
    }
  }
  let rest = 2;
  for (const { marker, at, end } of segments(bytes)) {
    if (marker < 0xe0 || marker > 0xe2) parts.push(bytes.subarray(at, end));
    rest = end;
  }
  parts.push(bytes.subarray(rest));
  return join(parts);
}

/**
 * The file marked as upright, so that a decoder hands out the pixels as they are stored.
 * @param {Uint8Array} bytes
 * @param {(tiff: Uint8Array) => Uint8Array} change
 */
export function withChangedExif(bytes, change) {
  const copy = bytes.slice();
  for (const { marker, body } of segments(copy)) {
    if (marker === 0xe1 && startsWith(body, EXIF)) body.set(change(body.subarray(EXIF.length)), EXIF.length);
  }
  return copy;
}
