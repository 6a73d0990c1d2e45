import { start } from './main.js';

if ('serviceWorker' in navigator) navigator.serviceWorker.register('sw.js');
start();
