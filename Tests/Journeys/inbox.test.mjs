// The small inbox in the title bar: opened, gone through by keys, messages read, flagged, filed and opened from it.
import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';
import { axeFaults, becomes, chooseMailbox, row, shownText, startBrowser } from './support/browser.mjs';
import { startHost, writeSettings } from './support/host.mjs';

let browser;
before(async () => (browser = await startBrowser()));
after(() => browser?.close());

// Sunday, 22 November 2026, 09:59 in UTC.
const clock = ['--virtual-clock', '1795341540'];

test('mail is read, flagged, filed and opened from the small inbox', async (t) => {
  const chosen = '<key>QSDirectInboxActiveIdentifiers</key><array><string>mira/INBOX</string></array>';
  const host = await startHost(t, { args: ['--demo', ...clock], prepare: (data) => writeSettings(data, chosen) });
  const page = await browser.open(t, host);
  const list = page.locator('.row-list');
  const item = (subject) => list.locator('.row-item', { hasText: subject });
  const sign = page.getByRole('button', { name: 'Direct Inbox' });
  await row(page, 'Ten years').waitFor();
  await sign.focus();
  await page.keyboard.press('Enter');
  await item('Ten years').waitFor();
  assert.deepEqual(await axeFaults(page), []);

  // By keys to the message, read and unread.
  await page.keyboard.press('ArrowDown');
  const first = list.locator('.row-item').first();
  await becomes(() => first.evaluate((element) => element === document.activeElement), true);
  const wasUnread = await first.evaluate((element) => element.classList.contains('unread'));
  await page.keyboard.press('ArrowRight');
  await page.keyboard.press('Enter');
  await becomes(() => first.evaluate((element) => element.classList.contains('unread')), !wasUnread);

  // A flag by the menu, seen in the list of the viewer, too.
  await item('Ten years').hover();
  await item('Ten years').getByRole('button', { name: 'Flag' }).click();
  await page.getByRole('menuitem', { name: 'Green' }).click();
  await row(page, 'Ten years').locator('.flag-3').waitFor();

  // Filed by a reaction, gone from the list.
  const subject = await first.locator('.row-detail').textContent();
  await first.hover();
  await first.getByRole('button', { name: 'Archive' }).click();
  await item(subject).waitFor({ state: 'detached' });

  // Whoever has left the list by a press beside it is not drawn back by new mail.
  await first.focus();
  await page.locator('.titlebar-gap').click();
  host.deliver('Fresh from the press', '<p>Ink</p>');
  await item('Fresh from the press').waitFor();
  assert.equal(await list.evaluate((element) => element.contains(document.activeElement)), false);

  // Another mailbox below, and up to the first place.
  await page.getByRole('button', { name: 'Add a mailbox' }).click();
  const accounts = page.getByRole('menuitem').filter({ has: page.locator('.menu-more .icon') });
  await accounts.first().click();
  await page.getByRole('menuitem', { name: 'Archive' }).first().click();
  const headings = list.locator('.row-heading-title');
  await becomes(() => headings.count(), 2);
  await list.locator('.row-heading').nth(1).hover();
  await list.getByRole('button', { name: 'Move up' }).click();
  await becomes(() => headings.first().textContent(), 'Archive');

  // Opened by Return: shown in the viewer, and the list is closed.
  await chooseMailbox(page, 'mira/Sent');
  await sign.waitFor();
  await item('Ten years').focus();
  await page.keyboard.press('Enter');
  await list.waitFor({ state: 'detached' });
  await shownText(page).getByText('can you believe it?').waitFor();

  // Escape closes it.
  await sign.click();
  await list.waitFor();
  await page.keyboard.press('Escape');
  await list.waitFor({ state: 'detached' });
  assert.deepEqual(page.faults, []);
  assert.equal(host.errors, '');
});
