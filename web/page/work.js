// The chain applied without holding up the page: at once on a small copy, and, once nothing changes, at full size.
import { load } from '../engine/zel.js';
import { PhotoFailure } from './formats/failure.js';
import { previewLevel, turnUpright } from './picture.js';

/** @typedef {import('./formats/failure.js').Pixels} Pixels */
/** @typedef {import('./picture.js').Layer} Layer */
/** @typedef {import('./open.js').Photo & {preview: Pixels, shown: Pixels[]}} OpenPhoto */

// A preview that takes longer than this is given up when the next one is wanted.
const PATIENCE = 200;
const IDLE = 350;

/** @type {{worker: () => Worker, module: (vectors: boolean) => Promise<WebAssembly.Module>} | undefined} */
let built;

/** The single file carries worker and modules inside and says here how to reach them. @param {typeof built} given */
export function useBuilt(given) {
  built = given;
}

function makeWorker() {
  return built ? built.worker() : new Worker('worker.js');
}

/** @type {Promise<WebAssembly.Module> | undefined} */
let compiled;

async function compile(/** @type {boolean} */ vectors) {
  if (built) return built.module(vectors);
  const answer = await fetch(vectors ? 'zel-vectors.wasm' : 'zel.wasm');
  return WebAssembly.compile(await answer.arrayBuffer());
}

/** An engine in a worker of its own. */
export function engine() {
  return load({ worker: makeWorker, module: (vectors) => (compiled ??= compile(vectors)) });
}

/**
 * One task in a worker that ends with it, so that all its memory comes back.
 * @param {string} name
 * @param {any[]} args
 * @param {AbortSignal} [signal]
 * @returns {Promise<any>}
 */
export function once(name, args, signal) {
  const worker = makeWorker();
  return new Promise((resolve, reject) => {
    signal?.addEventListener('abort', () => reject(signal.reason));
    worker.onmessage = ({ data: { result, error } }) => {
      if (error) reject(new PhotoFailure(error.key, error.values));
      else resolve(result);
    };
    worker.onerror = () => reject(new PhotoFailure('memory'));
    worker.postMessage({ id: 0, name, args });
  }).finally(() => worker.terminate());
}

/**
 * The whole chain on a whole picture, in a worker that ends with it.
 * @param {Pixels} pixels
 * @param {string} words
 * @param {import('../engine/zel.js').ApplyOptions} options
 * @returns {Promise<{pixels: Pixels, notes: string[]}>}
 */
export async function applyWhole(pixels, words, options) {
  if (words === '') return { pixels, notes: [] };
  const zel = await engine();
  try {
    const { data, width, height } = pixels;
    const result = await zel.apply(data, width, height, words, options);
    return { pixels: { data: result.pixels, width, height, channels: result.channels }, notes: result.notes };
  } finally {
    zel.close();
  }
}

/** Places given in pixels of the whole picture, for a copy that is smaller. @param {string} words @param {number} level */
export function wordsAtLevel(words, level) {
  return words.replace(/\b(at|rect)=(\S+)/g, (_, name, value) => {
    const parts = value.split(',').map((/** @type {string} */ part) => (part.endsWith('%') ? part : String(Math.floor(Number(part) / 2 ** level))));
    return `${name}=${parts.join(',')}`;
  });
}

export class Renderer {
  /** @type {OpenPhoto | undefined} */
  #photo;
  /** @type {Promise<import('../engine/zel.js').Zel> | undefined} */
  #zel;
  #words = '';
  #done = '';
  #running = false;
  #started = 0;
  #abort = new AbortController();
  /** @type {AbortController | undefined} */
  #whole;
  #timer = 0;
  /** The full-size result, when there is one, and the words that made it. @type {{words: string, pixels: Pixels, notes: string[]} | undefined} */
  result;

  /** @param {{shown: (layer: Layer, isWhole: boolean, notes: string[]) => void, progress: (done: number) => void, failed: (error: any) => void}} tell */
  constructor(tell) {
    this.tell = tell;
  }

  /** @param {OpenPhoto | undefined} photo @param {string} words */
  show(photo, words) {
    this.stop();
    this.#abort.abort();
    this.#zel?.then((zel) => zel.close());
    this.#zel = undefined;
    this.#photo = photo;
    this.result = undefined;
    this.#done = '\0';
    this.request(words);
  }

  /** The latest request wins. @param {string} words */
  request(words) {
    this.#words = words;
    this.stop();
    if (!this.#photo) return;
    if (this.#running && performance.now() - this.#started > PATIENCE) this.#abort.abort();
    if (!this.#running) this.#run();
    const done = this.#done === words && this.result?.words !== words;
    if (done && !this.#running && words !== '' && previewLevel(this.#photo.pixels.width, this.#photo.pixels.height) > 0) {
      this.#later(this.#photo, words);
    }
  }

  /** Gives up the full-size result that is being computed. */
  stop() {
    clearTimeout(this.#timer);
    this.#whole?.abort();
    this.#whole = undefined;
  }

  async #run() {
    this.#running = true;
    while (this.#photo && this.#done !== this.#words) {
      const photo = this.#photo, words = this.#words;
      const level = previewLevel(photo.pixels.width, photo.pixels.height);
      this.#abort = new AbortController();
      this.#started = performance.now();
      try {
        if (words === '') {
          this.tell.shown({ levels: photo.shown }, true, []);
          this.result = { words, pixels: photo.pixels, notes: [] };
        } else {
          const { layer, notes } = await this.#preview(photo, words, level);
          if (photo !== this.#photo) continue;
          this.tell.shown(layer, level === 0, notes);
          if (level > 0 && words === this.#words) this.#later(photo, words);
        }
        this.#done = words;
      } catch (error) {
        if (this.#abort.signal.aborted || photo !== this.#photo) continue;
        this.#done = words;
        if (words === this.#words) this.tell.failed(error);
      }
    }
    this.#running = false;
  }

  /** @param {OpenPhoto} photo @param {string} words @param {number} level */
  async #preview(photo, words, level) {
    const zel = await (this.#zel ??= engine());
    const { data, width, height } = photo.preview;
    const options = { signal: this.#abort.signal, orientation: photo.orientation };
    const { pixels, channels, notes } = await zel.apply(data, width, height, wordsAtLevel(words, level), options);
    const small = { data: pixels, width, height, channels };
    if (level === 0) this.result = { words, pixels: small, notes };
    /** @type {(Pixels | undefined)[]} */
    const levels = [];
    levels[level] = turnUpright(small, photo.orientation);
    return { layer: { levels }, notes };
  }

  /** @param {OpenPhoto} photo @param {string} words */
  #later(photo, words) {
    clearTimeout(this.#timer);
    this.#timer = window.setTimeout(async () => {
      const whole = (this.#whole = new AbortController());
      try {
        const result = await this.whole(photo, words, this.tell.progress, whole.signal);
        const levels = await once('levels', [result.pixels, photo.orientation], whole.signal);
        if (whole.signal.aborted) return;
        this.result = { words, ...result };
        this.tell.shown({ levels }, true, result.notes);
      } catch (error) {
        if (!whole.signal.aborted) this.tell.failed(error);
      }
    }, IDLE);
  }

  /**
   * @param {OpenPhoto} photo @param {string} words @param {(done: number) => void} progress @param {AbortSignal} signal
   */
  whole(photo, words, progress, signal) {
    return applyWhole(photo.pixels, words, { progress, signal, orientation: photo.orientation });
  }
}
