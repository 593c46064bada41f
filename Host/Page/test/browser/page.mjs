// A built page, a mock host and a browser for tests: `const { page, host } = await open(t)`; all of it ends with the test.
import { spawnSync } from 'node:child_process';
import { existsSync, mkdtempSync, rmSync } from 'node:fs';
import { readFile } from 'node:fs/promises';
import { createRequire } from 'node:module';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { fileURLToPath } from 'node:url';
import { chromium } from 'playwright-core';
import { startMockHost } from '../mock-host.mjs';

const flags = [
  '--headless', '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run', '--disable-background-networking',
  '--disable-component-update', '--disable-sync',
];
const builder = fileURLToPath(new URL('../../build.mjs', import.meta.url));
const scratch = mkdtempSync(join(tmpdir(), 'quillstead-page-'));
const built = join(scratch, 'page');
let browser;

/** Once for each test file. */
export async function startBrowser() {
  const made = spawnSync(process.execPath, [builder, built], { encoding: 'utf8' });
  if (made.status !== 0) throw new Error(`The page cannot be built: ${made.stderr}`);
  await openContext();
}

/** A browser alone, without the built page. */
export async function openContext() {
  const executable = process.env.QS_CHROMIUM ?? ['/usr/bin/chromium', '/usr/bin/chromium-browser'].find(existsSync);
  if (!executable) throw new Error('No Chromium was found; QS_CHROMIUM names it.');
  browser = await chromium.launchPersistentContext(join(scratch, 'profile'), { executablePath: executable, headless: true, args: flags });
  return browser;
}

export async function stopBrowser() {
  await browser?.close();
  rmSync(scratch, { recursive: true, force: true });
}

export async function open(t, { width = 1280, height = 820, dark = false } = {}) {
  const host = await startMockHost(built);
  const page = await browser.newPage();
  const faults = [];
  page.setDefaultTimeout(60000);
  page.on('pageerror', (error) => faults.push(error.message));
  await page.setViewportSize({ width, height });
  await page.emulateMedia({ colorScheme: dark ? 'dark' : 'light' });
  t.after(async () => {
    await page.close();
    host.close();
  });
  await page.goto(host.startLink);
  await page.waitForSelector('.row:not(.loading)');
  return { page, host, faults };
}

export const callsOf = (host, name) => host.calls.filter((each) => each.call === name).map((each) => each.args);

/** Resolves once `check` answers something true, which it then answers; fails after a while. */
export async function until(check, what) {
  for (let tried = 0; tried < 100; ++tried) {
    const found = await check();
    if (found) return found;
    await new Promise((done) => setTimeout(done, 50));
  }
  throw new Error(`never came: ${what}`);
}

const axeSource = readFile(createRequire(import.meta.url).resolve('axe-core/axe.min.js'), 'utf8');

/** What axe-core finds serious or critical. By way of the debugger, since the page's policy forbids strange scripts. */
export async function axeFaults(page) {
  const debug = await page.context().newCDPSession(page);
  await debug.send('Runtime.evaluate', { expression: await axeSource });
  const { result, exceptionDetails } = await debug.send('Runtime.evaluate', {
    expression: 'axe.run(document, { iframes: false }).then((found) => JSON.stringify(found.violations))',
    awaitPromise: true, returnByValue: true,
  });
  if (exceptionDetails) throw new Error(exceptionDetails.text);
  return JSON.parse(result.value)
    .filter(({ impact }) => impact === 'serious' || impact === 'critical')
    .map(({ id, nodes }) => `${id}: ${nodes.map((node) => node.target.join(' ')).join(', ')}`);
}
