// The page in one file: worker, modules and samples are inside.
import worker from 'parts/worker.iife';
import plain from 'parts/zel.wasm';
import vectors from 'parts/zel-vectors.wasm';
import faded from 'parts/faded.jpg';
import fog from 'parts/fog.jpg';
import indoor from 'parts/indoor.jpg';
import { start } from './main.js';
import { useBuilt } from './work.js';

const url = URL.createObjectURL(new Blob([worker], { type: 'text/javascript' }));
useBuilt({ worker: () => new Worker(url), module: (hasVectors) => WebAssembly.compile(hasVectors ? vectors : plain) });
start((name) => /** @type {Record<string, string>} */ ({ indoor, fog, faded })[name]);
