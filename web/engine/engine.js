// The WebAssembly module and the conversions between its memory and JavaScript. Everything here is synchronous.

/** @typedef {Uint8Array | Uint8ClampedArray | Uint16Array} Samples */
/** @typedef {{data: Samples, width: number, height: number, orientation?: number}} Picture */
/** @typedef {Record<string, Function> & {memory: WebAssembly.Memory}} Exports */

const CANCELLED = -21, NEEDS_COLOUR = -25;
const POSITION = 2, STEP = 1, GREY = 5, TEXT = 24, NOTES = 536;

/** A refusal in a sentence for people. `code` is one of zel.h and zel_chain.h; `step` counts operations from 0. */
export class ZelError extends Error {
  /** @param {string} message @param {{code?: number, step?: number, position?: number}} [where] */
  constructor(message, { code = 0, step = -1, position = -1 } = {}) {
    super(message);
    this.name = 'ZelError';
    this.code = code;
    this.step = step;
    this.position = position;
  }
}

// A function that adds two vectors: only an engine with 128-bit vectors takes it.
const VECTOR_PROBE = new Uint8Array([
  0, 97, 115, 109, 1, 0, 0, 0, 1, 5, 1, 96, 0, 1, 123, 3, 2, 1, 0, 10, 10, 1, 8, 0, 65, 0, 253, 15, 253, 98, 11,
]);

export const hasVectors = () => WebAssembly.validate(VECTOR_PROBE);

/** @param {Picture} picture */
export function channelsOf({ data, width, height }) {
  const channels = data.length / (width * height);
  if (!(Number.isInteger(width) && Number.isInteger(height) && width > 0 && height > 0 && [1, 2, 3, 4].includes(channels))) {
    throw new ZelError(`${data.length} samples are not 1 to 4 for each of ${width} x ${height} pixels`);
  }
  return channels;
}

export class Engine {
  /** @type {(done: number) => boolean} */
  #progress = () => false;
  /** @type {Exports} */
  #wasm;

