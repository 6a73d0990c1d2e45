// Everything that takes longer than a frame: the engine, reading and writing files.
import { serve } from '../engine/worker-port.js';
import { encode } from './encode.js';
import { PhotoFailure } from './formats/failure.js';
import { openPhoto } from './open.js';
import { pyramid, turnUpright } from './picture.js';

const scope = /** @type {any} */ (globalThis);
const engine = serve((message, transfer) => scope.postMessage(message, transfer));

/** @type {Record<string, (...args: any[]) => any>} */
const TASKS = {
  async open(/** @type {Blob} */ file) {
    const photo = await openPhoto(new Uint8Array(await file.arrayBuffer()));
    const levels = pyramid(photo.pixels);
    return {
      ...photo,
      preview: levels[levels.length - 1],
      shown: levels.map((level) => turnUpright(level, photo.orientation)),
    };
  },
  levels(/** @type {any} */ pixels, /** @type {number} */ orientation) {
    return pyramid(turnUpright(pixels, orientation));
  },
  encode,
};

scope.onmessage = async (/** @type {MessageEvent} */ { data }) => {
  const task = TASKS[data.name];
  if (!task) return engine(data);
  try {
    const result = await task(...data.args);
    scope.postMessage({ id: data.id, result }, buffersIn(result));
  } catch (error) {
    const failure = error instanceof PhotoFailure ? error : new PhotoFailure('memory');
    scope.postMessage({ id: data.id, error: { message: failure.key, key: failure.key, values: failure.values } });
  }
};

// Pixels move to the other side instead of being copied.
/** @param {any} value @param {Set<Transferable>} [found] @returns {Transferable[]} */
function buffersIn(value, found = new Set()) {
  if (ArrayBuffer.isView(value)) found.add(/** @type {ArrayBuffer} */ (value.buffer));
  else if (value && typeof value === 'object' && !(value instanceof Blob)) Object.values(value).forEach((part) => buffersIn(part, found));
  return [...found];
}
