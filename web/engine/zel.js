// Enhances photographs in memory: operations by name, as the command zel has them.
import { Engine, ZelError, channelsOf, hasVectors } from './engine.js';

export { ZelError };

/** @typedef {import('./engine.js').Samples} Samples */
/** @typedef {import('./engine.js').Picture} Picture */

/**
 * One setting of an operation. `type` is integer, number, choice, integers, numbers (three: red, green, blue), rect or
 * point; `default` is null where the setting may be left out.
 * @typedef {{name: string, title: string, type: string, least?: number, most?: number, step?: number,
 *   default: number | string | null, unit: string, choices?: string[], meaning: string, values: string}} Parameter
 */

/**
 * @typedef {{name: string, title: string, group: string, purpose: string, more: string, examples: string[],
 *   reach: 'curve' | 'lattice' | 'neighbours' | 'mask', measures: boolean, depth: string, depthText: string,
 *   parameters: Parameter[]}} Operation
 */

/** Words ("vivid strength=20"), a recipe as text, or a recipe as an object. @typedef {string | object} Chain */

/**
 * `progress` hears the share done, from 0 to 1. `signal` stops the work; on the calling thread it is looked at whenever
 * progress is made. `orientation` is the EXIF number, 1 to 8, of pixels that are stored turned.
 * @typedef {{progress?: (done: number) => void, signal?: AbortSignal, orientation?: number}} ApplyOptions
 */

/**
 * Where the module comes from when it does not lie beside this file, and whether to work in a worker (a function makes
 * one from another place).
 * @typedef {{worker?: boolean | (() => Worker),
 *   module?: WebAssembly.Module | ((vectors: boolean) => Promise<WebAssembly.Module> | WebAssembly.Module)}} LoadOptions
 */

const isNode = typeof process === 'object' && process.versions?.node !== undefined;

/** @param {boolean} vectors @returns {Promise<WebAssembly.Module>} */
async function compileOwn(vectors) {
  const url = new URL(vectors ? './zel-vectors.wasm' : './zel.wasm', import.meta.url);
  if (isNode) {
    const { readFile } = await import('node:fs/promises');
    return WebAssembly.compile(new Uint8Array(await readFile(url)));
  }
  const answer = await fetch(url);
  if (!answer.ok) throw new ZelError(`${url} cannot be loaded`);
  return WebAssembly.compile(await answer.arrayBuffer());
}

/**
 * Makes the engine ready. With `worker`, work leaves this thread alone and can be stopped at any moment.
 * @param {LoadOptions} [options]
 * @returns {Promise<Zel>}
 */
export async function load({ worker = false, module = compileOwn } = {}) {
  const compiled = typeof module === 'function' ? await module(hasVectors()) : module;
  if (!worker) return new Zel(new Engine(compiled).table, new Here(compiled));
  const crew = new Away(compiled, typeof worker === 'function' ? worker : undefined);
  return new Zel((await crew.run('table', [], [])).table, crew);
}

// Both ways of working answer to the same call: the name of a method of Engine, and its arguments.

class Here {
  /** @param {WebAssembly.Module} module */
  constructor(module) {
    this.module = module;
    this.engine = new Engine(module);
  }

  /** @param {string} name @param {any[]} args @param {Transferable[]} _transfer @param {ApplyOptions} options */
  async run(name, args, _transfer, { progress, signal } = {}) {
    signal?.throwIfAborted();
    const tell = (/** @type {number} */ done) => {
      progress?.(done);
      return signal?.aborted ?? false;
    };
    try {
      const result = /** @type {any} */ (this.engine)[name](...args, tell);
      signal?.throwIfAborted();
      return result;
    } catch (error) {
      if (!(error instanceof WebAssembly.RuntimeError || error instanceof RangeError)) throw error;
      this.engine = new Engine(this.module); // what ran out of memory is in no state to go on
      throw new ZelError('does not fit into memory', { code: -22 });
    }
  }

  close() {}
}

class Away {
  /** @type {Promise<any> | undefined} */
  #worker;
  #calls = new Map();
  #count = 0;

  /** @param {WebAssembly.Module} module @param {(() => Worker) | undefined} make */
  constructor(module, make) {
    this.module = module;
    this.make = make;
  }

