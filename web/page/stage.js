// The picture as it is drawn and touched: before and after, divided or side by side, and places picked on it.
import { byId } from './element.js';
import { forScreen } from './picture.js';
import { Viewport } from './viewport.js';
import { word } from './words.js';

/** @typedef {import('./picture.js').Layer} Layer */
/** @typedef {import('./viewport.js').Box} Box */

export class Stage extends Viewport {
  /** @type {Layer | undefined} */
  before;
  /** @type {Layer | undefined} */
  after;
  /** @type {Uint8ClampedArray | undefined} */
  lattice;
  divided = 0.5;
  holding = false;
  /** Place of the step in hand, in shares of the picture. @type {number[] | undefined} */
  marked;
  /** @type {{box: number[], kind: string, finish: (text: string | undefined) => void} | undefined} */
  picking;
  #frame = 0;
  /** @type {Map<string, {key: string, canvas: OffscreenCanvas}>} */
  #crops = new Map();

  constructor() {
    const view = byId('view');
    super(view, view.querySelector('canvas'));
    this.context = /** @type {CanvasRenderingContext2D} */ (this.canvas.getContext('2d'));
    new ResizeObserver(() => this.draw()).observe(this.view);
    this.#listen();
  }

  /** @param {{width: number, height: number} | undefined} size @param {Uint8ClampedArray} [lattice] */
  open(size, lattice) {
    this.before = this.after = undefined;
    this.#crops.clear();
    this.size = size ?? { width: 0, height: 0 };
    this.lattice = lattice;
    this.zoom = 0;
    this.centre = { x: 0.5, y: 0.5 };
    this.view.hidden = !size;
    byId('tools').hidden = !size;
    this.draw();
  }

  /** @param {'before' | 'after'} which @param {Layer} layer */
  put(which, layer) {
    this[which] = layer;
    this.#crops.clear();
    this.draw();
  }

