// What was written is there again after the program was stopped and started.
import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';
import { chooseMailbox, row, startBrowser } from './support/browser.mjs';
import { startHost } from './support/host.mjs';

let browser;
before(async () => (browser = await startBrowser()));
after(() => browser?.close());

test('a draft survives a restart, and is gone once it is sent', async (t) => {
  const host = await startHost(t, { args: ['--demo', '--no-plugin'] });
  let page = await browser.open(t, host);
  await page.keyboard.press('c');
  const write = async () => {
    const compose = page.locator('.compose');
    await compose.waitFor();
    return compose;
  };
  let compose = await write();
  await page.getByLabel('To', { exact: true }).fill('tobias@quillstead.example,');
  await compose.locator('.editor').click();
  await page.keyboard.type('It begins like this, and then');
  await compose.locator('.subject-input').fill('Half a thought');
  // The program saves what it has when it is told to stop; the page must have handed it over by then. The title shows
  // what it was given last.
  await page.waitForFunction(() => document.querySelector('.compose-title, .compose header')?.textContent.includes('Half a thought'));
  await host.restart();

  page = await browser.open(t, host);
  await chooseMailbox(page, 'mira/Drafts');
  await row(page, 'Half a thought').dblclick();
  compose = await write();
  await compose.locator('.editor').getByText('It begins like this, and then').waitFor();
  await compose.locator('.token', { hasText: 'tobias@quillstead.example' }).waitFor();
  await page.keyboard.press('Control+Enter');
  await compose.waitFor({ state: 'detached' });
  await row(page, 'Half a thought').waitFor({ state: 'detached' });
  await chooseMailbox(page, 'tobias/INBOX');
  await row(page, 'Half a thought').waitFor();
});

test('a program that is stopped says so to its page and ends, also while an alert is open', async (t) => {
  const host = await startHost(t, { args: ['--demo', '--no-plugin'] });
  const page = await browser.open(t, host);
  // Nobody to send it to: an alert, which waits for an answer.
  await page.keyboard.press('c');
  await page.locator('.compose').waitFor();
  await page.keyboard.press('Control+Enter');
  await page.getByRole('alertdialog').waitFor();
  assert.deepEqual(await host.stop(), { code: 0, signal: null }, host.errors);
  await page.getByText('Quillstead has stopped').waitFor();
});
