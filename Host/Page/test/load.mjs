// Makes a TypeScript module of the page loadable by Node: bundled by esbuild into memory, with whatever it imports.
import { build } from 'esbuild';
import { fileURLToPath } from 'node:url';

export async function load(path) {
  const result = await build({
    entryPoints: [fileURLToPath(new URL(`../src/${path}`, import.meta.url))],
    bundle: true, write: false, format: 'esm', platform: 'node', target: 'node18', logLevel: 'error',
    jsx: 'automatic', jsxImportSource: 'preact',
  });
  return import(`data:text/javascript;base64,${Buffer.from(result.outputFiles[0].contents).toString('base64')}`);
}
