/**
 * A fault with a picture that a person is told about. `key` names its sentence in the word files, `values` what to put
 * into it.
 */
export class PhotoFailure extends Error {
  /** @param {string} key @param {Record<string, string | number>} [values] */
  constructor(key, values = {}) {
    super(key);
    this.key = key;
    this.values = values;
  }
}

/** More would not fit into the memory that browsers give one page. */
export const MOST_PIXELS = 100e6;

/** @param {number} width @param {number} height */
export function checkSize(width, height) {
  if (!(width > 0 && height > 0)) throw new PhotoFailure('damaged');
  if (width * height > MOST_PIXELS) {
    throw new PhotoFailure('tooLarge', { width, height, million: Math.round((width * height) / 1e6), most: MOST_PIXELS / 1e6 });
  }
}

/**
 * Pixels as they are computed with: rows without gaps, red first. One channel is grey, two grey and alpha, three colour,
 * four colour and alpha; 16 bits come as Uint16Array.
 * @typedef {{data: Uint8Array | Uint16Array, width: number, height: number, channels: number}} Pixels
 */

/**
 * What a file says about its picture. `exif` is a TIFF block, `icc` a profile, `perMetre` the resolution.
 * @typedef {{exif?: Uint8Array, icc?: Uint8Array, perMetre?: {x: number, y: number}}} Metadata
 */
