// The photographs that are open: a strip of them, kept over a reload, one of them on show.
import { byId, element } from './element.js';
import { word } from './words.js';

/** @typedef {{id: number, name: string, file: Blob}} Entry */

/** @returns {Promise<IDBDatabase>} */
function database() {
  return new Promise((resolve, reject) => {
    const request = indexedDB.open('zel', 1);
    request.onupgradeneeded = () => request.result.createObjectStore('photos', { keyPath: 'id' });
    request.onsuccess = () => resolve(request.result);
    request.onerror = () => reject(request.error);
  });
}

/** @template T @param {IDBTransactionMode} mode @param {(store: IDBObjectStore) => IDBRequest<T>} act @returns {Promise<T | undefined>} */
async function stored(mode, act) {
  try {
    const request = act((await database()).transaction('photos', mode).objectStore('photos'));
    return await new Promise((resolve, reject) => {
      request.onsuccess = () => resolve(request.result);
      request.onerror = () => reject(request.error);
    });
  } catch {
    return undefined; // without storage the page works all the same, and forgets
  }
}

export class Photos {
  /** @type {Entry[]} */
  list = [];
  /** @type {Entry | undefined} */
  current;
  /** @type {Map<number, HTMLCanvasElement>} */
  #thumbs = new Map();

  /** @param {{show: (entry: Entry | undefined) => void, add: () => void}} act */
  constructor(act) {
    this.act = act;
  }

  async restore() {
    this.list = (await stored('readonly', (store) => store.getAll())) ?? [];
    const wanted = Number(sessionStorage.getItem('zel.photo'));
    if (this.list.length > 0) this.choose(this.list.find(({ id }) => id === wanted) ?? this.list[0]);
  }

  /** @param {{name: string, file: Blob}[]} files */
  add(files) {
    const entries = files.map(({ name, file }, i) => ({ id: Date.now() + i + Math.random(), name, file }));
    this.list.push(...entries);
    for (const entry of entries) stored('readwrite', (store) => store.put(entry));
    if (entries.length > 0) this.choose(entries[0]);
  }

  /** @param {Entry} entry */
  remove(entry) {
    const at = this.list.indexOf(entry);
    this.list.splice(at, 1);
    this.#thumbs.delete(entry.id);
    stored('readwrite', (store) => store.delete(entry.id));
    if (this.current === entry) this.choose(this.list[Math.min(at, this.list.length - 1)]);
    else this.show();
    byId('strip').querySelector('[aria-current=true]')?.focus();
  }

  /** @param {Entry | undefined} entry */
  choose(entry) {
    this.current = entry;
    if (entry) sessionStorage.setItem('zel.photo', String(entry.id));
    this.show();
    this.act.show(entry);
  }

  /** @param {Entry} entry @param {(canvas: HTMLCanvasElement) => void} paint */
  thumb(entry, paint) {
    const canvas = this.#thumbs.get(entry.id);
    if (canvas) paint(canvas);
  }

  show() {
    byId('strip').hidden = this.list.length === 0;
    const items = this.list.map((entry) => {
      let canvas = this.#thumbs.get(entry.id);
      if (!canvas) {
        this.#thumbs.set(entry.id, (canvas = /** @type {HTMLCanvasElement} */ (element('canvas', { width: 192, height: 128 }))));
        this.#paintFromFile(entry, canvas);
      }
      const { name } = entry;
      const button = element('button', {
        className: 'photo', title: name, 'aria-label': word('photo', { name }), 'aria-current': String(entry === this.current),
      }, canvas);
      button.addEventListener('click', () => entry !== this.current && this.choose(entry));
      const remove = element('button', { className: 'remove', textContent: '×', 'aria-label': word('closePhoto', { name }), title: word('closePhoto', { name }) });
      remove.addEventListener('click', () => this.remove(entry));
      return element('li', {}, button, remove);
    });
    const more = element('button', { className: 'more', textContent: '+', 'aria-label': word('addPhotos'), title: word('addPhotos') });
    more.addEventListener('click', this.act.add);
    byId('strip').querySelector('ul').replaceChildren(...items, element('li', {}, more));
  }

  // Small pictures of what is not open yet, as the browser itself decodes them.
  /** @param {Entry} entry @param {HTMLCanvasElement} canvas */
  async #paintFromFile(entry, canvas) {
    try {
      const bitmap = await createImageBitmap(entry.file, { resizeWidth: 288, resizeQuality: 'medium' });
      cover(canvas, bitmap, bitmap.width, bitmap.height);
      bitmap.close();
    } catch {
      // What cannot be shown says so when it is chosen.
    }
  }
}

/** Fills a canvas with the middle of a picture. @param {HTMLCanvasElement} canvas @param {CanvasImageSource} image @param {number} width @param {number} height */
export function cover(canvas, image, width, height) {
  const scale = Math.max(canvas.width / width, canvas.height / height);
  const [w, h] = [width * scale, height * scale];
  canvas.getContext('2d')?.drawImage(image, (canvas.width - w) / 2, (canvas.height - h) / 2, w, h);
}
