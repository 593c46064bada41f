// From opening a newsletter to having left it: the demo's publisher takes the request, the banner says so, and the
// preferences tell what was asked of whom. A publisher who can't be reached is told of, too.
import assert from 'node:assert/strict';
import { writeFileSync } from 'node:fs';
import { join } from 'node:path';
import { after, before, test } from 'node:test';
import { axeFaults, chooseMailbox, row, shownText, startBrowser } from './support/browser.mjs';
import { startHost } from './support/host.mjs';

let browser;
before(async () => (browser = await startBrowser()));
after(() => browser?.close());

const newsletter = 'The Deckle: a new shade';
const bannerOf = (page) => page.locator('.banner', { hasText: 'newsletter' });

/** A mail as somebody else's program would have delivered it. */
function deliver(host, subject, addresses) {
  writeFileSync(
    join(host.data, 'Mail', 'mira', 'new', `1900000000.M1P${process.pid}.${subject}`),
    `From: The Ledger <ledger@news.example>\r\nTo: mira@quillstead.example\r\nSubject: ${subject}\r\n` +
      `Message-Id: <${subject}@news.example>\r\nList-Unsubscribe: ${addresses}\r\n\r\nLines.\r\n`,
  );
}

test('leaving a newsletter by its banner', async (t) => {
  const host = await startHost(t);
  const page = await browser.open(t, host);
  await row(page, newsletter).click();
  await shownText(page).getByText('Thicket comes in a new colour').waitFor();
  const banner = bannerOf(page);
  await banner.getByText('You are subscribed to this newsletter').waitFor();
  const button = banner.getByRole('button', { name: 'Unsubscribe', exact: true });
  await page.keyboard.down('Alt');
  await banner.getByRole('button', { name: 'Unsubscribe & Delete' }).waitFor();
  await page.keyboard.up('Alt');
  await button.waitFor();
  assert.deepEqual(await axeFaults(page), []);
  await button.click();
  await banner.getByText(/^You have been unsubscribed from this newsletter at /).waitFor();
  assert.equal(await banner.getByRole('button').count(), 0);

  await page.keyboard.press('Control+,');
  const preferences = page.locator('.preferences');
  await preferences.getByText('Quillstead', { exact: true }).first().click();
  const asked = preferences.getByRole('list', { name: 'What was asked of whom' });
  await asked.getByText(/^Sent a request to 127\.0\.0\.1:\d+\. The server answered with status 200\.$/).waitFor();
  await asked.getByText('The Deckle', { exact: true }).waitFor();
  assert.deepEqual(await axeFaults(page), []);
  await preferences.getByRole('button', { name: 'Close the preferences' }).click();

  await host.restart();
  const again = await browser.open(t, host);
  await row(again, newsletter).click();
  await bannerOf(again).getByText(/^You have been unsubscribed/).waitFor();
  assert.deepEqual([...page.faults, ...again.faults], []);
});

test('leaving a newsletter and deleting it', async (t) => {
  const host = await startHost(t);
  const page = await browser.open(t, host);
  await row(page, newsletter).click();
  await bannerOf(page).waitFor();
  await page.keyboard.down('Alt');
  await bannerOf(page).getByRole('button', { name: 'Unsubscribe & Delete' }).click();
  await page.keyboard.up('Alt');
  await row(page, newsletter).waitFor({ state: 'detached' });
  await chooseMailbox(page, 'mira/Trash');
  await row(page, newsletter).click();
  await bannerOf(page).getByText(/^You have been unsubscribed/).waitFor();
  assert.deepEqual(page.faults, []);
});

test('where nobody can be asked, the person is told', async (t) => {
  const host = await startHost(t);
  const page = await browser.open(t, host);
  await row(page, newsletter).waitFor();
  // A server of this machine that the person has not named, and an account that sends through no server.
  deliver(host, 'Ledgers', '<http://127.0.0.1:9/leave?r=mira>, <mailto:leave@news.example>');
  await row(page, 'Ledgers').click();
  const button = bannerOf(page).getByRole('button', { name: 'Unsubscribe', exact: true });
  await button.click();
  const alert = page.getByRole('alertdialog').filter({ hasText: 'Failed to unsubscribe' });
  await alert.getByText(/^Quillstead could not unsubscribe you from this newsletter\. Please try/).waitFor();
  assert.deepEqual(await axeFaults(page), []);
  await page.keyboard.press('Enter');
  await alert.waitFor({ state: 'detached' });
  assert.ok(await button.isEnabled());
  assert.deepEqual(page.faults, []);
});
