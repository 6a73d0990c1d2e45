// The chunks of a WebP file that carry what is known about the picture.
import { PhotoFailure } from './failure.js';

/** @typedef {import('./failure.js').Metadata} Metadata */

/** @param {Uint8Array} bytes */
export function isWebp(bytes) {
  return name(bytes, 0) === 'RIFF' && name(bytes, 8) === 'WEBP';
}

/** @param {Uint8Array} bytes @param {number} at */
function name(bytes, at) {
  return String.fromCharCode(...bytes.subarray(at, at + 4));
}

/** @param {Uint8Array} bytes */
function* chunks(bytes) {
  const view = new DataView(bytes.buffer, bytes.byteOffset, bytes.byteLength);
  for (let at = 12; at + 8 <= bytes.length; ) {
    const length = view.getUint32(at + 4, true);
    if (length > bytes.length - at - 8) throw new PhotoFailure('damaged');
    yield { type: name(bytes, at), body: bytes.subarray(at + 8, at + 8 + length) };
    at += 8 + length + (length & 1);
  }
}

/**
 * @param {Uint8Array} bytes
 * @returns {{width: number, height: number, alpha: boolean, metadata: Metadata}}
 */
export function readWebpHeader(bytes) {
  /** @type {Metadata} */
  const metadata = {};
  let width = 0, height = 0, alpha = false;
  for (const { type, body } of chunks(bytes)) {
    const word = (/** @type {number} */ at) => body[at] | (body[at + 1] << 8) | (body[at + 2] << 16);
    if (type === 'VP8X') {
      [width, height] = [word(4) + 1, word(7) + 1];
      alpha = (body[0] & 16) !== 0;
    } else if (type === 'VP8L' && width === 0) {
      const bits = word(1) + body[4] * 2 ** 24;
      [width, height] = [(bits & 0x3fff) + 1, (Math.floor(bits / 2 ** 14) & 0x3fff) + 1];
      alpha = (body[4] & 16) !== 0;
    } else if (type === 'VP8 ' && width === 0) {
      [width, height] = [(body[6] | (body[7] << 8)) & 0x3fff, (body[8] | (body[9] << 8)) & 0x3fff];
    } else if (type === 'ICCP') {
      metadata.icc = body.slice();
    } else if (type === 'EXIF') {
      metadata.exif = name(body, 0) === 'Exif' ? body.slice(6) : body.slice();
    }
  }
  return { width, height, alpha, metadata };
}

/** @param {string} type @param {Uint8Array} body */
function chunk(type, body) {
  const whole = new Uint8Array(8 + body.length + (body.length & 1));
  for (let i = 0; i < 4; i++) whole[i] = type.charCodeAt(i);
  new DataView(whole.buffer).setUint32(4, body.length, true);
  whole.set(body, 8);
  return whole;
}

/**
 * The file with its own metadata replaced.
 * @param {Uint8Array} bytes
 * @param {Metadata} metadata
 */
export function withWebpMetadata(bytes, metadata) {
  if (!metadata.icc && !metadata.exif) return bytes;
  const { width, height, alpha } = readWebpHeader(bytes);
  const header = new Uint8Array(10);
  header[0] = (metadata.icc ? 32 : 0) | (alpha ? 16 : 0) | (metadata.exif ? 8 : 0);
  const view = new DataView(header.buffer);
  view.setUint32(4, (width - 1) & 0xffffff, true);
  view.setUint16(7, (height - 1) & 0xffff, true);
  header[9] = (height - 1) >> 16;
  const parts = [chunk('VP8X', header)];
  if (metadata.icc) parts.push(chunk('ICCP', metadata.icc));
  for (const { type, body } of chunks(bytes)) {
    if (['VP8 ', 'VP8L', 'ALPH', 'ANIM', 'ANMF'].includes(type)) parts.push(chunk(type, body));
  }
  if (metadata.exif) parts.push(chunk('EXIF', metadata.exif));
  const size = parts.reduce((sum, part) => sum + part.length, 4);
  const whole = new Uint8Array(8 + size);
  for (let i = 0; i < 4; i++) whole[i] = 'RIFF'.charCodeAt(i);
  new DataView(whole.buffer).setUint32(4, size, true);
  for (let i = 0; i < 4; i++) whole[8 + i] = 'WEBP'.charCodeAt(i);
  let at = 12;
  for (const part of parts) {
    whole.set(part, at);
    at += part.length;
  }
  return whole;
}
