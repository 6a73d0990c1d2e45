// The documentation as a folder of files: built by its script, opened from the disk, wide and narrow, light and dark.
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { existsSync, readFileSync, readdirSync } from 'node:fs';
import { test } from 'node:test';
import { launch } from './support.js';

const ROOT = new URL('../../', import.meta.url);
const SITE = new URL('build/site/', ROOT);
const missing = ['/usr/bin/mkdocs', '/usr/bin/chromium'].find((program) => !existsSync(program));

test('the documentation works from a folder', { skip: missing && `${missing} is not installed` }, async (t) => {
  execFileSync(new URL('scripts/docs.sh', ROOT).pathname, { stdio: 'pipe' });
  const axe = readFileSync(new URL('../node_modules/axe-core/axe.min.js', import.meta.url), 'utf8');
  const names = readdirSync(SITE, { recursive: true }).map(String).filter((name) => /^[^/]*\.html$|operations\/(index|vivid|foliage-tone)\.html$/.test(name) && name !== '404.html');
  assert.ok(names.length > 12, names.join(' '));
  const browser = await launch('chromium');
  t.after(() => browser.close());
  for (const [width, scheme] of /** @type {[number, string][]} */ ([[1280, 'light'], [390, 'dark']])) {
    const page = await (await browser.createBrowserContext()).newPage();
    page.setDefaultTimeout(90000);
    await page.setViewport({ width, height: 800 });
    await page.emulateMediaFeatures([{ name: 'prefers-color-scheme', value: scheme }]);
    /** @type {string[]} */
    const elsewhere = [];
    page.on('request', (request) => /^(file|data|blob|about):/.test(request.url()) || elsewhere.push(request.url()));
    for (const name of names) {
      await page.goto(new URL(name, SITE).href);
      // The theme's script puts tables into frames that scroll, sooner or later.
      await page.waitForFunction(() => [...document.querySelectorAll('article table')].every((table) => table.closest('.md-typeset__scrollwrap')));
      const found = await page.evaluate(async (code) => {
        document.documentElement.style.setProperty('transition', 'none');
        (0, eval)(code);
        const { violations } = await /** @type {any} */ (window).axe.run();
        const pictures = [...document.querySelectorAll('article img')];
        for (const picture of pictures) await /** @type {HTMLImageElement} */ (picture).decode();
        return {
          rules: violations.map((/** @type {any} */ v) => `${v.id}: ${v.nodes[0].html.slice(0, 160)}`),
          unnamed: pictures.filter((picture) => !picture.getAttribute('alt')).length,
          over: document.documentElement.scrollWidth - innerWidth,
          dark: document.body.dataset.mdColorScheme === 'slate',
        };
      }, axe);
      assert.deepEqual(found, { rules: [], unnamed: 0, over: 0, dark: scheme === 'dark' }, `${name} at ${width}, ${scheme}`);
    }
    await page.goto(new URL('index.html', SITE).href);
    if (width < 700) {
      await page.click('label.md-header__button[for=__drawer]');
      await page.waitForSelector('.md-nav--primary a[href="cookbook.html"]', { visible: true });
      await page.reload();
    }
    await page.click(width < 700 ? 'label.md-header__button[for=__search]' : '.md-search__input');
    await page.keyboard.type('vivid');
    await page.waitForSelector('.md-search-result__item a[href*="operations/vivid.html"]');
    assert.deepEqual(elsewhere, []);
    await page.close();
  }
});
