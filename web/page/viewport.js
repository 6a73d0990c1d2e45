// Which part of the picture is seen where: panes, zoom and centre, in device pixels.
/** @typedef {{left: number, top: number, width: number, height: number}} Box */

const STEPS = [1 / 32, 1 / 16, 1 / 8, 1 / 4, 1 / 3, 1 / 2, 2 / 3, 1, 2, 3, 4, 8, 16];

export class Viewport {
  size = { width: 0, height: 0 };
  /** Device pixels for a pixel of the photograph; 0 fits the whole. */
  zoom = 0;
  centre = { x: 0.5, y: 0.5 };
  beside = false;

  /** @param {HTMLElement} view @param {HTMLCanvasElement} canvas */
  constructor(view, canvas) {
    this.view = view;
    this.canvas = canvas;
  }

  /** To be drawn again. */
  draw() {}

  /** The panes in device pixels: one, or two beside or below each other. @returns {Box[]} */
  panes() {
    const { width, height } = this.canvas;
    if (!this.beside) return [{ left: 0, top: 0, width, height }];
    const gap = 4;
    if (width >= height) {
      const half = (width - gap) / 2;
      return [{ left: 0, top: 0, width: half, height }, { left: half + gap, top: 0, width: half, height }];
    }
    const half = (height - gap) / 2;
    return [{ left: 0, top: 0, width, height: half }, { left: 0, top: half + gap, width, height: half }];
  }

  fitScale() {
    const pane = this.panes()[0], margin = 12 * devicePixelRatio, bottom = 52 * devicePixelRatio;
    const across = (pane.width - 2 * margin) / this.size.width, down = (pane.height - margin - bottom) / this.size.height;
    return Math.max(0.001, Math.min(across, down, 8));
  }

  get scale() {
    return this.zoom || this.fitScale();
  }

  /** Where the picture lies in a pane. @param {Box} pane @returns {Box} */
  place(pane) {
    const width = this.size.width * this.scale, height = this.size.height * this.scale;
    const room = 52 * devicePixelRatio - 12 * devicePixelRatio;
    const place = (/** @type {number} */ start, /** @type {number} */ space, /** @type {number} */ size, /** @type {number} */ centre) =>
      Math.round(size <= space ? start + (space - size) / 2 : Math.min(start, Math.max(start + space - size, start + space / 2 - centre * size)));
    return {
      left: place(pane.left, pane.width, width, this.centre.x),
      top: place(pane.top, height <= pane.height - room ? pane.height - room : pane.height, height, this.centre.y),
      width,
      height,
    };
  }

  /** Zooms so that the place under a point of the view stays. @param {number} zoom @param {number} [x] @param {number} [y] */
  zoomTo(zoom, x, y) {
    const ratio = devicePixelRatio, panes = this.panes();
    const pane = (x !== undefined && y !== undefined && panes.find((p) => x * ratio < p.left + p.width && y * ratio < p.top + p.height)) || panes[0];
    const at = { x: x === undefined ? pane.left + pane.width / 2 : x * ratio, y: y === undefined ? pane.top + pane.height / 2 : y * ratio };
    const old = this.place(pane);
    const share = { x: (at.x - old.left) / old.width, y: (at.y - old.top) / old.height };
    this.zoom = zoom && Math.min(16, Math.max(1 / 64, zoom));
    this.centre = {
      x: share.x - (at.x - pane.left - pane.width / 2) / (this.size.width * this.scale),
      y: share.y - (at.y - pane.top - pane.height / 2) / (this.size.height * this.scale),
    };
    this.#keepInside();
    this.draw();
  }

  /** @param {number} by */
  zoomStep(by) {
    const now = this.scale;
    const next = by > 0 ? STEPS.find((step) => step > now * 1.01) : STEPS.findLast((step) => step < now * 0.99);
    if (next) this.zoomTo(next);
  }

  /** @param {number} dx device pixels @param {number} dy */
  pan(dx, dy) {
    this.centre.x -= dx / (this.size.width * this.scale);
    this.centre.y -= dy / (this.size.height * this.scale);
    this.#keepInside();
    this.draw();
  }

  #keepInside() {
    const pane = this.panes()[0];
    const keep = (/** @type {number} */ value, /** @type {number} */ space, /** @type {number} */ size) => {
      const half = Math.min(0.5, space / size / 2);
      return Math.min(1 - half, Math.max(half, value));
    };
    this.centre = {
      x: keep(this.centre.x, pane.width, this.size.width * this.scale),
      y: keep(this.centre.y, pane.height, this.size.height * this.scale),
    };
  }

  /** Shares of the picture under a point of the view, inside it. @param {{clientX: number, clientY: number}} event */
  share({ clientX, clientY }) {
    const box = this.view.getBoundingClientRect(), ratio = devicePixelRatio;
    const x = (clientX - box.left) * ratio, y = (clientY - box.top) * ratio;
    const pane = this.panes().find((p) => x < p.left + p.width && y < p.top + p.height) ?? this.panes()[0];
    const place = this.place(pane);
    const inside = (/** @type {number} */ v) => Math.min(0.9999, Math.max(0, v));
    return [inside((x - place.left) / place.width), inside((y - place.top) / place.height)];
  }
}
