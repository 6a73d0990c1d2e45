// Serves the page on this computer alone: npm start [PORT]
import { readFile } from 'node:fs/promises';
import { createServer } from 'node:http';

const TYPES = { html: 'text/html; charset=utf-8', js: 'text/javascript', css: 'text/css', wasm: 'application/wasm', jpg: 'image/jpeg' };

/** @param {number} port 0: any @param {URL} [root] @returns {Promise<import('node:http').Server>} */
export function serve(port, root = new URL('../build/web/page/', import.meta.url)) {
  const server = createServer(async (request, response) => {
    const { pathname } = new URL(request.url ?? '/', 'http://localhost');
    const name = pathname.endsWith('/') ? `${pathname}index.html` : pathname;
    try {
      const body = await readFile(new URL(`.${name}`, root));
      const type = /** @type {Record<string, string>} */ (TYPES)[name.split('.').pop() ?? ''] ?? 'application/octet-stream';
      response.writeHead(200, { 'Content-Type': type, 'Cache-Control': 'no-cache' }).end(body);
    } catch {
      response.writeHead(404, { 'Content-Type': 'text/plain' }).end('not found');
    }
  });
  return new Promise((resolve) => server.listen(port, '127.0.0.1', () => resolve(server)));
}

if (process.argv[1] === new URL(import.meta.url).pathname) {
  const server = await serve(Number(process.argv[2] ?? 8080));
  console.log(`http://localhost:${/** @type {import('node:net').AddressInfo} */ (server.address()).port}/`);
}
