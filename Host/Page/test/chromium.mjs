// Debian's Chromium, driven through playwright-core, and what all tests in a browser do: the page's own and journeys.
//
// QS_SLOW=8 in the environment makes the page's processor eight times slower, which finds tests that count on haste.
import assert from 'node:assert/strict';
import { existsSync } from 'node:fs';
import { readFile } from 'node:fs/promises';
import { createRequire } from 'node:module';
import { isDeepStrictEqual } from 'node:util';
import { chromium } from 'playwright-core';

const flags = [
  '--headless', '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run', '--disable-background-networking',
  '--disable-component-update', '--disable-sync',
];

/** How long anything may take, in milliseconds, before a test gives up: far longer than it ever should. */
export const patience = 60_000;

/** A browser of its own over a profile folder; the caller closes it. */
export async function launchChromium(profile) {
  const executablePath = process.env.QS_CHROMIUM ?? ['/usr/bin/chromium', '/usr/bin/chromium-browser'].find(existsSync);
  if (!executablePath) throw new Error('No Chromium was found; QS_CHROMIUM names it.');
  return chromium.launchPersistentContext(profile, { executablePath, headless: true, args: flags });
}

/** A tab of that size and colour scheme; `faults` collects the errors of what runs in it. */
export async function newPage(context, { width, height, dark = false, reducedMotion = null }) {
  const page = await context.newPage();
  page.faults = [];
  page.on('pageerror', (error) => page.faults.push(error.message));
  page.setDefaultTimeout(patience);
  await page.setViewportSize({ width, height });
  await page.emulateMedia({ colorScheme: dark ? 'dark' : 'light', reducedMotion });
  const rate = Number(process.env.QS_SLOW ?? 1);
  if (rate > 1) await (await context.newCDPSession(page)).send('Emulation.setCPUThrottlingRate', { rate });
  return page;
}

/** Resolves once `check` answers something true, which it then answers; fails after a while. */
export async function until(check, what) {
  for (const end = Date.now() + patience; Date.now() < end; await new Promise((done) => setTimeout(done, 50))) {
    const found = await check();
    if (found) return found;
  }
  throw new Error(`This never came: ${what}`);
}

/** Waits until `read` answers what is wanted; fails with the difference. */
export async function becomes(read, wanted, message) {
  let found;
  await until(async () => isDeepStrictEqual((found = await read()), wanted), message).catch(() => undefined);
  assert.deepEqual(found, wanted, message);
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
