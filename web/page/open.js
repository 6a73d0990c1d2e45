// From the bytes of a file to pixels as they are stored in it, with what the file says about them. Runs in a worker.
import { orientationOf, resolutionOf, uprightExif } from './formats/exif.js';
import { PhotoFailure, checkSize } from './formats/failure.js';
import { isJpeg, readJpegHeader, withChangedExif } from './formats/jpeg.js';
import { isPng, readPng, writePng } from './formats/png.js';
import { isWebp, readWebpHeader } from './formats/webp.js';

/** @typedef {import('./formats/failure.js').Pixels} Pixels */
/** @typedef {import('./formats/failure.js').Metadata} Metadata */
/** @typedef {{pixels: Pixels, metadata: Metadata, orientation: number, lattice?: Uint8ClampedArray}} Photo */

// The decoders must neither convert the profile nor multiply by alpha: both lose levels for good.
const AS_STORED = /** @type {ImageBitmapOptions} */ ({ colorSpaceConversion: 'none', premultiplyAlpha: 'none' });

/** @param {Uint8Array} bytes @returns {Promise<Photo>} */
export async function openPhoto(bytes) {
  if (bytes.length === 0) throw new PhotoFailure('empty');
  const { pixels, metadata } = await read(bytes);
  metadata.perMetre ??= resolutionOf(metadata.exif);
  return { pixels, metadata, orientation: orientationOf(metadata.exif), lattice: await screenLattice(metadata.icc) };
}

/** @param {Uint8Array} bytes @returns {Promise<{pixels: Pixels, metadata: Metadata}>} */
async function read(bytes) {
  if (isPng(bytes)) return readPng(bytes);
  if (isJpeg(bytes)) {
    const { width, height, components, metadata } = readJpegHeader(bytes);
    checkSize(width, height);
    if (components === 4) throw new PhotoFailure('cmyk');
    const stored = orientationOf(metadata.exif) === 1 ? bytes : withChangedExif(bytes, uprightExif);
    return { pixels: await decode(stored, 'image/jpeg', components === 1 ? 1 : 3), metadata };
  }
  if (isWebp(bytes)) {
    const { width, height, alpha, metadata } = readWebpHeader(bytes);
    checkSize(width, height);
    const pixels = await decode(bytes, 'image/webp', alpha ? 4 : 3);
    // What turns a WebP file is not agreed on: some browsers do. Pixels come as shown, so nothing is left to turn.
    if (metadata.exif) metadata.exif = uprightExif(metadata.exif);
    return { pixels, metadata };
  }
  return { pixels: await decode(bytes, '', 0), metadata: {} };
}

/** @param {Uint8Array} bytes @param {string} type @param {number} channels 0: as many as it has */
async function decode(bytes, type, channels) {
  const blob = new Blob([/** @type {Uint8Array<ArrayBuffer>} */ (bytes)], { type });
  let bitmap;
  try {
    bitmap = await createImageBitmap(blob, AS_STORED);
  } catch {
    throw new PhotoFailure(type ? 'damaged' : 'notPicture');
  }
  const { width, height } = bitmap;
  checkSize(width, height);
  const rgba = (channels === 0 || channels === 4) ? readWithAlpha(bitmap) : readOpaque(bitmap);
  bitmap.close();
  const opaque = channels === 0 && isOpaque(rgba);
  return { data: pick(rgba, opaque ? 3 : channels || 4), width, height, channels: opaque ? 3 : channels || 4 };
}

/** @param {ImageBitmap} bitmap */
function readOpaque(bitmap) {
  const { width, height } = bitmap;
  const canvas = new OffscreenCanvas(width, height);
  const context = canvas.getContext('2d', { willReadFrequently: true });
  if (!context) throw new PhotoFailure('memory');
  context.drawImage(bitmap, 0, 0);
  return context.getImageData(0, 0, width, height).data;
}

// A 2D canvas keeps colours multiplied by alpha, so that those under full transparency are lost; a texture keeps them.
/** @param {ImageBitmap} bitmap */
function readWithAlpha(bitmap) {
  const { width, height } = bitmap;
  const gl = new OffscreenCanvas(1, 1).getContext('webgl2');
  if (!gl || Math.max(width, height) > gl.getParameter(gl.MAX_TEXTURE_SIZE)) return readOpaque(bitmap);
  gl.bindTexture(gl.TEXTURE_2D, gl.createTexture());
  gl.pixelStorei(gl.UNPACK_PREMULTIPLY_ALPHA_WEBGL, false);
  gl.pixelStorei(gl.UNPACK_COLORSPACE_CONVERSION_WEBGL, gl.NONE);
  gl.texImage2D(gl.TEXTURE_2D, 0, gl.RGBA, gl.RGBA, gl.UNSIGNED_BYTE, bitmap);
  gl.bindFramebuffer(gl.FRAMEBUFFER, gl.createFramebuffer());
  gl.framebufferTexture2D(gl.FRAMEBUFFER, gl.COLOR_ATTACHMENT0, gl.TEXTURE_2D, gl.getParameter(gl.TEXTURE_BINDING_2D), 0);
  const rgba = new Uint8ClampedArray(width * height * 4);
  gl.readPixels(0, 0, width, height, gl.RGBA, gl.UNSIGNED_BYTE, rgba);
  gl.getExtension('WEBGL_lose_context')?.loseContext();
  return rgba;
}

/** @param {Uint8ClampedArray} rgba */
function isOpaque(rgba) {
  for (let i = 3; i < rgba.length; i += 4) if (rgba[i] !== 255) return false;
  return true;
}

/** @param {Uint8ClampedArray} rgba @param {number} channels */
function pick(rgba, channels) {
  if (channels === 4) return new Uint8Array(rgba.buffer);
  const out = new Uint8Array((rgba.length / 4) * channels);
  for (let from = 0, to = 0; from < rgba.length; from += 4) {
    for (let c = 0; c < channels; c++) out[to++] = rgba[from + c];
  }
  return out;
}

/**
 * What the browser makes of every colour of a profile, as a lattice of 64 nodes an axis; undefined when nothing visible.
 * @param {Uint8Array | undefined} icc
 */
async function screenLattice(icc) {
  // Only profiles of red, green and blue, as their header says, can belong to such a picture.
  if (!icc || String.fromCharCode(...icc.subarray(16, 20)) !== 'RGB ') return undefined;
  const data = new Uint8Array(64 ** 3 * 3);
  for (let i = 0; i < 64 ** 3; i++) {
    for (let c = 0; c < 3; c++) data[3 * i + c] = Math.round((((i >> (6 * c)) & 63) * 255) / 63);
  }
  try {
    const nodes = await writePng({ data, width: 512, height: 512, channels: 3 }, { icc });
    const lattice = readOpaque(await createImageBitmap(nodes));
    const changes = lattice.some((value, i) => i % 4 < 3 && Math.abs(value - data[(i >> 2) * 3 + (i % 4)]) > 2);
    return changes ? lattice : undefined;
  } catch {
    return undefined;
  }
}
