// The npm package in node: against the native tool, in a worker, and installed elsewhere.
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { mkdirSync, readFileSync, writeFileSync } from 'node:fs';
import { before, test } from 'node:test';
import { BUILT, digest, drawSamples, examples, folder, inFolder, nativeDigests, writePicture, zel as tool } from './support.js';

const { load, ZelError } = await import(new URL('zel/zel.js', BUILT).href);

/** @type {any} */
let pictures;
/** @type {any} */
let zel;
before(async () => {
  pictures = await drawSamples();
  zel = await load();
});

test('both modules give the native bytes of every example at 8 and 16 bits', async () => {
  const chains = examples(zel.operations);
  assert.equal(chains.length, 84);
  for (const [file, picture] of [['eight.png', pictures.eight], ['sixteen.png', pictures.sixteen]]) {
    const native = await nativeDigests(file, chains);
    for (const name of ['zel.wasm', 'zel-vectors.wasm']) {
      const module = await WebAssembly.compile(readFileSync(new URL(`zel/${name}`, BUILT)));
      const engine = await load({ module });
      const differing = [];
      for (const [i, chain] of chains.entries()) {
        const { pixels } = await engine.apply(picture.data, picture.width, picture.height, chain);
        if (digest(pixels) !== native[i]) differing.push(chain);
      }
      assert.deepEqual(differing, [], `${name}, ${file}`);
    }
  }
});

test('grey, alpha and turned pictures come out as the tool has them', async () => {
  const { data, width, height } = pictures.eight;
  const grey = data.filter((_, i) => i % 3 === 1);
  const alpha = Uint8Array.from({ length: width * height * 4 }, (_, i) => (i % 4 === 3 ? (i >> 5) & 255 : data[(i >> 2) * 3 + (i % 4)]));
  for (const [name, samples, channels] of [['grey.png', grey, 1], ['alpha.png', alpha, 4]]) {
    await writePicture(name, { data: samples, width, height, channels });
    for (const chain of ['vivid strength=60', 'temperature temperature=40', 'contrast contrast=30']) {
      const result = await zel.apply(samples, width, height, chain);
      assert.deepEqual([digest(result.pixels)], await nativeDigests(name, [chain]), `${name}: ${chain}`);
      assert.equal(result.channels, result.pixels.length / (width * height));
    }
  }
});

test('a worker gives the same, tells progress, and stops at once', async () => {
  const { data, width, height } = pictures.eight;
  const away = await load({ worker: true });
  const chain = { operations: [{ name: 'denoise', strength: 40 }, { name: 'vivid' }] };
  /** @type {number[]} */
  const heard = [];
  const there = await away.apply(data, width, height, chain, { progress: (/** @type {number} */ done) => heard.push(done) });
  const here = await zel.apply(data, width, height, 'denoise strength=40 vivid');
  assert.equal(digest(there.pixels), digest(here.pixels));
  assert.equal(heard.at(-1), 1);

  const large = new Uint8Array(6000 * 4000 * 3).fill(90);
  const controller = new AbortController();
  const work = away.apply(large, 6000, 4000, 'denoise', { signal: controller.signal, progress: () => setTimeout(() => controller.abort(), 5) });
  await assert.rejects(work, { name: 'AbortError' });
  assert.equal(digest((await away.apply(data, width, height, chain)).pixels), digest(here.pixels), 'works again afterwards');
  away.close();

  const sync = new AbortController();
  await assert.rejects(zel.apply(data, width, height, 'denoise vivid', { signal: sync.signal, progress: () => sync.abort() }), { name: 'AbortError' });
});

test('refusals are sentences with their place', async () => {
  const { data, width, height } = pictures.eight;
  /** @type {[string, RegExp, number][]} */
  const wrong = [['vivd', /did you mean vivid/, -1], ['contrast vivid strength=200', /from 0 to 100/, 1], ['{"operations": 3}', /operations/, -1]];
  for (const [chain, sentence, step] of wrong) {
    await assert.rejects(zel.apply(data, width, height, chain), (/** @type {any} */ error) => error instanceof ZelError && sentence.test(error.message) && error.step === step);
  }
  await assert.rejects(zel.apply(data, width + 1, height, 'vivid'), /samples/);
  await assert.rejects(zel.apply(data, width, height, 'blur sky-tone at=900,900'), (/** @type {any} */ error) => error.step === 1 && /outside/.test(error.message));
});

test('a baked table is the tool\'s', async () => {
  const { data, width, height } = pictures.eight;
  for (const [chain, file] of [['temperature temperature=-30 contrast contrast=10', false], ['tone strength=40 hue-saturation saturation=20', true]]) {
    const words = String(chain).split(' ');
    tool('bake', ...(file ? ['eight.png'] : []), '-o', 'native.cube', '--overwrite', ...words);
    const { cube } = await zel.bake(chain, file ? { pixels: data, width, height } : {});
    const rows = (/** @type {string} */ text) => text.split('\n').filter((line) => !line.startsWith('#'));
    assert.deepEqual(rows(cube), rows(readFileSync(inFolder('native.cube'), 'utf8')));
  }
});

test('installed in another folder, the examples of the README run', () => {
  const { version } = JSON.parse(readFileSync(new URL('zel/package.json', BUILT), 'utf8'));
  assert.equal(version, zel.version);
  const archive = execFileSync('npm', ['pack', '--silent', '--pack-destination', folder, new URL('zel/', BUILT).pathname], { encoding: 'utf8' }).trim();
  const project = inFolder('project');
  mkdirSync(project);
  writeFileSync(`${project}/package.json`, '{"type": "module"}');
  execFileSync('npm', ['install', '--silent', '--offline', '--no-audit', inFolder(archive)], { cwd: project, stdio: 'pipe' });
  const readme = readFileSync(new URL('../README.md', import.meta.url), 'utf8');
  const [, example] = readme.match(/## In node\n[^]*?```js\n([^]*?)```/) ?? [];
  writeFileSync(`${project}/example.js`, example);
  assert.match(execFileSync('node', ['example.js'], { cwd: project, encoding: 'utf8' }), /^640 x 480/);
});
