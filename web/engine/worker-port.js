// The worker's half of a conversation: the first message brings the module, each other one a call of Engine's.
import { Engine } from './engine.js';

/** @param {(message: any, transfer: Transferable[]) => void} post */
export function serve(post) {
  /** @type {Engine} */
  let engine;
  return (/** @type {any} */ message) => {
    if (message.module) {
      engine = new Engine(message.module);
      return;
    }
    const { id, name, args, progress } = message;
    try {
      const tell = (/** @type {number} */ done) => {
        if (progress) post({ id, done }, []);
        return false;
      };
      const result = name === 'table' ? { table: engine.table } : /** @type {any} */ (engine)[name](...args, tell);
      post({ id, result }, [result.data, result.hald?.data].filter(Boolean).map((data) => data.buffer));
    } catch (error) {
      const { message: text, code, step, position } = /** @type {any} */ (error);
      const outOfMemory = error instanceof RangeError || error instanceof WebAssembly.RuntimeError;
      post({ id, error: { message: outOfMemory ? 'does not fit into memory' : text, code, step, position } }, []);
    }
  };
}
