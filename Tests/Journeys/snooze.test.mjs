// A message is put aside from the toolbar's menu, waits in its mailbox, and comes back unread at its time.
import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';
import { axeFaults, becomes, chooseMailbox, row, shownText, startBrowser } from './support/browser.mjs';
import { startHost } from './support/host.mjs';

let browser;
before(async () => (browser = await startBrowser()));
after(() => browser?.close());

// Sunday, 22 November 2026, 09:59 in UTC.
const clock = ['--virtual-clock', '1795341540'];

test('a message is put aside and comes back', async (t) => {
  const host = await startHost(t, { args: ['--demo', ...clock] });
  const page = await browser.open(t, host);
  await row(page, 'Ten years').click();
  await page.locator('[data-anchor="toolbar:viewer:Snooze"] .tool-menu').click();
  const menu = page.getByRole('dialog', { name: 'Snooze' });
  await menu.getByText('Tomorrow morning').waitFor();
  assert.deepEqual(await axeFaults(page), []);
  await menu.getByText('+1 hour').click();
  await row(page, 'Ten years').waitFor({ state: 'detached' });

  const snooze = page.locator('[data-mailbox="mira/Snooze"]');
  await becomes(() => snooze.locator('.mailbox-badge').textContent(), '1');
  await snooze.click();
  await row(page, 'Ten years').waitFor();
  assert.equal(await host.ask('advance 3500'), 'done');
  await row(page, 'Ten years').waitFor();
  assert.equal(await host.ask('advance 130'), 'done');
  await row(page, 'Ten years').waitFor({ state: 'detached' });
  await becomes(() => snooze.locator('.mailbox-badge').count(), 0);
  await chooseMailbox(page, 'mira/INBOX');
  await page.locator('.row.unread', { hasText: 'Ten years' }).waitFor();

  // By keys, until a date of one's own; and back before that.
  await row(page, 'Ten years').click();
  await shownText(page).getByText('can you believe it?').waitFor();
  await page.keyboard.press('Shift+F10');
  await page.getByRole('menuitem', { name: 'Snooze' }).click();
  const field = page.getByLabel('Custom Date');
  await field.fill('2026-12-24T08:15');
  await page.getByRole('button', { name: /^Use custom date \(.*24.*8:15/ }).click();
  await row(page, 'Ten years').waitFor({ state: 'detached' });
  await snooze.click();
  await row(page, 'Ten years').click({ button: 'right' });
  await page.getByRole('menuitem', { name: 'Unsnooze' }).click();
  await row(page, 'Ten years').waitFor({ state: 'detached' });
  assert.equal(await host.ask('advance 2'), 'done');
  await chooseMailbox(page, 'mira/INBOX');
  await page.locator('.row.unread', { hasText: 'Ten years' }).waitFor();
  assert.deepEqual(page.faults, []);
  assert.equal(host.errors, '');
});
