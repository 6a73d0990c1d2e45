// Puts the page together.
import { Chain, fromAddress, stepsOf, toAddress } from './document.js';
import { byId, complain, download, element, toast } from './element.js';
import { showHistogram } from './histogram.js';
import { Photos, cover } from './photos.js';
import { command, prepareSaving } from './save.js';
import { Stage } from './stage.js';
import { Steps } from './steps.js';
import { Renderer, engine, once } from './work.js';
import { has, language, speak, translate, word } from './words.js';

const SAMPLES = ['indoor', 'fog', 'faded'];

/** @typedef {import('./work.js').OpenPhoto} OpenPhoto */
/** @typedef {import('./photos.js').Entry} Entry */

/** @type {OpenPhoto | undefined} */
let photo;
let opening = 0;
/** @type {{key: string, values: Record<string, string | number>}} */
let state = { key: '', values: {} };

const chain = new Chain();
const stage = new Stage();
const photos = new Photos({ show: openEntry, add: () => byId('files').click() });
const renderer = new Renderer({
  shown(layer, isWhole, notes) {
    byId('notes').replaceChildren(...notes.map((note) => element('li', { textContent: note })));
    stage.put('after', layer);
    steps?.complain(-1);
    complain('');
    showState(chain.words === '' ? 'stateOriginal' : isWhole ? 'stateFull' : 'statePreview');
    const pixels = layer.levels.findLast(Boolean);
    if (photo && pixels) showHistogram(photo.shown[photo.shown.length - 1], pixels);
    paintThumb();
  },
  progress: (done) => showState('stateWorking', { percent: Math.round(done * 100) }),
  failed(error) {
    showState('');
    steps?.complain(error.step ?? -1, error.message);
    if (!(error.step >= 0)) explain(error, photos.current?.name ?? '');
  },
});
/** @type {Steps | undefined} */
let steps;

/** @param {string} key @param {Record<string, string | number>} [values] */
function showState(key, values = {}) {
  state = { key, values };
  byId('state').textContent = key && word(key, values);
  byId('state').classList.toggle('busy', ['stateOpening', 'stateFirst', 'stateWorking'].includes(key));
}

/** One sentence for what went wrong with a file. @param {any} error @param {string} name */
function explain(error, name) {
  const key = error.key && has(error.key) ? error.key : error.code === -22 || /memory/.test(error.message) ? 'memory' : 'refused';
  complain(word(key, { name, reason: error.message, ...error.values }));
}

/** @param {Entry | undefined} entry */
async function openEntry(entry) {
  const mine = ++opening;
  photo = undefined;
  complain('');
  renderer.show(undefined, '');
  stage.open(undefined);
  byId('save').disabled = byId('auto').disabled = true;
  byId('welcome').hidden = entry !== undefined;
  document.body.classList.toggle('empty', entry === undefined);
  byId('reasons').hidden = true;
  showHistogram();
  showState(entry ? 'stateOpening' : '', { name: entry?.name ?? '' });
  showCommand();
  if (!entry) return;
  try {
    const opened = await once('open', [entry.file]);
    if (mine !== opening) return;
    photo = /** @type {OpenPhoto} */ (opened);
    const [{ width, height }] = opened.shown;
    stage.open({ width, height }, opened.lattice);
    stage.put('before', { levels: opened.shown });
    const bits = opened.pixels.data instanceof Uint16Array ? 16 : 8;
    toast(word('opened', { name: entry.name, width, height, bits }));
    byId('save').disabled = byId('auto').disabled = !steps;
    showState('stateFirst');
    renderer.show(opened, chain.words);
  } catch (error) {
    if (mine !== opening) return;
    showState('');
    explain(error, entry.name);
  }
}

/** @param {Iterable<File>} files */
function openFiles(files) {
  const list = [...files].map((file) => ({ name: file.name || 'photo.png', file }));
  if (list.length > 0) photos.add(list);
}

function paintThumb() {
  const layer = stage.after, entry = photos.current;
  const pixels = layer?.levels.findLast(Boolean);
  if (!pixels || !entry) return;
  photos.thumb(entry, (canvas) => cover(canvas, stage.canvasOf(pixels), pixels.width, pixels.height));
}

