// A browser for journeys, and what they all do with the page.
import { mkdtempSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { launchChromium, newPage, patience } from '../../../Host/Page/test/chromium.mjs';

export { axeFaults, becomes, until } from '../../../Host/Page/test/chromium.mjs';

/** Once for each test file; answers a function that opens a page on a host and is its own end. */
export async function startBrowser() {
  const profile = mkdtempSync(join(tmpdir(), 'quillstead-browser-'));
  const context = await launchChromium(profile);
  return {
    async open(t, host, { width = 1280, height = 800, dark = false } = {}) {
      const page = await newPage(context, { width, height, dark, reducedMotion: 'reduce' });
      t.after(() => page.close());
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