  /** @param {WebAssembly.Module} module */
  constructor(module) {
    const NO_SUCH_FILE = 44;
    // The module asks a system for files (there are none) and for an end (it has none).
    const system = new Proxy({}, { get: (_, name) => (name === 'proc_exit' ? this.#died : () => NO_SUCH_FILE) });
    const env = new Proxy({}, { get: (_, name) => (name === 'emscripten_notify_memory_growth' ? () => {} : () => -NO_SUCH_FILE) });
    const instance = new WebAssembly.Instance(module, {
      wasi_snapshot_preview1: system,
      env,
      zel: { progress: (/** @type {number} */ done) => (this.#progress(done) ? 1 : 0) },
    });
    this.#wasm = /** @type {Exports} */ (/** @type {unknown} */ (instance.exports));
    this.#wasm._initialize?.();
    this.table = JSON.parse(this.#text(this.#wasm.table()));
  }

  #died() {
    throw new ZelError('does not fit into memory');
  }

  #bytes() {
    return new Uint8Array(this.#wasm.memory.buffer);
  }

  /** @param {number} at */
  #text(at) {
    const bytes = this.#bytes(), from = at >>> 0;
    return new TextDecoder().decode(bytes.slice(from, bytes.indexOf(0, from)));
  }

  /** @param {number} size */
  #allocate(size) {
    const at = this.#wasm.allocate(Math.max(size, 1)) >>> 0;
    if (at === 0) throw new ZelError('does not fit into memory', { code: -22 });
    return at;
  }

  /** @param {ArrayLike<number> & ArrayBufferView} data */
  #copyIn(data) {
    const at = this.#allocate(data.byteLength);
    this.#bytes().set(new Uint8Array(data.buffer, data.byteOffset, data.byteLength), at);
    return at;
  }

  /** @template {Samples} T @param {number} at @param {T} like @param {number} length @returns {T} */
  #copyOut(at, like, length) {
    const copy = /** @type {T} */ (new /** @type {any} */ (like.constructor)(length));
    new Uint8Array(copy.buffer).set(this.#bytes().subarray(at, at + copy.byteLength));
    return copy;
  }

  /** Throws what the report says. @returns {never} */
  #refuse() {
    const at = this.#wasm.report() >>> 0;
    const numbers = new Int32Array(this.#wasm.memory.buffer, at, 6);
    throw new ZelError(this.#text(at + TEXT), { code: numbers[0], step: numbers[STEP], position: numbers[POSITION] });
  }

  #notes() {
    return this.#text((this.#wasm.report() >>> 0) + NOTES).split('\n').filter(Boolean);
  }

  /** @template T @param {string | object} chain @param {(chain: number) => T} use @returns {T} */
  #withChain(chain, use) {
    const isRecipe = typeof chain !== 'string' || /^\s*\{/.test(chain);
    const text = new TextEncoder().encode(typeof chain === 'string' ? chain : JSON.stringify(chain));
    const at = this.#copyIn(text);
    const parsed = this.#wasm.parse(at, text.length, isRecipe ? 1 : 0);
    this.#wasm.release(at);
    if (!parsed) this.#refuse();
    try {
      return use(parsed);
    } finally {
      this.#wasm.free_chain(parsed);
    }
  }

  /** @param {number} chain */
  #describe(chain) {
    return {
      words: this.#text(this.#wasm.words(chain)),
      recipe: JSON.parse(this.#text(this.#wasm.recipe(chain))),
      steps: JSON.parse(this.#text(this.#wasm.describe(chain))),
    };
  }

  /** @param {string | object} chain */
  parse(chain) {
    return this.#withChain(chain, (parsed) => this.#describe(parsed));
  }

  /**
   * @param {Picture} picture
   * @param {string | object} chain
   * @param {(done: number) => boolean} progress answers whether to stop
   * @returns {{data: Samples, channels: number, notes: string[]}}
   */
  apply(picture, chain, progress) {
    const { data, width, height, orientation = 1 } = picture;
    const channels = channelsOf(picture), bits = data instanceof Uint16Array ? 16 : 8;
    this.#progress = progress;
    return this.#withChain(chain, (parsed) => {
      const source = this.#copyIn(data);
      let result = source, resultChannels = channels;
      try {
        let code = this.#wasm.apply(parsed, source, channels, source, channels, width, height, bits, orientation);
        if (code === NEEDS_COLOUR) {
          resultChannels = channels + 2;
          result = this.#allocate((data.byteLength / channels) * resultChannels);
          code = this.#wasm.apply(parsed, source, channels, result, resultChannels, width, height, bits, orientation);
        }
        if (code === CANCELLED) return { data: data.slice(0, 0), channels: 0, notes: [] };
        if (code !== 0) this.#refuse();
        const out = this.#copyOut(result, data, width * height * resultChannels);
        return { data: out, channels: resultChannels, notes: this.#notes() };
      } finally {
        if (result !== source) this.#wasm.release(result);
        this.#wasm.release(source);
      }
    });
  }

  /** @param {Picture} picture @param {number} strength @param {(done: number) => boolean} progress */
  auto(picture, strength, progress) {
    const { data, width, height, orientation = 1 } = picture;
    const channels = channelsOf(picture), bits = data instanceof Uint16Array ? 16 : 8;
    this.#progress = progress;
    const source = this.#copyIn(data);
    const chain = this.#wasm.automatic(source, width, height, channels, bits, strength, orientation);
    this.#wasm.release(source);
    if (!chain) this.#refuse();
    const reasons = this.#notes();
    const described = this.#describe(chain);
    this.#wasm.free_chain(chain);
    return { ...described, reasons };
  }

  /**
   * @param {string | object} chain
   * @param {Picture | undefined} picture
   * @param {number} nodes
   * @param {string} comment
   * @param {(done: number) => boolean} progress
   */
  bake(chain, picture, nodes, comment, progress) {
    this.#progress = progress;
    return this.#withChain(chain, (parsed) => {
      const source = picture ? this.#copyIn(picture.data) : 0;
      const { width, height, orientation = 1 } = picture ?? { width: 1, height: 1 };
      const channels = picture ? channelsOf(picture) : 3, bits = picture?.data instanceof Uint16Array ? 16 : 8;
      const table = this.#wasm.bake(parsed, source, width, height, channels, bits, orientation, nodes);
      if (source) this.#wasm.release(source);
      if (!table) this.#refuse();
      try {
        const [most, mean, overOne] = new Float64Array(this.#wasm.memory.buffer, this.#wasm.bake_error() >>> 0, 3);
        return {
          size: this.#wasm.table_size(table),
          lattice: this.#wasm.table_is_lattice(table) !== 0,
          error: { most, mean, overOne },
          cube: this.#tableText(table, comment, 0),
          clf: this.#tableText(table, comment, 1),
          hald: this.#hald(table),
        };
      } finally {
        this.#wasm.free_table(table);
      }
    });
  }

  /** @param {number} table @param {string} comment @param {number} isClf */
  #tableText(table, comment, isClf) {
    const remark = this.#copyIn(new TextEncoder().encode(comment + '\0'));
    const text = this.#wasm.write_table(table, remark, isClf);
    this.#wasm.release(remark);
    if (!text) this.#refuse();
    const copy = this.#text(text);
    this.#wasm.free_text(text);
    return copy;
  }

  /** @param {number} table */
  #hald(table) {
    const side = this.#wasm.hald_side(table), bits = this.#wasm.hald_bits(table);
    const like = bits === 16 ? new Uint16Array(0) : new Uint8Array(0);
    const picture = this.#allocate((side * side * 3 * bits) / 8);
    try {
      if (this.#wasm.write_hald(table, picture, side, bits) !== 0) this.#refuse();
      return { data: this.#copyOut(picture, like, side * side * 3), width: side, height: side };
    } finally {
      this.#wasm.release(picture);
    }
  }
}