function showCommand() {
  byId('command').textContent = command(photos.current?.name ?? 'photo.jpg', chain.words);
}

function chainChanged() {
  const { words } = chain;
  byId('undo').disabled = !chain.canUndo;
  byId('redo').disabled = !chain.canRedo;
  localStorage.setItem('zel.chain', chain.stored);
  localStorage.setItem('zel.words', words);
  history.replaceState(null, '', toAddress(words) || location.pathname + location.search);
  showCommand();
  renderer.request(words);
}

/** @param {string | object} text a chain in any form */
async function useChain(text) {
  const zel = await engine();
  try {
    const { steps: described } = await zel.parse(text);
    return stepsOf(chain, /** @type {any} */ (described));
  } finally {
    zel.close();
  }
}

// The address wins over what is stored unless both mean the same, because only the stored form knows steps switched off.
/** @param {string | null} [stored] */
async function restoreChain(stored) {
  const address = fromAddress(location.hash);
  if (address && address !== localStorage.getItem('zel.words')) {
    try {
      const found = await useChain(address);
      chain.change(() => found);
    } catch (error) {
      complain(word('recipeWrong', { name: '', reason: /** @type {Error} */ (error).message }));
    }
  } else if (stored) {
    chain.restore(stored);
  }
}

async function chooseAutomatically() {
  if (!photo) return;
  byId('auto').disabled = true;
  const zel = await engine();
  try {
    const { data, width, height } = photo.pixels;
    const { steps: described, reasons } = await zel.auto(data, width, height, { orientation: photo.orientation });
    const found = stepsOf(chain, /** @type {any} */ (described));
    chain.change(() => found);
    byId('reasons').replaceChildren(...reasons.map((reason) => element('li', { textContent: reason })));
    byId('reasons').hidden = reasons.length === 0;
    if (found.length === 0) toast(word('autoNothing'));
  } catch (error) {
    explain(error, photos.current?.name ?? '');
  } finally {
    zel.close();
    byId('auto').disabled = !photo;
  }
}

/** @param {string} text */
async function copy(text) {
  try {
    await navigator.clipboard.writeText(text);
  } catch {
    const area = element('textarea', { value: text });
    document.body.append(area);
    area.select();
    document.execCommand('copy');
    area.remove();
  }
  toast(word('copied'));
}

function showWords() {
  document.documentElement.lang = language;
  byId('language').value = language;
  translate(document);
  showState(state.key, state.values);
  steps?.show(true);
  photos.show();
  if (photo && stage.after) showHistogram(photo.shown[photo.shown.length - 1], stage.after.levels.findLast(Boolean));
}

/** @param {string} theme */
function paintTheme(theme) {
  document.documentElement.dataset.theme = theme;
  const layer = stage.after;
  if (photo && layer) showHistogram(photo.shown[photo.shown.length - 1], layer.levels.findLast(Boolean));
}

/** @param {string} id @param {() => void} act */
const onClick = (id, act) => byId(id).addEventListener('click', act);

