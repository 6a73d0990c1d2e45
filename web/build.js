// Assembles build/web: the npm package in zel/, the page as a folder in page/ and as one file, zel.html.
// scripts/page.sh makes what this needs: both WebAssembly modules and the samples.
import { createHash } from 'node:crypto';
import { execFileSync } from 'node:child_process';
import { cp, mkdir, readFile, readdir, rm, writeFile } from 'node:fs/promises';
import { build } from 'esbuild';

const here = new URL('.', import.meta.url), out = new URL('../build/web/', here);
const at = (/** @type {string} */ path) => new URL(path, out);
const MODULES = { 'zel.wasm': '../page/zel.wasm', 'zel-vectors.wasm': '../page-vectors/zel.wasm' };
const SAMPLES = ['indoor', 'fog', 'faded'].map((name) => `samples/${name}.jpg`);
/** @type {import('esbuild').BuildOptions} */
const bundle = { bundle: true, minify: true, target: 'es2022', charset: 'utf8', external: ['node:*'], logLevel: 'warning' };

await rm(at('zel/'), { recursive: true, force: true });
await rm(at('page/'), { recursive: true, force: true });

// The package.
await mkdir(at('zel/'), { recursive: true });
for (const name of await readdir(new URL('engine/', here))) {
  if (name.endsWith('.js')) await cp(new URL(`engine/${name}`, here), at(`zel/${name}`));
}
for (const [name, from] of Object.entries(MODULES)) {
  await cp(at(from), at(`zel/${name}`));
  const imports = WebAssembly.Module.imports(await WebAssembly.compile(new Uint8Array(await readFile(at(from)))));
  const missing = imports.filter(({ module, name: symbol }) => module === 'env' && !/^(__syscall_|emscripten_notify_)/.test(symbol));
  if (missing.length > 0) throw new Error(`${name} lacks ${missing.map(({ name: symbol }) => symbol).join(', ')}`);
}
await cp(new URL('README.md', here), at('zel/README.md'));
await cp(new URL('../LICENSE', here), at('zel/LICENSE'));
const { scripts, devDependencies, ...published } = JSON.parse(await readFile(new URL('package.json', here), 'utf8'));
await writeFile(at('zel/package.json'), JSON.stringify(published, null, 2) + '\n');
const tsc = new URL('node_modules/typescript/bin/tsc', here).pathname;
execFileSync('node', [tsc, '-p', new URL('engine/', here).pathname], { stdio: 'inherit' });

// The folder.
await mkdir(at('page/samples/'), { recursive: true });
const page = new URL('page/', here);
await build({ ...bundle, entryPoints: [new URL('entry.js', page).pathname], outfile: at('page/main.js').pathname, format: 'esm' });
await build({ ...bundle, entryPoints: [new URL('worker.js', page).pathname], outfile: at('page/worker.js').pathname, format: 'iife', define: { 'import.meta.url': '""' } });
await build({ ...bundle, entryPoints: [new URL('style.css', page).pathname], outfile: at('page/style.css').pathname });
for (const [name, from] of Object.entries(MODULES)) await cp(at(from), at(`page/${name}`));
for (const name of SAMPLES) await cp(at(name), at(`page/${name}`));
const html = await readFile(new URL('index.html', page), 'utf8');
await writeFile(at('page/index.html'), html);
const files = ['index.html', 'main.js', 'worker.js', 'style.css', ...Object.keys(MODULES), ...SAMPLES];
const hash = createHash('sha256');
for (const name of files) hash.update(await readFile(at(`page/${name}`)));
const served = ['./', ...files];
const keeper = await readFile(new URL('sw.js', page), 'utf8');
const constants = `const NAME = 'zel-${hash.digest('hex').slice(0, 12)}', FILES = ${JSON.stringify(served)};\n`;
await writeFile(at('page/sw.js'), constants + keeper.replace(/^\/\* global.*\n/m, ''));

// The single file.
await mkdir(at('parts/'), { recursive: true });
await cp(at('page/worker.js'), at('parts/worker.iife'));
for (const [name, from] of Object.entries(MODULES)) await cp(at(from), at(`parts/${name}`));
for (const name of SAMPLES) await cp(at(name), at(`parts/${name.slice('samples/'.length)}`));
const single = await build({
  ...bundle, entryPoints: [new URL('single.js', page).pathname], format: 'iife', write: false, define: { 'import.meta.url': '""' },
  alias: { parts: at('parts').pathname }, loader: { '.iife': 'text', '.wasm': 'binary', '.jpg': 'dataurl' },
});
const script = (single.outputFiles?.[0].text ?? '').replaceAll('</script', '<\\/script');
const style = await readFile(at('page/style.css'), 'utf8');
const oneFile = html
  .replace(/content="default-src[^"]*"/, `content="default-src 'none'; script-src 'unsafe-inline' 'wasm-unsafe-eval' blob:; worker-src blob:; style-src 'unsafe-inline'; img-src blob: data:; connect-src blob: data:"`)
  .replace(/<link rel="stylesheet"[^>]*>/, () => `<style>${style}</style>`)
  .replace(/<script type="module"[^>]*><\/script>/, () => `<script>${script}</script>`);
await writeFile(at('zel.html'), oneFile);
