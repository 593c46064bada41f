// A built page, a mock host and a browser for tests: `const { page, host } = await open(t)`; all of it ends with the test.
import { spawnSync } from 'node:child_process';
import { mkdtempSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { fileURLToPath } from 'node:url';
import { launchChromium, newPage } from '../chromium.mjs';
import { startMockHost } from '../mock-host.mjs';

export { axeFaults, becomes, until } from '../chromium.mjs';

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
  browser = await launchChromium(join(scratch, 'profile'));
  return browser;
}

export async function stopBrowser() {
  await browser?.close();
  rmSync(scratch, { recursive: true, force: true });
}

export async function open(t, { width = 1280, height = 820, dark = false } = {}) {
  const host = await startMockHost(built);
  const page = await newPage(browser, { width, height, dark });
  t.after(async () => {
    await page.close();
    host.close();
  });
  await page.goto(host.startLink);
  await page.waitForSelector('.row:not(.loading)');
  return { page, host, faults: page.faults };
}

export const callsOf = (host, name) => host.calls.filter((each) => each.call === name).map((each) => each.args);
