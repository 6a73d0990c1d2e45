// How often each level occurs: the original as an outline, the result filled.
import { byId } from './element.js';
import { histogram } from './picture.js';
import { word } from './words.js';

/** @typedef {import('./formats/failure.js').Pixels} Pixels */

/** @param {Pixels} [before] @param {Pixels} [after] */
export function showHistogram(before, after) {
  const canvas = byId('histogram').querySelector('canvas');
  byId('histogram').hidden = !before || !after;
  if (!before || !after) return;
  const was = histogram(before), is = histogram(after);
  const { width, height } = canvas, context = canvas.getContext('2d');
  const style = getComputedStyle(document.documentElement), dark = document.documentElement.dataset.theme === 'dark';
  context.clearRect(0, 0, width, height);
  // The ends alone would flatten the rest when much is clipped.
  const inner = [...was, ...is].flatMap((counts) => [...counts.subarray(2, 254)]);
  const top = Math.max(1, ...inner) * 1.05;
  const path = (/** @type {Uint32Array} */ counts) => {
    context.beginPath();
    context.moveTo(0, height);
    counts.forEach((count, i) => context.lineTo((i / 255) * width, height - Math.min(1, count / top) * (height - 2)));
    context.lineTo(width, height);
  };
  context.globalCompositeOperation = dark ? 'screen' : 'multiply';
  const colours = dark ? ['#c2453f', '#3f9a4c', '#4a76d0'] : ['#ef8d86', '#8fd39a', '#94b2f0'];
  is.forEach((counts, c) => {
    context.fillStyle = colours[c];
    path(counts);
    context.fill();
  });
  context.globalCompositeOperation = 'source-over';
  context.strokeStyle = style.getPropertyValue('--quiet');
  context.lineWidth = 1.5;
  path(sum(was));
  context.stroke();
  const total = sum(is), all = total.reduce((a, b) => a + b, 0);
  const share = (/** @type {number} */ level) => ((100 * total[level]) / all).toFixed(1);
  canvas.setAttribute('aria-label', word('histogram', { before: mean(sum(was)), after: mean(total), black: share(0), white: share(255) }));
}

/** @param {Uint32Array[]} counts */
function sum(counts) {
  return counts[0].map((_, i) => Math.round((counts[0][i] + counts[1][i] + counts[2][i]) / 3));
}

/** @param {Uint32Array} counts */
function mean(counts) {
  let all = 0, weighted = 0;
  counts.forEach((count, level) => {
    all += count;
    weighted += count * level;
  });
  return Math.round(weighted / Math.max(1, all));
}
