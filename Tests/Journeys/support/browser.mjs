// Debian's Chromium, driven through playwright-core, and what all journeys do with the page.
import { existsSync, mkdtempSync, readFileSync, rmSync } from 'node:fs';
import { createRequire } from 'node:module';
import { tmpdir } from 'node:os';
import { join } from 'node:path';

const pagePackages = createRequire(join(process.env.QS_PAGE_DIR, 'package.json'));
const { chromium } = pagePackages('playwright-core');

const flags = [
  '--headless', '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run', '--disable-background-networking',
  '--disable-component-update', '--disable-sync',
];
const patience = 30_000;

/** Once for each test file; answers a function that opens a page on a host and is its own end. */
export async function startBrowser() {
  const executablePath = process.env.QS_CHROMIUM ?? ['/usr/bin/chromium', '/usr/bin/chromium-browser'].find(existsSync);
  if (!executablePath) throw new Error('No Chromium was found; QS_CHROMIUM names it.');
  const profile = mkdtempSync(join(tmpdir(), 'quillstead-browser-'));
  const context = await chromium.launchPersistentContext(profile, { executablePath, headless: true, args: flags });
  return {
    async open(t, host, { width = 1280, height = 800, dark = false } = {}) {
      const page = await context.newPage();
      page.setDefaultTimeout(patience);
      t.after(() => page.close());
      page.faults = [];
      page.on('pageerror', (error) => page.faults.push(error.message));
      await page.setViewportSize({ width, height });
      await page.emulateMedia({ colorScheme: dark ? 'dark' : 'light', reducedMotion: 'reduce' });
      await page.goto(await host.link());
      await page.waitForSelector('.viewer');
      return page;
    },
    /** A tab with nothing of ours. */
    async bare(t) {
      const page = await context.newPage();
      page.setDefaultTimeout(patience);
      t.after(() => page.close());
      return page;
    },
    async close() {
      await context.close();
      rmSync(profile, { recursive: true, force: true, maxRetries: 5 });
    },
  };
}

export const chooseMailbox = (page, id) => page.click(`[data-mailbox="${id}"]`);

/** The row of a message, by its subject. */
export const row = (page, subject) => page.locator('.row', { hasText: subject }).first();

/** The text of the message that is shown, from inside its frame. */
export const shownText = (page) => page.frameLocator('.body-frame').locator('body');

/** Chooses an item of the main menu by its words, as a person does. */
export async function chooseFromMenu(page, menu, item) {
  await page.locator('.menubar-title', { hasText: menu }).first().click();
  await page.getByRole('menuitem', { name: item, exact: true }).click();
}

/** Begins a message from Mira, for Tobias unless somebody else is named, and leaves it open. */
export async function write(page, subject, text = '', to = 'tobias@quillstead.example') {
  await row(page, 'Ten years').waitFor();
  await page.getByRole('button', { name: 'New', exact: true }).click();
  const compose = page.locator('.compose');
  await compose.waitFor();
  await page.getByLabel('From', { exact: true }).selectOption('mira');
  await page.getByLabel('To', { exact: true }).fill(`${to},`);
  await compose.locator('.token', { hasText: to }).waitFor();
  await compose.locator('.subject-input').fill(subject);
  if (text) {
    await compose.locator('.editor').click();
    await page.keyboard.type(text);
  }
  return compose;
}

const axe = readFileSync(pagePackages.resolve('axe-core/axe.min.js'), 'utf8');

/** What axe-core finds serious or critical. By way of the debugger, since the page's policy forbids strange scripts. */
export async function axeFaults(page) {
  const debug = await page.context().newCDPSession(page);
  await debug.send('Runtime.evaluate', { expression: axe });
  const { result, exceptionDetails } = await debug.send('Runtime.evaluate', {
    expression: 'axe.run(document, { iframes: false }).then((found) => JSON.stringify(found.violations))',
    awaitPromise: true, returnByValue: true,
  });
  if (exceptionDetails) throw new Error(exceptionDetails.text);
  return JSON.parse(result.value)
    .filter(({ impact }) => impact === 'serious' || impact === 'critical')
    .map(({ id, nodes }) => `${id}: ${nodes.map((node) => node.target.join(' ')).join(', ')}`);
}
