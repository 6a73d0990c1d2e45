// Keeps the page on the device, so that it opens without a network. The build fills in NAME and FILES.
/* global NAME, FILES */
addEventListener('install', (event) => event.waitUntil(caches.open(NAME).then((cache) => cache.addAll(FILES)).then(() => skipWaiting())));

addEventListener('activate', (event) => {
  const old = async () => {
    for (const name of await caches.keys()) if (name !== NAME && name.startsWith('zel-')) await caches.delete(name);
    await clients.claim();
  };
  event.waitUntil(old());
});

addEventListener('fetch', (event) => {
  if (event.request.method !== 'GET' || new URL(event.request.url).origin !== location.origin) return;
  event.respondWith(caches.match(event.request, { cacheName: NAME, ignoreSearch: true }).then((kept) => kept ?? fetch(event.request)));
});
