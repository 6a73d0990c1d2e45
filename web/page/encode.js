// From pixels to the bytes of a file. Runs in a worker.
import { uprightExif } from './formats/exif.js';
import { PhotoFailure } from './formats/failure.js';
import { withJpegMetadata } from './formats/jpeg.js';
import { writePng } from './formats/png.js';
import { withWebpMetadata } from './formats/webp.js';
import { turnUpright } from './picture.js';

/** @typedef {import('./formats/failure.js').Pixels} Pixels */
/** @typedef {import('./formats/failure.js').Metadata} Metadata */
/** @typedef {{format: string, quality: number, keep: boolean}} FileOptions */

/**
 * @param {Pixels} stored
 * @param {Metadata} about
 * @param {number} orientation
 * @param {FileOptions} options
 * @returns {Promise<Blob>}
 */
export async function encode(stored, about, orientation, { format, quality, keep }) {
  const pixels = turnUpright(stored, orientation);
  /** @type {Metadata} */
  const metadata = keep ? { ...about, exif: about.exif && uprightExif(about.exif) } : {};
  const turned = orientation >= 5 && metadata.perMetre;
  if (turned) metadata.perMetre = { x: turned.y, y: turned.x };
  // A profile of colours says nothing about grey samples, and the other way round.
  const profileOf = metadata.icc && String.fromCharCode(...metadata.icc.subarray(16, 20));
  if (profileOf && (profileOf === 'GRAY') !== pixels.channels < 3) delete metadata.icc;
  if (format === 'png') return writePng(pixels, metadata);

  const canvas = new OffscreenCanvas(pixels.width, pixels.height);
  const context = canvas.getContext('2d');
  if (!context) throw new PhotoFailure('memory');
  const image = toRgba(pixels, format === 'webp');
  context.putImageData(image, 0, 0);
  const type = format === 'jpg' ? 'image/jpeg' : 'image/webp';
  const blob = await canvas.convertToBlob({ type, quality: quality / 100 });
  if (blob.type !== type) throw new PhotoFailure('memory');
  const bytes = new Uint8Array(await blob.arrayBuffer());
  const changed = format === 'jpg' ? withJpegMetadata(bytes, metadata) : withWebpMetadata(bytes, metadata);
  return new Blob([/** @type {Uint8Array<ArrayBuffer>} */ (changed)], { type });
}

/** 16 bits are rounded, as the command does. @param {Pixels} pixels @param {boolean} keepAlpha */
function toRgba({ data, width, height, channels }, keepAlpha) {
  const image = new ImageData(width, height), out = image.data;
  const wide = data instanceof Uint16Array, colour = channels > 2;
  const at = wide ? (/** @type {number} */ i) => ((data[i] + 128) / 257) | 0 : (/** @type {number} */ i) => data[i];
  for (let i = 0, from = 0; i < out.length; i += 4, from += channels) {
    for (let c = 0; c < 3; c++) out[i + c] = at(from + (colour ? c : 0));
    out[i + 3] = keepAlpha && channels % 2 === 0 ? at(from + channels - 1) : 255;
  }
  return image;
}
