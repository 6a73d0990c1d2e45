// The page's texts in the language that is chosen.
import { de } from './words/de.js';
import { en } from './words/en.js';

/** @typedef {typeof en} Words */

/** @type {Record<string, Words>} */
const LANGUAGES = { en, de };

export let language = 'en';

/** @param {string} name */
export function speak(name) {
  language = name in LANGUAGES ? name : 'en';
}

/**
 * The text of a key with its {values} put in.
 * @param {string} key
 * @param {Record<string, string | number>} [values]
 */
export function word(key, values = {}) {
  const text = /** @type {Record<string, unknown>} */ (LANGUAGES[language].page)[key];
  const found = typeof text === 'string' ? text : key;
  return found.replace(/\{(\w+)\}/g, (_, name) => String(values[name] ?? ''));
}

/** What a person reads of an operation or one of its parameters; the table's own English where there is nothing else. */
export const of = {
  /** @param {import('../engine/zel.js').Operation} operation */
  operation(operation) {
    const own = LANGUAGES[language].operations[operation.name];
    return { title: own?.[0] ?? operation.title, purpose: own?.[1] ?? operation.purpose };
  },
  /** @param {import('../engine/zel.js').Parameter} parameter */
  parameter(parameter) {
    return LANGUAGES[language].parameters[parameter.name] ?? parameter.title;
  },
  /** @param {string} choice */
  choice(choice) {
    return LANGUAGES[language].choices[choice] ?? choice;
  },
  /** @param {string} unit */
  unit(unit) {
    return LANGUAGES[language].units[unit] ?? unit;
  },
  /** @param {string} group */
  group(group) {
    return LANGUAGES[language].groups[group] ?? group;
  },
};

/** @param {string} key */
export const has = (key) => key in LANGUAGES[language].page;

/** Puts texts into everything that asks for one. @param {ParentNode} root */
export function translate(root) {
  for (const element of root.querySelectorAll('[data-word]')) {
    element.textContent = word(/** @type {HTMLElement} */ (element).dataset.word ?? '');
  }
  for (const element of root.querySelectorAll('[data-label]')) {
    const text = word(/** @type {HTMLElement} */ (element).dataset.label ?? '');
    element.setAttribute('aria-label', text);
    if (element.matches('button, select')) element.setAttribute('title', text);
  }
}