  async #start() {
    const ownUrl = () => new URL('./worker.js', import.meta.url);
    let worker;
    if (isNode) {
      const threads = await import('node:worker_threads');
      worker = /** @type {any} */ (new threads.Worker(ownUrl()));
      worker.on('message', (/** @type {any} */ data) => this.#answer(data));
      worker.on('error', (/** @type {Error} */ error) => this.#fail(new ZelError(error.message)));
      worker.unref();
    } else {
      worker = this.make ? this.make() : new Worker(ownUrl(), { type: 'module' });
      worker.onmessage = (/** @type {MessageEvent} */ event) => this.#answer(event.data);
      worker.onerror = () => this.#fail(new ZelError('does not fit into memory'));
    }
    worker.postMessage({ module: this.module });
    return worker;
  }

  /** @param {any} answer */
  #answer({ id, done, result, error }) {
    const call = this.#calls.get(id);
    if (!call) return;
    if (done !== undefined) return call.progress?.(done);
    this.#calls.delete(id);
    if (this.#calls.size === 0) call.worker.unref?.();
    if (error) call.reject(new ZelError(error.message, error));
    else call.resolve(result);
  }

  /** @param {unknown} reason */
  #fail(reason) {
    this.#worker?.then((worker) => worker.terminate());
    this.#worker = undefined;
    for (const call of this.#calls.values()) call.reject(reason);
    this.#calls.clear();
  }

  /** @param {string} name @param {any[]} args @param {Transferable[]} transfer @param {ApplyOptions} options */
  async run(name, args, transfer, { progress, signal } = {}) {
    signal?.throwIfAborted();
    const worker = await (this.#worker ??= this.#start());
    signal?.throwIfAborted();
    const id = this.#count++;
    const stop = () => this.#fail(signal?.reason);
    return new Promise((resolve, reject) => {
      this.#calls.set(id, { resolve, reject, progress, worker });
      worker.ref?.();
      signal?.addEventListener('abort', stop);
      worker.postMessage({ id, name, args, progress: progress !== undefined }, transfer);
    }).finally(() => signal?.removeEventListener('abort', stop));
  }

  close() {
    this.#fail(new ZelError('was closed'));
  }
}

export class Zel {
  #crew;

  /** @param {{version: string, operations: Operation[]}} table @param {Here | Away} crew */
  constructor(table, crew) {
    this.#crew = crew;
    this.version = table.version;
    /** All operations with their settings, in the order of menus. @type {Operation[]} */
    this.operations = table.operations;
  }

  /**
   * Runs a chain over interleaved samples, red first, 1 to 4 channels (grey, grey and alpha, colour, colour and alpha),
   * 8 bits or, as Uint16Array, 16. Alpha stays. `pixels` stays as it was; a grey picture becomes colour only where the
   * chain gives it colours. Notes are sentences that a person should read.
   * @template {Samples} T
   * @param {T} pixels
   * @param {number} width
   * @param {number} height
   * @param {Chain} chain
   * @param {ApplyOptions} [options]
   * @returns {Promise<{pixels: T, channels: number, notes: string[]}>}
   */
  async apply(pixels, width, height, chain, options = {}) {
    const picture = { data: pixels, width, height, orientation: options.orientation };
    channelsOf(picture);
    const { data, channels, notes } = await this.#crew.run('apply', [picture, chain], [], options);
    return { pixels: data, channels, notes };
  }

  /**
   * Chooses operations that make the photograph better; `reasons` says why. `strength` is 0 to 100.
   * @param {Samples} pixels @param {number} width @param {number} height
   * @param {{strength?: number, orientation?: number}} [options]
   * @returns {Promise<{words: string, recipe: object, steps: object[], reasons: string[]}>}
   */
  async auto(pixels, width, height, { strength = 50, orientation } = {}) {
    return this.#crew.run('auto', [{ data: pixels, width, height, orientation }, strength], []);
  }

  /**
   * Turns a chain into one table, as .cube and .clf texts and HaldCLUT pixels. Operations that measure need the
   * picture. `nodes` is 2 to 129, or 0 to choose. `error` is the distance from the chain itself in levels of 255.
   * @param {Chain} chain
   * @param {{pixels?: Samples, width?: number, height?: number, orientation?: number, nodes?: number, comment?: string}} [options]
   * @returns {Promise<{size: number, lattice: boolean, error: {most: number, mean: number, overOne: number},
   *   cube: string, clf: string, hald: {data: Uint8Array | Uint16Array, width: number, height: number}}>}
   */
  async bake(chain, { pixels, width = 0, height = 0, orientation, nodes = 0, comment = 'made by zel' } = {}) {
    const picture = pixels && { data: pixels, width, height, orientation };
    return this.#crew.run('bake', [chain, picture, nodes, comment], []);
  }

  /**
   * Checks a chain and gives it in every form; throws the sentence that the command would print.
   * @param {Chain} chain
   * @returns {Promise<{words: string, recipe: object, steps: object[]}>}
   */
  async parse(chain) {
    return this.#crew.run('parse', [chain], []);
  }

  /** Ends the worker and gives its memory back. A later call starts another. */
  close() {
    this.#crew.close();
  }
}
