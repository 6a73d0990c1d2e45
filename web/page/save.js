// Saving: one photograph, all of them, and the chain as a table.
import { downloadZip } from 'client-zip';
import { byId, download, toast } from './element.js';
import { applyWhole, engine, once } from './work.js';
import { word } from './words.js';

/** @typedef {import('./work.js').OpenPhoto} OpenPhoto */
/** @typedef {import('./photos.js').Entry} Entry */

/** @param {string} name */
const stem = (name) => name.replace(/\.[^.]*$/, '') || 'photo';

/** A word that a shell takes as it is. @param {string} text */
const quoted = (text) => (/^[\w@%+=:,./-]+$/.test(text) && !text.startsWith('-') ? text : `'${text.replaceAll("'", "'\\''")}'`);

export function fileOptions() {
  return { format: byId('format').value, quality: Number(byId('quality').value), keep: byId('keep').checked };
}

/** The command that does the same to the same file. @param {string} name @param {string} words */
export function command(name, words) {
  // The command writes no WebP; PNG holds the same pixels.
  const { format, quality, keep } = fileOptions();
  const end = format === 'jpg' ? 'jpg' : 'png';
  const options = (end === 'jpg' ? ` --quality ${quality}` : '') + (keep ? '' : ' --strip');
  const safe = name.startsWith('-') ? `./${name}` : name;
  return `zel ${quoted(safe)} -o ${quoted(`${stem(safe)}-enhanced.${end}`)}${options}${words ? ` ${words.split(' ').map(quoted).join(' ')}` : ''}`;
}

/**
 * @typedef {{photos: import('./photos.js').Photos, chain: import('./document.js').Chain,
 *   renderer: import('./work.js').Renderer, open: () => OpenPhoto | undefined, complain: (error: any, name: string) => void,
 *   changed: () => void}} Desk
 */

/** @param {Desk} desk */
export function prepareSaving({ photos, chain, renderer, open, complain, changed }) {
  const dialog = byId('save-dialog');
  /** @type {AbortController | undefined} */
  let saving;

  const refresh = () => {
    const { format } = fileOptions(), photo = open();
    byId('quality-row').hidden = format === 'png';
    byId('quality-row').querySelector('output').textContent = byId('quality').value;
    const deep = photo && photo.pixels.data instanceof Uint16Array, alpha = photo && photo.pixels.channels % 2 === 0;
    byId('save-note').textContent = word(format === 'png' ? 'noteLossless' : deep ? 'note16' : format === 'jpg' && alpha ? 'noteAlpha' : '');
    byId('save-all').hidden = photos.list.length < 2;
    changed();
  };
  for (const id of ['format', 'quality', 'keep']) byId(id).addEventListener('input', refresh);

  byId('save').addEventListener('click', () => {
    refresh();
    dialog.showModal();
  });
  dialog.addEventListener('close', () => saving?.abort(new DOMException('', 'AbortError')));
  byId('stop').addEventListener('click', () => saving?.abort(new DOMException('', 'AbortError')));

  /** @param {(signal: AbortSignal, progress: (done: number) => void) => Promise<string>} work */
  async function withProgress(work) {
    const controller = (saving = new AbortController());
    const bar = dialog.querySelector('.progress'), progress = bar.querySelector('progress');
    bar.hidden = false;
    progress.value = 0;
    byId('save-one').disabled = byId('save-all').disabled = true;
    try {
      const name = await work(controller.signal, (done) => (progress.value = done));
      dialog.close();
      toast(word('saved', { name }));
    } catch (error) {
      if (controller.signal.aborted) toast(word('stopped'));
      else {
        dialog.close();
        complain(error, photos.current?.name ?? '');
      }
    } finally {
      bar.hidden = true;
      byId('save-one').disabled = byId('save-all').disabled = false;
      if (saving === controller) saving = undefined;
    }
  }

  byId('save-one').addEventListener('click', () => withProgress(async (signal, progress) => {
    const photo = /** @type {OpenPhoto} */ (open()), entry = /** @type {Entry} */ (photos.current);
    const words = chain.words, options = fileOptions();
    const ready = renderer.result?.words === words ? renderer.result : undefined;
    if (!ready) renderer.stop();
    const { pixels } = ready ?? (await renderer.whole(photo, words, (done) => progress(done * 0.7), signal));
    progress(0.7);
    const blob = await once('encode', [pixels, photo.metadata, photo.orientation, options], signal);
    const name = `${stem(entry.name)}-enhanced.${options.format}`;
    download(blob, name);
    return name;
  }));

  byId('save-all').addEventListener('click', () => withProgress(async (signal, progress) => {
    const words = chain.words, options = fileOptions(), entries = [...photos.list];
    renderer.stop();
    const files = [], used = new Set();
    for (const [i, entry] of entries.entries()) {
      const share = (/** @type {number} */ done) => progress((i + done) / entries.length);
      try {
        const photo = await once('open', [entry.file], signal);
        const { pixels } = await applyWhole(photo.pixels, words, { signal, orientation: photo.orientation, progress: (done) => share(0.2 + done / 2) });
        let name = `${stem(entry.name)}-enhanced`;
        while (used.has(name)) name += '-2';
        used.add(name);
        files.push({ name: `${name}.${options.format}`, input: await once('encode', [pixels, photo.metadata, photo.orientation, options], signal) });
      } catch (error) {
        if (signal.aborted) throw error;
        complain(error, entry.name);
      }
      share(1);
    }
    if (files.length > 0) download(await downloadZip(files).blob(), 'zel.zip');
    return 'zel.zip';
  }));

  prepareTables(chain, open);
}

/** @param {import('./document.js').Chain} chain @param {() => OpenPhoto | undefined} open */
function prepareTables(chain, open) {
  const dialog = byId('table-dialog'), note = byId('table-note');
  byId('tables').addEventListener('click', () => {
    note.textContent = '';
    dialog.showModal();
  });
  for (const button of dialog.querySelectorAll('[data-table]')) {
    button.addEventListener('click', async () => {
      const zel = await engine();
      try {
        const photo = open(), { data: pixels, width, height } = photo?.pixels ?? {};
        const nodes = Number(byId('nodes').value);
        const table = await zel.bake(chain.words, { pixels, width, height, orientation: photo?.orientation, nodes, comment: `zel ${chain.words}` });
        const { most, mean } = table.error;
        note.textContent = word('tableError', { most: Number(most.toFixed(1)), mean: Number(mean.toFixed(2)) });
        const kind = button.dataset.table;
        if (kind === 'hald') {
          const blob = await once('encode', [{ ...table.hald, channels: 3 }, {}, 1, { format: 'png', quality: 0, keep: false }]);
          download(blob, 'zel-hald.png');
        } else {
          download(new Blob([/** @type {any} */ (table)[kind]], { type: 'text/plain' }), `zel.${kind}`);
        }
      } catch (error) {
        note.textContent = /** @type {Error} */ (error).message;
      } finally {
        zel.close();
      }
    });
  }
}
