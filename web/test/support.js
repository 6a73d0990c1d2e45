// What the tests share: the native tool, pictures, browsers.
import { execFileSync } from 'node:child_process';
import { createHash } from 'node:crypto';
import { existsSync, mkdtempSync, readFileSync, rmSync, writeFileSync } from 'node:fs';
import { cpus, loadavg, tmpdir } from 'node:os';
import { join } from 'node:path';
import puppeteer from 'puppeteer-core';
import { readPng, writePng } from '../page/formats/png.js';
import { serve } from '../serve.js';

export const BUILT = new URL('../../build/web/', import.meta.url);
export const folder = mkdtempSync(join(tmpdir(), 'zel-web-'));
process.on('exit', () => rmSync(folder, { recursive: true, force: true }));

const tool = process.env.ZEL ?? new URL('../../build/demo/zel', import.meta.url).pathname;
/** @param {...string} words */
export const zel = (...words) => execFileSync(tool, words, { cwd: folder, encoding: 'utf8', stdio: ['ignore', 'pipe', 'pipe'] });
export const inFolder = (/** @type {string} */ name) => join(folder, name);

/** Runs a printed command as a shell would. @param {string} command */
export function type(command) {
  execFileSync('sh', ['-c', `PATH=${new URL('.', `file://${tool}`).pathname}:$PATH; ${command} --overwrite`], { cwd: folder, stdio: 'pipe' });
}

export const digest = (/** @type {ArrayBufferView} */ data) =>
  createHash('sha256').update(new Uint8Array(data.buffer, data.byteOffset, data.byteLength)).digest('hex');

/** @param {string} name */
export const pixelsOf = async (name) => (await readPng(new Uint8Array(readFileSync(inFolder(name))))).pixels;

/** @param {string} name @param {import('../page/formats/failure.js').Pixels} pixels @param {object} [metadata] */
export async function writePicture(name, pixels, metadata) {
  writeFileSync(inFolder(name), new Uint8Array(await (await writePng(pixels, metadata)).arrayBuffer()));
}

/** The drawn sample, and the same with samples between the 256 levels. */
export async function drawSamples() {
  zel('sample', 'eight.png', '--size', '240x160', '--overwrite');
  const eight = await pixelsOf('eight.png');
  const data = Uint16Array.from(eight.data, (value, i) => Math.min(65535, value * 257 + ((i * 7919) % 257)));
  const sixteen = { ...eight, data };
  await writePicture('sixteen.png', sixteen);
  return { eight, sixteen };
}

/** Every operation with its mild, middle and strong settings. @param {import('../engine/zel.js').Operation[]} operations */
export const examples = (operations) => operations.flatMap(({ name, examples: three }) => three.map((settings) => `${name} ${settings}`));

/** @type {Map<string, string>} */
const native = new Map();

/** What the native tool makes of them. @param {string} picture @param {string[]} chains */
export async function nativeDigests(picture, chains) {
  const found = [];
  for (const chain of chains) {
    const key = `${picture} ${chain}`;
    if (!native.has(key)) {
      zel(picture, '-o', 'native.png', '--overwrite', ...chain.split(' '));
      native.set(key, digest((await pixelsOf('native.png')).data));
    }
    found.push(native.get(key));
  }
  return found;
}

const BROWSERS = {
  chromium: {
    executablePath: '/usr/bin/chromium',
    args: ['--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run', '--disable-background-networking', '--disable-component-update', '--disable-sync'],
  },
  firefox: { browser: /** @type {const} */ ('firefox'), executablePath: '/usr/bin/firefox-esr' },
};

/** Those that this machine has. */
export const browsers = /** @type {(keyof typeof BROWSERS)[]} */ (['chromium', 'firefox']).filter((name) => existsSync(BROWSERS[name].executablePath));

/** @param {keyof typeof BROWSERS} name */
export const launch = (name) => puppeteer.launch({ headless: true, protocolTimeout: 240000, ...BROWSERS[name] });

/** How much slower than alone things may be while others use the machine too. */
export const slack = () => Math.max(1, (1.5 * loadavg()[0]) / cpus().length);

/**
 * The page opened in a browser, with what it offers as downloads caught.
 * @param {import('puppeteer-core').Browser} browser
 * @param {string} url
 */
export async function openPage(browser, url) {
  const page = await browser.newPage();
  page.setDefaultTimeout(60000);
  /** @type {string[]} */
  const faults = [];
  page.on('pageerror', (error) => faults.push(String(error)));
  await page.setViewport({ width: 1280, height: 800 });
  await page.evaluateOnNewDocument(() => {
    const saved = /** @type {any} */ (window).saved = [];
    const original = URL.createObjectURL;
    URL.createObjectURL = (blob) => (saved.push(blob), original.call(URL, blob));
    HTMLAnchorElement.prototype.click = function () {};
    try {
      if (!localStorage.getItem('zel.language')) localStorage.setItem('zel.language', 'en');
    } catch { /* no storage before there is a page */ }
  });
  await page.goto(url);
  await page.waitForSelector('html[data-ready]');

  const driver = {
    page,
    faults,
    /** Waits until what is asked for is on show at full size. */
    async settled() {
      await page.waitForFunction(() => ['Full size', 'Original'].includes(document.querySelector('#state')?.textContent ?? ''), { polling: 30 });
    },
    /** @param {string[]} names */
    async open(...names) {
      const input = /** @type {import('puppeteer-core').ElementHandle<HTMLInputElement>} */ (await page.$('#files'));
      await input.uploadFile(...names.map((name) => inFolder(name)));
      await page.waitForFunction(() => /** @type {HTMLButtonElement} */ (document.querySelector('#save')).disabled === false || document.querySelector('#failure')?.textContent, { polling: 30 });
    },
    /** @param {string} words */
    async chain(words) {
      await page.evaluate((hash) => { location.hash = hash; }, words ? words.split(' ').map(encodeURIComponent).join('&') : 'x');
      await page.waitForFunction((end) => document.querySelector('#command')?.textContent?.replaceAll("'", '').endsWith(end), { polling: 30 }, ` ${words}`);
      await this.settled();
    },
    /** @param {string} selector */
    text: (selector) => page.$eval(selector, (element) => element.textContent ?? ''),
    /** Does something and gives the bytes that it offers for download. @param {() => Promise<unknown>} act @param {string} name */
    async caught(act, name) {
      await page.evaluate(() => { /** @type {any} */ (window).saved.length = 0; });
      await act();
      await page.waitForFunction(() => /** @type {any} */ (window).saved.length > 0, { polling: 50 });
      const base64 = await page.evaluate(async () => {
        const blob = /** @type {any} */ (window).saved.at(-1);
        const url = await new Promise((resolve) => {
          const reader = new FileReader();
          reader.onload = () => resolve(reader.result);
          reader.readAsDataURL(blob);
        });
        return String(url).split(',')[1];
      });
      writeFileSync(inFolder(name), Buffer.from(base64, 'base64'));
      return Buffer.from(base64, 'base64');
    },
    /** Saves as a person does. @param {string} format @param {string} name @param {string} [button] */
    save(format, name, button = '#save-one') {
      return this.caught(async () => {
        await page.click('#save');
        await page.select('#format', format);
        await page.click(button);
      }, name);
    },
  };
  return driver;
}

/** @param {URL} [root] */
export async function server(root) {
  const running = await serve(0, root);
  const { port } = /** @type {import('node:net').AddressInfo} */ (running.address());
  return { url: `http://127.0.0.1:${port}/`, close: () => (running.closeAllConnections(), running.close()) };
}

/** Memory of a process and all that it started, shared parts counted once, in MB. @param {number} pid */
export function memoryOf(pid) {
  const rows = execFileSync('ps', ['-eo', 'pid=,ppid='], { encoding: 'utf8' }).trim().split('\n').map((row) => row.trim().split(/\s+/).map(Number));
  const family = new Set([pid]);
  for (let grown = true; grown; ) {
    grown = false;
    for (const [id, parent] of rows) if (family.has(parent) && !family.has(id)) grown = Boolean(family.add(id));
  }
  let sum = 0;
  for (const id of family) {
    try {
      sum += Number(readFileSync(`/proc/${id}/smaps_rollup`, 'utf8').match(/^Pss: +(\d+)/m)?.[1]) / 1024;
    } catch { /* it has just ended */ }
  }
  return sum;
}
