// The same calls in native code, in node and in Chromium, one after the other on one core; prints the best
// milliseconds of all turns, since the clock also counts what others do, and ratios to native code with 128-bit registers.
//   node bench/turns.mjs PROGRAM MODULE.wasm [REGEX]
import { execFileSync, spawn } from 'node:child_process';
import { existsSync, mkdtempSync, readFileSync, rmSync } from 'node:fs';
import { createServer } from 'node:http';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { createInterface } from 'node:readline';

const [program, module, filter = '.'] = process.argv.slice(2);
const TURNS = 7;
const CHROMIUM = '/usr/bin/chromium';

/** A module without a system around it, in node and in the page alike: gives the best milliseconds of a call. */
async function calls(/** @type {BufferSource} */ bytes) {
  const nothing = new Proxy({}, { get: () => () => 44 });
  const { instance } = await WebAssembly.instantiate(bytes, { wasi_snapshot_preview1: nothing, env: nothing });
  const { _initialize, RunCall } = /** @type {Record<string, Function>} */ (instance.exports);
  _initialize?.();
  return (/** @type {number} */ call) => {
    let best = Infinity;
    // Until what others took from the caches has come back.
    for (const end = performance.now() + 60; performance.now() < end; ) {
      const start = performance.now();
      if (RunCall(call) !== 0) throw new Error(`call ${call} was refused`);
      best = Math.min(best, performance.now() - start);
    }
    return best;
  };
}

/** The page asks for calls and sends what they took. */
const PAGE = `<script type="module">
${calls}
const time = await calls(await (await fetch('module')).arrayBuffer());
for (let spent = ''; ; ) {
  const call = await (await fetch('next', { method: 'POST', body: spent })).text();
  spent = String(time(Number(call)));
}
</script>`;

async function chromium() {
  /** @type {import('node:http').ServerResponse} */
  let waiting;
  let told = (/** @type {string} */ spent) => {};
  const asked = () => new Promise((resolve) => { told = resolve; });
  const server = createServer(async (request, response) => {
    if (request.url !== '/next') {
      // Pages that share nothing with others get a fine clock.
      response.setHeader('cross-origin-opener-policy', 'same-origin');
      response.setHeader('cross-origin-embedder-policy', 'require-corp');
      response.setHeader('content-type', request.url === '/module' ? 'application/wasm' : 'text/html');
      return response.end(request.url === '/module' ? readFileSync(module) : PAGE);
    }
    let spent = '';
    for await (const part of request) spent += part;
    waiting = response;
    told(spent);
  });
  await new Promise((resolve) => server.listen(0, '127.0.0.1', () => resolve(undefined)));
  const { port } = /** @type {import('node:net').AddressInfo} */ (server.address());
  const folder = mkdtempSync(join(tmpdir(), 'zel-turns-'));
  const ready = asked();
  const browser = spawn(CHROMIUM, ['--headless', '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
    '--disable-background-networking', '--disable-component-update', '--disable-sync', `--user-data-dir=${folder}`,
    `http://127.0.0.1:${port}/`], { stdio: 'ignore', detached: true });
  await ready;
  return {
    name: 'Chromium',
    async time(/** @type {number} */ call) {
      const answer = asked();
      waiting.end(String(call));
      return Number(await answer);
    },
    async close() {
      const closed = new Promise((resolve) => browser.once('close', resolve));
      process.kill(-Number(browser.pid), 'SIGKILL');
      await closed;
      server.closeAllConnections();
      server.close();
      rmSync(folder, { recursive: true, force: true, maxRetries: 10, retryDelay: 100 });
    },
  };
}

function native() {
  const child = spawn(program, { stdio: ['pipe', 'pipe', 'inherit'] });
  const lines = createInterface({ input: child.stdout })[Symbol.asyncIterator]();
  const level = (/** @type {string} */ name) => ({
    name,
    async time(/** @type {number} */ call) {
      let best = Infinity;
      for (const end = performance.now() + 60; performance.now() < end; ) {
        child.stdin.write(`${call} ${name}\n`);
        best = Math.min(best, Number((await lines.next()).value));
      }
      return best;
    },
    close: () => child.stdin.end(),
  });
  return ['sse41', 'avx2'].map(level);
}

/** Until calls get no faster: engines translate what runs often a second time, beside it. @param {{time: (call: number) => number | Promise<number>}} host @param {number} call */
async function warm(host, call) {
  for (let best = Infinity, round = Infinity; round === Infinity || round < 0.9 * best; ) {
    best = round;
    for (let i = 0; i < 5; ++i) round = Math.min(round, await host.time(call));
    await new Promise((resolve) => setTimeout(resolve, 100));
  }
}

const names = execFileSync(program, ['names'], { encoding: 'utf8' }).trim().split('\n');
const hosts = [...native(), { name: 'node', time: await calls(readFileSync(module)), close() {} }];
if (existsSync(CHROMIUM)) hosts.push(await chromium());

console.log(['', ...hosts.map(({ name }) => `${name}, ms`), ...hosts.slice(2).map(({ name }) => `${name} / ${hosts[0].name}`)]
  .map((word, i) => (i ? word.padStart(16) : word.padEnd(20))).join(''));
for (const [call, name] of names.entries()) {
  if (!new RegExp(filter).test(name)) continue;
  for (const host of hosts.slice(2)) await warm(host, call);
  const times = hosts.map(() => Infinity);
  for (let turn = 0; turn < TURNS; ++turn) {
    for (const [i, host] of hosts.entries()) times[i] = Math.min(times[i], await host.time(call));
  }
  console.log([name.padEnd(20), ...[...times, ...times.slice(2).map((time) => time / times[0])].map((v) => v.toFixed(2).padStart(16))].join(''));
}
for (const host of hosts) await host.close();