function listen() {
  onClick('open', () => byId('files').click());
  onClick('welcome-open', () => byId('files').click());
  byId('files').addEventListener('change', () => {
    openFiles(byId('files').files);
    byId('files').value = '';
  });
  onClick('undo', () => chain.undo());
  onClick('redo', () => chain.redo());
  onClick('auto', chooseAutomatically);
  onClick('copy', () => copy(byId('command').textContent));
  onClick('link', () => copy(location.href));
  onClick('fit', () => stage.zoomTo(0));
  onClick('actual', () => stage.zoomTo(1));
  onClick('in', () => stage.zoomStep(1));
  onClick('out', () => stage.zoomStep(-1));
  onClick('split', () => stage.putBeside(false));
  onClick('beside', () => stage.putBeside(true));
  onClick('save-recipe', async () => {
    const zel = await engine();
    const { recipe } = await zel.parse(chain.words);
    zel.close();
    download(new Blob([JSON.stringify(recipe, null, 2) + '\n'], { type: 'application/json' }), 'zel-recipe.json');
  });
  onClick('load-recipe', () => byId('recipe-file').click());
  byId('recipe-file').addEventListener('change', async () => {
    const [file] = byId('recipe-file').files;
    byId('recipe-file').value = '';
    if (!file) return;
    try {
      const found = await useChain(await file.text());
      chain.change(() => found);
      complain('');
    } catch (error) {
      complain(word('recipeWrong', { name: file.name, reason: /** @type {Error} */ (error).message }));
    }
  });

  const hold = byId('hold');
  hold.addEventListener('pointerdown', () => stage.hold(true));
  for (const end of ['pointerup', 'pointerleave', 'pointercancel', 'blur']) hold.addEventListener(end, () => stage.hold(false));
  hold.addEventListener('keydown', (/** @type {KeyboardEvent} */ event) => [' ', 'Enter'].includes(event.key) && stage.hold(true));
  hold.addEventListener('keyup', () => stage.hold(false));

  byId('language').addEventListener('change', () => {
    speak(byId('language').value);
    localStorage.setItem('zel.language', language);
    showWords();
  });
  onClick('theme', () => {
    const theme = document.documentElement.dataset.theme === 'dark' ? 'light' : 'dark';
    localStorage.setItem('zel.theme', theme);
    paintTheme(theme);
  });

  addEventListener('dragover', (event) => {
    if (!event.dataTransfer?.types.includes('Files')) return;
    event.preventDefault();
    document.body.classList.add('dropping');
  });
  addEventListener('dragleave', (event) => event.relatedTarget || document.body.classList.remove('dropping'));
  addEventListener('drop', (event) => {
    document.body.classList.remove('dropping');
    if (!event.dataTransfer?.files.length) return;
    event.preventDefault();
    openFiles(event.dataTransfer.files);
  });
  addEventListener('paste', (event) => {
    if (event.clipboardData?.files.length) openFiles(event.clipboardData.files);
  });
  addEventListener('keydown', (event) => {
    if (!(event.ctrlKey || event.metaKey) || document.querySelector('dialog[open]')) return;
    const key = event.key.toLowerCase(), inText = /** @type {Element} */ (event.target).matches?.('input[type=text], input[type=search]');
    if (key === 'z' && !inText) event.shiftKey ? chain.redo() : chain.undo();
    else if (key === 'y' && !inText) chain.redo();
    else if (key === 'o') byId('files').click();
    else if (key === 's' && photo) byId('save').click();
    else return;
    event.preventDefault();
  });
  addEventListener('keydown', (event) => {
    if (event.key !== 'Escape' || state.key !== 'stateWorking') return;
    renderer.stop();
    showState('statePreview');
  });
  chain.addEventListener('change', chainChanged);
}

function offerSamples() {
  byId('samples').replaceChildren(...SAMPLES.map((name) => {
    const url = sampleUrl(name);
    const button = element('button', {}, element('img', { src: url, alt: '' }), element('span', { 'data-word': `sample_${name}` }));
    button.addEventListener('click', async () => photos.add([{ name: `${name}.jpg`, file: await (await fetch(url)).blob() }]));
    return element('li', {}, button);
  }));
}

let sampleUrl = (/** @type {string} */ name) => `samples/${name}.jpg`;

/** @param {(name: string) => string} [samples] where the single file keeps them */
export async function start(samples = sampleUrl) {
  sampleUrl = samples;
  const prefersDark = !matchMedia('(prefers-color-scheme: light)').matches;
  paintTheme(localStorage.getItem('zel.theme') ?? (prefersDark ? 'dark' : 'light'));
  speak(localStorage.getItem('zel.language') ?? navigator.language.slice(0, 2));
  offerSamples();
  listen();
  prepareSaving({ photos, chain, renderer, open: () => photo, complain: explain, changed: showCommand });
  showWords();
  document.body.classList.add('empty');
  try {
    const zel = await engine();
    zel.close();
    steps = new Steps(chain, zel.operations, stage);
  } catch (error) {
    return complain(word('cannotStart', { reason: /** @type {Error} */ (error).message }));
  }
  await restoreChain(localStorage.getItem('zel.chain'));
  steps.show();
  chainChanged();
  addEventListener('hashchange', () => restoreChain());
  await photos.restore();
  document.documentElement.dataset.ready = '';
}
