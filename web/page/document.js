// What is edited: the steps of the chain, with undo, and its forms as words, address and stored text.

/** @typedef {{id: number, name: string, on: boolean, settings: Record<string, string>}} Step */

/** @param {Step} step */
export function stepWords(step) {
  return [step.name, ...Object.entries(step.settings).map(([name, value]) => `${name}=${value}`)].join(' ');
}

/** Words as an address can carry them. @param {string} words */
export function toAddress(words) {
  return words ? '#' + words.split(' ').map(encodeURIComponent).join('&') : '';
}

/** @param {string} address */
export function fromAddress(address) {
  try {
    return address.replace(/^#/, '').split('&').map(decodeURIComponent).join(' ');
  } catch {
    return '';
  }
}

// Changes that follow each other this fast, of one setting, are one drag and undone as one.
const ONE_DRAG = 700;

export class Chain extends EventTarget {
  /** @type {Step[]} */
  steps = [];
  /** @type {string[]} */
  #past = [];
  /** @type {string[]} */
  #future = [];
  #last = { what: '', at: 0 };
  #ids = 0;

  /** The steps that are switched on, as they would be typed. */
  get words() {
    return this.steps.filter((step) => step.on).map(stepWords).join(' ');
  }

  get stored() {
    return JSON.stringify(this.steps.map(({ name, on, settings }) => ({ name, on, settings })));
  }

  get canUndo() {
    return this.#past.length > 0;
  }

  get canRedo() {
    return this.#future.length > 0;
  }

  /**
   * Makes one change that can be undone.
   * @param {(steps: Step[]) => Step[] | void} edit
   * @param {string} [what] names a change that may go on, such as a slider being dragged
   */
  change(edit, what = '') {
    const before = this.stored;
    this.steps = edit(this.steps) ?? this.steps;
    if (this.stored === before) return;
    const now = performance.now();
    const goesOn = what !== '' && what === this.#last.what && now - this.#last.at < ONE_DRAG;
    if (!goesOn) this.#past.push(before);
    this.#last = { what, at: now };
    this.#future = [];
    this.#tell(what);
  }

  undo() {
    this.#step(this.#past, this.#future);
  }

  redo() {
    this.#step(this.#future, this.#past);
  }

  /** @param {string[]} from @param {string[]} to */
  #step(from, to) {
    const state = from.pop();
    if (state === undefined) return;
    to.push(this.stored);
    this.#last = { what: '', at: 0 };
    this.#load(state);
    this.#tell();
  }

  /** @param {string} stored */
  #load(stored) {
    const steps = JSON.parse(stored);
    this.steps = steps.map((/** @type {Step} */ step, /** @type {number} */ i) => ({ ...step, id: this.#sameId(step, i) }));
  }

  // A step keeps its number where it stays, so that the fields on show are kept too.
  /** @param {Step} step @param {number} i */
  #sameId(step, i) {
    const old = this.steps[i];
    return old && old.name === step.name ? old.id : this.newId();
  }

  newId() {
    return ++this.#ids;
  }

  /** Starts with what was stored. @param {string} stored */
  restore(stored) {
    this.#load(stored);
    this.#past = [];
    this.#future = [];
    this.#tell();
  }

  /** @param {string} [what] */
  #tell(what = '') {
    this.dispatchEvent(new CustomEvent('change', { detail: what }));
  }
}

/**
 * Steps as the engine describes a chain.
 * @param {Chain} chain
 * @param {{name: string, given: Record<string, any>}[]} described
 * @returns {Step[]}
 */
export function stepsOf(chain, described) {
  return described.map(({ name, given }) => ({
    id: chain.newId(),
    name,
    on: true,
    settings: Object.fromEntries(Object.entries(given).map(([key, value]) => [key, String(value)])),
  }));
}
