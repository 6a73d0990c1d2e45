// The few facts of an EXIF block that a saved picture depends on. The block is a TIFF file without pixels.

/** @param {Uint8Array} tiff @returns {{view: DataView, little: boolean, entries: number, count: number} | undefined} */
function firstDirectory(tiff) {
  if (tiff.length < 14) return undefined;
  const view = new DataView(tiff.buffer, tiff.byteOffset, tiff.byteLength);
  const little = tiff[0] === 0x49;
  const at = view.getUint32(4, little);
  if (at + 2 > tiff.length) return undefined;
  const count = view.getUint16(at, little);
  if (at + 2 + 12 * count + 4 > tiff.length) return undefined;
  return { view, little, entries: at + 2, count };
}

/** @param {NonNullable<ReturnType<typeof firstDirectory>>} directory @param {number} tag */
function entry({ view, little, entries, count }, tag) {
  for (let i = 0; i < count; i++) {
    if (view.getUint16(entries + 12 * i, little) === tag) return entries + 12 * i;
  }
  return -1;
}

/** From 1, upright, to 8. @param {Uint8Array | undefined} tiff */
export function orientationOf(tiff) {
  const directory = tiff && firstDirectory(tiff);
  const at = directory ? entry(directory, 0x0112) : -1;
  const value = directory && at >= 0 ? directory.view.getUint16(at + 8, directory.little) : 1;
  return value >= 1 && value <= 8 ? value : 1;
}

/** In pixels a metre; undefined where nothing is said. @param {Uint8Array | undefined} tiff */
export function resolutionOf(tiff) {
  const directory = tiff && firstDirectory(tiff);
  if (!directory) return undefined;
  const { view, little } = directory;
  const rational = (/** @type {number} */ tag) => {
    const at = entry(directory, tag), from = at < 0 ? Infinity : view.getUint32(at + 8, little);
    return from + 8 <= view.byteLength ? view.getUint32(from, little) / view.getUint32(from + 4, little) : NaN;
  };
  const unit = entry(directory, 0x0128);
  const scale = unit >= 0 && view.getUint16(unit + 8, little) === 3 ? 100 : 1 / 0.0254;
  const [x, y] = [rational(0x011a) * scale, rational(0x011b) * scale];
  return x > 0 && y > 0 && Number.isFinite(x + y) ? { x, y } : undefined;
}

/**
 * The block for a picture whose pixels now stand upright: orientation 1, and no thumbnail, which would show the old
 * picture.
 * @param {Uint8Array} tiff
 */
export function uprightExif(tiff) {
  const copy = tiff.slice();
  const directory = firstDirectory(copy);
  if (!directory) return copy;
  const { view, little, entries, count } = directory;
  const at = entry(directory, 0x0112);
  if (at >= 0) view.setUint16(at + 8, 1, little);
  const next = view.getUint32(entries + 12 * count, little);
  view.setUint32(entries + 12 * count, 0, little);
  if (next > 0 && next + 2 <= copy.length) {
    const second = { view, little, entries: next + 2, count: view.getUint16(next, little) };
    if (second.entries + 12 * second.count > copy.length) return copy;
    const start = entry(second, 0x0201), length = entry(second, 0x0202);
    if (start >= 0 && length >= 0) {
      const from = view.getUint32(start + 8, little), size = view.getUint32(length + 8, little);
      if (from <= copy.length && size <= copy.length - from) copy.fill(0, from, from + size);
    }
  }
  return copy;
}
