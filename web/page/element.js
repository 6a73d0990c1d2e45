// Elements made and found.

/**
 * @param {string} name
 * @param {Record<string, any>} [properties] attributes where they have a dash or are aria's, else properties
 * @param {...(Node | string)} children
 * @returns {any}
 */
export function element(name, properties = {}, ...children) {
  const made = document.createElement(name);
  for (const [key, value] of Object.entries(properties)) {
    if (key.includes('-') || key === 'role' || key === 'for') made.setAttribute(key, value);
    else /** @type {any} */ (made)[key] = value;
  }
  made.append(...children);
  return made;
}

/** @param {string} id @returns {any} */
export function byId(id) {
  return document.getElementById(id);
}

/** Offers bytes as a download. @param {Blob} blob @param {string} name */
export function download(blob, name) {
  const url = URL.createObjectURL(blob);
  const link = element('a', { href: url, download: name });
  link.click();
  setTimeout(() => URL.revokeObjectURL(url), 60000);
}

let timer = 0;

/** Says something in passing. @param {string} text */
export function toast(text) {
  byId('toast').textContent = text;
  clearTimeout(timer);
  timer = window.setTimeout(() => (byId('toast').textContent = ''), 4000);
}

/** Says what went wrong; stays until the next thing is done. @param {string} text */
export function complain(text) {
  byId('failure').textContent = text;
}
