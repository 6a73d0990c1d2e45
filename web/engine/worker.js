import { serve } from './worker-port.js';

if (typeof process === 'object' && process.versions?.node) {
  const { parentPort } = await import('node:worker_threads');
  parentPort?.on('message', serve((message, transfer) => parentPort.postMessage(message, /** @type {any} */ (transfer))));
} else {
  const scope = /** @type {any} */ (globalThis);
  const answer = serve((message, transfer) => scope.postMessage(message, transfer));
  scope.onmessage = (/** @type {MessageEvent} */ event) => answer(event.data);
}
