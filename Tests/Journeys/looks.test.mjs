// The real screens, light and dark, wide and narrow: nothing that axe-core calls serious or critical, nothing wider than
// the window.
import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';
import { axeFaults, row, shownText, startBrowser } from './support/browser.mjs';
import { startHost } from './support/host.mjs';

let browser;
before(async () => (browser = await startBrowser()));
after(() => browser?.close());

const screens = {
  inbox: (page) => row(page, 'Ten years').waitFor(),
  message: async (page) => {
    await row(page, 'The Deckle').click();
    await shownText(page).getByText('The river was high').waitFor();
  },
  compose: async (page) => {
    await row(page, 'Ten years').waitFor();
    await page.keyboard.press('c');
    await page.locator('.compose .editor').waitFor();
  },
  preferences: async (page) => {
    await row(page, 'Ten years').waitFor();
    await page.keyboard.press('Control+,');
    await page.locator('.preferences').getByText('Quillstead', { exact: true }).first().click();
    await page.locator('.preferences input').first().waitFor();
  },
};
// The next page is one of the same program, which shows what is open.
const leave = {
  compose: async (page) => {
    await page.locator('.compose').getByRole('button', { name: 'Close' }).click();
    await page.locator('.compose').waitFor({ state: 'detached' });
  },
  preferences: async (page) => {
    await page.keyboard.press('Escape');
    await page.locator('.preferences').waitFor({ state: 'detached' });
  },
};
const shapes = {
  'light, 1280': { width: 1280 }, 'dark, 1280': { width: 1280, dark: true },
  'light, 400': { width: 400 }, 'dark, 400': { width: 400, dark: true },
};

test('screens', async (t) => {
  const host = await startHost(t);
  for (const [shape, options] of Object.entries(shapes))
    for (const [name, show] of Object.entries(screens))
      await t.test(`${name}, ${shape}`, async (part) => {
        const page = await browser.open(part, host, options);
        await show(page);
        await page.evaluate(() => Promise.all(document.getAnimations().map((each) => each.finished.catch(() => undefined))));
        assert.deepEqual(await axeFaults(page), []);
        assert.ok(await page.evaluate(() => document.documentElement.scrollWidth <= innerWidth), 'the page is too wide');
        await leave[name]?.(page);
      });
});