  draw() {
    this.#frame ||= requestAnimationFrame(() => {
      this.#frame = 0;
      this.#paint();
    });
  }

  #paint() {
    const ratio = devicePixelRatio, { clientWidth, clientHeight } = this.view;
    if (!this.size.width || !clientWidth) return;
    const [width, height] = [Math.round(clientWidth * ratio), Math.round(clientHeight * ratio)];
    if (this.canvas.width !== width || this.canvas.height !== height) Object.assign(this.canvas, { width, height });
    const context = this.context;
    context.clearRect(0, 0, width, height);
    const panes = this.panes();
    if (this.beside) {
      this.#paintLayer('before', panes[0], panes[0]);
      this.#paintLayer('after', panes[1], panes[1]);
    } else if (this.holding) {
      this.#paintLayer('before', panes[0], panes[0]);
    } else {
      const at = Math.round(this.#dividerAt());
      this.#paintLayer('after', panes[0], { left: at, top: 0, width: width - at, height });
      this.#paintLayer('before', panes[0], { left: 0, top: 0, width: at, height });
    }
    const mark = this.picking?.box ?? this.marked;
    if (mark) for (const pane of panes) this.#paintMark(this.place(pane), mark);
    this.#labels(panes);
  }

  /** @param {'before' | 'after'} which @param {Box} pane @param {Box} clip */
  #paintLayer(which, pane, clip) {
    const layer = this[which] ?? this.before;
    if (!layer || clip.width <= 0) return;
    const place = this.place(pane), context = this.context;
    const wanted = Math.max(0, Math.floor(Math.log2(1 / this.scale) + 0.01));
    const levels = layer.levels.map((pixels, level) => ({ pixels, level })).filter(({ pixels }) => pixels);
    const found = levels.filter(({ level }) => level <= wanted).pop() ?? levels[0];
    if (!found?.pixels) return;
    const { pixels, level } = found;
    const factor = place.width / pixels.width, down = place.height / pixels.height;
    const left = Math.max(0, Math.floor((clip.left - place.left) / factor) - 1);
    const top = Math.max(0, Math.floor((clip.top - place.top) / down) - 1);
    const right = Math.min(pixels.width, Math.ceil((clip.left + clip.width - place.left) / factor) + 1);
    const bottom = Math.min(pixels.height, Math.ceil((clip.top + clip.height - place.top) / down) + 1);
    if (right <= left || bottom <= top) return;
    const canvas = this.#crop(which, pixels, `${level} ${left} ${top} ${right} ${bottom}`, left, top, right - left, bottom - top);
    context.save();
    context.beginPath();
    context.rect(clip.left, clip.top, clip.width, clip.height);
    context.clip();
    context.imageSmoothingEnabled = factor < 2;
    context.imageSmoothingQuality = factor < 1 ? 'high' : 'low';
    context.drawImage(canvas, place.left + left * factor, place.top + top * down, (right - left) * factor, (bottom - top) * down);
    context.restore();
  }

  // The visible part as the screen needs it, kept until something else is visible.
  /**
   * @param {string} which @param {import('./picture.js').Pixels} pixels @param {string} key
   * @param {number} left @param {number} top @param {number} width @param {number} height
   */
  #crop(which, pixels, key, left, top, width, height) {
    const kept = this.#crops.get(which);
    if (kept?.key === key) return kept.canvas;
    const canvas = new OffscreenCanvas(width, height);
    canvas.getContext('2d')?.putImageData(forScreen(pixels, left, top, width, height, this.lattice), 0, 0);
    this.#crops.set(which, { key, canvas });
    return canvas;
  }

  /** A whole picture, for small copies. @param {import('./picture.js').Pixels} pixels */
  canvasOf(pixels) {
    const canvas = new OffscreenCanvas(pixels.width, pixels.height);
    canvas.getContext('2d')?.putImageData(forScreen(pixels, 0, 0, pixels.width, pixels.height, this.lattice), 0, 0);
    return canvas;
  }

  /** @param {Box} place @param {number[]} mark */
  #paintMark(place, mark) {
    const context = this.context, ratio = devicePixelRatio;
    const [x, y] = [place.left + mark[0] * place.width, place.top + mark[1] * place.height];
    const outline = () => {
      for (const [colour, width] of /** @type {[string, number][]} */ ([['#000c', 4], ['#fff', 2]])) {
        context.strokeStyle = colour;
        context.lineWidth = width * ratio;
        context.stroke();
      }
    };
    context.beginPath();
    if (mark.length === 4) {
      context.rect(x, y, (mark[2] - mark[0]) * place.width, (mark[3] - mark[1]) * place.height);
    } else {
      const arm = 12 * ratio, hole = 4 * ratio;
      for (const [dx, dy] of [[1, 0], [-1, 0], [0, 1], [0, -1]]) {
        context.moveTo(x + dx * hole, y + dy * hole);
        context.lineTo(x + dx * arm, y + dy * arm);
      }
    }
    outline();
  }

  #dividerAt() {
    const place = this.place(this.panes()[0]);
    const left = Math.max(0, place.left), right = Math.min(this.canvas.width, place.left + place.width);
    return left + this.divided * (right - left);
  }

  /** @param {Box[]} panes */
  #labels(panes) {
    const divider = byId('divider'), ratio = devicePixelRatio;
    const single = !this.beside && !this.holding;
    divider.hidden = !single || this.picking !== undefined;
    const place = this.place(panes[0]), top = Math.max(0, place.top);
    divider.style.left = `${this.#dividerAt() / ratio}px`;
    divider.style.top = `${top / ratio}px`;
    divider.style.height = `${(Math.min(this.canvas.height, place.top + place.height) - top) / ratio}px`;
    divider.setAttribute('aria-valuenow', String(Math.round(this.divided * 100)));
    const [before, after] = /** @type {NodeListOf<HTMLElement>} */ (this.view.querySelectorAll('.side'));
    before.hidden = single && this.divided < 0.02;
    after.hidden = this.holding || (single && this.divided > 0.98);
    const second = panes[1];
    after.style.left = second && second.left > 0 ? `${second.left / ratio + 10}px` : '';
    after.style.right = second ? 'auto' : '';
    if (second && second.left === 0) after.style.left = '10px';
    after.style.top = second ? `${second.top / ratio + 10}px` : '';
    byId('zoom').textContent = `${Math.round(this.scale * 100)} %`;
    const press = (/** @type {string} */ id, /** @type {boolean} */ on) => byId(id).setAttribute('aria-pressed', String(on));
    press('fit', this.zoom === 0);
    press('actual', this.zoom === 1);
    press('split', !this.beside);
    press('beside', this.beside);
    press('hold', this.holding);
  }

  /**
   * Lets a person choose a place or an area; answers as it would be typed, or undefined when they leave.
   * @param {'point' | 'rect'} kind
   * @param {string} [current]
   * @returns {Promise<string | undefined>}
   */
  pick(kind, current) {
    this.picking?.finish(undefined);
    this.holding = false;
    const given = current && sharesOf(current, this.size);
    const box = given || (kind === 'point' ? [0.5, 0.5] : [0.4, 0.4, 0.6, 0.6]);
    const notice = byId('picking');
    notice.textContent = word(kind === 'point' ? 'pickPoint' : 'pickRect');
    notice.hidden = false;
    this.view.classList.add('picking');
    const focused = /** @type {HTMLElement | null} */ (document.activeElement);
    this.view.focus({ preventScroll: false });
    return new Promise((resolve) => {
      const finish = (/** @type {string | undefined} */ text) => {
        this.picking = undefined;
        notice.hidden = true;
        this.view.classList.remove('picking');
        this.draw();
        focused?.focus({ preventScroll: true });
        resolve(text);
      };
      this.picking = { box, kind, finish };
      this.draw();
    });
  }

  #picked() {
    const picking = this.picking;
    if (!picking) return;
    let box = picking.box;
    if (box.length === 4) box = [Math.min(box[0], box[2]), Math.min(box[1], box[3]), Math.max(box[0], box[2]), Math.max(box[1], box[3])];
    picking.finish(box.map((share) => `${Math.round(share * 10000) / 100}%`).join(','));
  }

  /** @param {KeyboardEvent} event */
  #pickKey(event) {
    const picking = this.picking;
    if (!picking) return false;
    const step = event.altKey ? 0.001 : 0.01;
    const move = { ArrowLeft: [-step, 0], ArrowRight: [step, 0], ArrowUp: [0, -step], ArrowDown: [0, step] }[event.key];
    if (event.key === 'Enter') this.#picked();
    else if (event.key === 'Escape') picking.finish(undefined);
    else if (move) {
      const box = picking.box, first = event.shiftKey && box.length === 4 ? 2 : 0;
      for (let i = first; i < box.length; i++) box[i] = Math.min(0.9999, Math.max(0, box[i] + move[i % 2]));
      this.draw();
    } else return false;
    return true;
  }

  #listen() {
    const view = this.view;
    /** @type {Map<number, {x: number, y: number}>} */
    const fingers = new Map();
    let dragged = '';
    view.addEventListener('pointerdown', (/** @type {PointerEvent} */ event) => {
      if (event.button !== 0) return;
      view.setPointerCapture(event.pointerId);
      fingers.set(event.pointerId, { x: event.clientX, y: event.clientY });
      const onDivider = /** @type {Element} */ (event.target).closest('#divider');
      dragged = this.picking ? 'pick' : onDivider ? 'divider' : 'picture';
      if (this.picking) {
        const [x, y] = this.share(event);
        this.picking.box = this.picking.kind === 'point' ? [x, y] : [x, y, x, y];
        this.draw();
      } else {
        view.classList.add('panning');
      }
    });
    view.addEventListener('pointermove', (/** @type {PointerEvent} */ event) => {
      const last = fingers.get(event.pointerId);
      if (!last) return;
      const now = { x: event.clientX, y: event.clientY };
      if (dragged === 'pick' && this.picking) {
        const [x, y] = this.share(event);
        this.picking.box.splice(this.picking.kind === 'point' ? 0 : 2, 2, x, y);
        this.draw();
      } else if (dragged === 'divider') {
        this.#dragDivider(event);
      } else if (fingers.size === 2) {
        const [other] = [...fingers].filter(([id]) => id !== event.pointerId).map(([, finger]) => finger);
        const spread = (/** @type {{x: number, y: number}} */ p) => Math.hypot(p.x - other.x, p.y - other.y);
        const box = view.getBoundingClientRect();
        const middle = { x: (now.x + other.x) / 2 - box.left, y: (now.y + other.y) / 2 - box.top };
        this.zoomTo((this.scale * spread(now)) / Math.max(1, spread(last)), middle.x, middle.y);
        this.pan(((now.x - last.x) / 2) * devicePixelRatio, ((now.y - last.y) / 2) * devicePixelRatio);
      } else {
        this.pan((now.x - last.x) * devicePixelRatio, (now.y - last.y) * devicePixelRatio);
      }
      fingers.set(event.pointerId, now);
    });
    const end = (/** @type {PointerEvent} */ event) => {
      if (!fingers.delete(event.pointerId)) return;
      view.classList.remove('panning');
      const box = this.picking?.box;
      const tooSmall = box?.length === 4 && (Math.abs(box[2] - box[0]) < 0.002 || Math.abs(box[3] - box[1]) < 0.002);
      if (dragged === 'pick' && event.type === 'pointerup' && !tooSmall) this.#picked();
      dragged = '';
    };
    view.addEventListener('pointerup', end);
    view.addEventListener('pointercancel', end);
    view.addEventListener('dblclick', () => this.zoomTo(this.zoom === 0 ? 1 : 0));
    view.addEventListener('wheel', (/** @type {WheelEvent} */ event) => {
      event.preventDefault();
      const box = view.getBoundingClientRect();
      this.zoomTo(this.scale * 2 ** (-event.deltaY / (event.deltaMode ? 12 : 300)), event.clientX - box.left, event.clientY - box.top);
    }, { passive: false });
    view.addEventListener('keydown', (/** @type {KeyboardEvent} */ event) => {
      if (event.ctrlKey || event.metaKey) return;
      const onDivider = /** @type {Element} */ (event.target).id === 'divider';
      if (this.#pickKey(event) || (onDivider ? this.#dividerKey(event.key) : this.#viewKey(event.key))) event.preventDefault();
    });
    const release = () => this.hold(false);
    view.addEventListener('keyup', (/** @type {KeyboardEvent} */ event) => event.key.toLowerCase() === 'b' && release());
    view.addEventListener('blur', release);
  }

  /** @param {boolean} on */
  hold(on) {
    if (this.holding === on) return;
    this.holding = on;
    this.draw();
  }

  /** @param {boolean} on */
  putBeside(on) {
    this.beside = on;
    this.#crops.clear();
    this.draw();
  }

  /** @param {{clientX: number}} event */
  #dragDivider({ clientX }) {
    const place = this.place(this.panes()[0]), ratio = devicePixelRatio;
    const left = Math.max(0, place.left), right = Math.min(this.canvas.width, place.left + place.width);
    const x = (clientX - this.view.getBoundingClientRect().left) * ratio;
    this.divided = Math.min(1, Math.max(0, (x - left) / (right - left)));
    this.draw();
  }

  /** @param {string} key */
  #dividerKey(key) {
    const to = { ArrowLeft: this.divided - 0.02, ArrowRight: this.divided + 0.02, Home: 0, End: 1 }[key];
    if (to === undefined) return this.#viewKey(key);
    this.divided = Math.min(1, Math.max(0, to));
    this.draw();
    return true;
  }

  /** @param {string} key */
  #viewKey(key) {
    const far = 60 * devicePixelRatio;
    /** @type {Record<string, () => void>} */
    const keys = {
      '+': () => this.zoomStep(1),
      '=': () => this.zoomStep(1),
      '-': () => this.zoomStep(-1),
      0: () => this.zoomTo(0),
      1: () => this.zoomTo(1),
      ArrowLeft: () => this.pan(far, 0),
      ArrowRight: () => this.pan(-far, 0),
      ArrowUp: () => this.pan(0, far),
      ArrowDown: () => this.pan(0, -far),
      b: () => this.hold(true),
      d: () => this.putBeside(false),
      s: () => this.putBeside(true),
    };
    const act = keys[key.length === 1 ? key.toLowerCase() : key];
    act?.();
    return act !== undefined;
  }
}

/** Typed coordinates as shares of the picture. @param {string} text @param {{width: number, height: number}} size */
export function sharesOf(text, { width, height }) {
  const shares = text.split(',').map((part, i) => (part.endsWith('%') ? parseFloat(part) / 100 : Number(part) / (i % 2 ? height : width)));
  return shares.every(Number.isFinite) && (shares.length === 2 || shares.length === 4) ? shares : undefined;
}
