// Pixels at several sizes, and their colours for the screen.

/** @typedef {import('./formats/failure.js').Pixels} Pixels */

/** The longest side that is computed while a person drags a slider. */
export const PREVIEW_SIDE = 1600;

/**
 * A picture at falling sizes: level n is 2^n times smaller. Levels may be missing.
 * @typedef {{levels: (Pixels | undefined)[]}} Layer
 */

/** Half the size, each pixel the mean of four. @param {Pixels} pixels @returns {Pixels} */
export function halve({ data, width, height, channels }) {
  const w = Math.max(1, width >> 1), h = Math.max(1, height >> 1);
  const out = new /** @type {any} */ (data.constructor)(w * h * channels);
  const right = width > 1 ? channels : 0, below = height > 1 ? width * channels : 0;
  for (let y = 0, to = 0; y < h; y++) {
    for (let x = 0, from = 2 * y * width * channels; x < w; x++, from += 2 * channels) {
      for (let c = 0; c < channels; c++, to++) {
        const i = from + c;
        out[to] = (data[i] + data[i + right] + data[i + below] + data[i + right + below] + 2) >> 2;
      }
    }
  }
  return { data: out, width: w, height: h, channels };
}

/** The level that previews are computed on. @param {number} width @param {number} height */
export function previewLevel(width, height) {
  let level = 0;
  while (Math.max(width, height) >> level > PREVIEW_SIDE) level++;
  return level;
}

/** All levels from the whole down to the smallest that is worth keeping. @param {Pixels} pixels @returns {Pixels[]} */
export function pyramid(pixels) {
  const levels = [pixels];
  for (let level = previewLevel(pixels.width, pixels.height); level > 0; level--) levels.push(halve(levels[levels.length - 1]));
  return levels;
}

/** How the stored axes run when a picture of this EXIF orientation is shown. @param {number} orientation */
export function turn(orientation) {
  return {
    sideways: orientation >= 5,
    flipX: [2, 3, 7, 8].includes(orientation),
    flipY: [3, 4, 6, 7].includes(orientation),
  };
}

/** @param {Pixels} pixels @param {number} orientation @returns {Pixels} */
export function turnUpright({ data, width, height, channels }, orientation) {
  if (orientation === 1) return { data, width, height, channels };
  const { sideways, flipX, flipY } = turn(orientation);
  const [w, h] = sideways ? [height, width] : [width, height];
  const out = new /** @type {any} */ (data.constructor)(data.length);
  for (let y = 0, to = 0; y < h; y++) {
    for (let x = 0; x < w; x++) {
      const u = sideways ? y : x, v = sideways ? x : y;
      const from = ((flipY ? height - 1 - v : v) * width + (flipX ? width - 1 - u : u)) * channels;
      for (let c = 0; c < channels; c++) out[to++] = data[from + c];
    }
  }
  return { data: out, width: w, height: h, channels };
}

/**
 * A part of upright pixels as a canvas shows them. `lattice` has 64 nodes an axis and carries colours from the
 * photograph's profile to the screen's; between nodes the difference is added as it is, which errs by less than a level.
 * @param {Pixels} pixels
 * @param {number} left @param {number} top @param {number} width @param {number} height
 * @param {Uint8ClampedArray | undefined} lattice
 * @returns {ImageData}
 */
export function forScreen({ data, width: stride, channels }, left, top, width, height, lattice) {
  const image = new ImageData(width, height), out = image.data;
  const shift = data instanceof Uint16Array ? 8 : 0;
  const colour = channels > 2, alpha = channels === 2 || channels === 4;
  const green = colour ? 1 : 0, blue = colour ? 2 : 0;
  for (let y = 0, to = 0; y < height; y++) {
    let from = ((top + y) * stride + left) * channels;
    for (let x = 0; x < width; x++, from += channels, to += 4) {
      const r = data[from] >> shift, g = data[from + green] >> shift, b = data[from + blue] >> shift;
      if (lattice) {
        const i = r >> 2, j = g >> 2, k = b >> 2, at = ((k << 12) | (j << 6) | i) << 2;
        out[to] = lattice[at] + r - (i * 255) / 63;
        out[to + 1] = lattice[at + 1] + g - (j * 255) / 63;
        out[to + 2] = lattice[at + 2] + b - (k * 255) / 63;
      } else {
        out[to] = r;
        out[to + 1] = g;
        out[to + 2] = b;
      }
      out[to + 3] = alpha ? data[from + channels - 1] >> shift : 255;
    }
  }
  return image;
}

/**
 * How often each level occurs in red, green and blue, from at most some hundred thousand pixels.
 * @param {Pixels} pixels
 */
export function histogram({ data, width, height, channels }) {
  const counts = [0, 1, 2].map(() => new Uint32Array(256));
  const shift = data instanceof Uint16Array ? 8 : 0, colour = channels > 2;
  const every = Math.max(1, Math.floor((width * height) / 200000)) * channels;
  for (let i = 0; i + channels <= data.length; i += every) {
    for (let c = 0; c < 3; c++) counts[c][data[i + (colour ? c : 0)] >> shift]++;
  }
  return counts;
}
