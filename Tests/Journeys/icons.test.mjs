// What the list and the head of a message tell of a schedule, a snooze and tracking: small pictures with words for those
// who can't see them, white in a selected row, and dates.
import assert from 'node:assert/strict';
import { get } from 'node:http';
import { join } from 'node:path';
import { after, before, test } from 'node:test';
import { axeFaults, becomes, chooseMailbox, row, startBrowser, until, write } from './support/browser.mjs';
import { textsIn } from './support/files.mjs';
import { startHost } from './support/host.mjs';

let browser;
before(async () => (browser = await startBrowser()));
after(() => browser?.close());

// Sunday, 22 November 2026, 09:59 in UTC.
const clock = ['--virtual-clock', '1795341540'];

/** The titles of a row's small pictures, in their order, and whether each is white. */
const iconsOf = (page, subject) =>
  row(page, subject).locator('.row-status > span').evaluateAll((all) =>
    all.map((each) => each.title + (each.querySelector('img') ? ', white' : '')),
  );

const dateOf = (page, subject) => row(page, subject).locator('.row-date').textContent();
const headIcons = (page) =>
  page.locator('.headers-status [role=img]').evaluateAll((all) => all.map((each) => each.ariaLabel));

test('a planned message says so in the list and in its head', async (t) => {
  const host = await startHost(t, { args: ['--demo', ...clock] });
  const page = await browser.open(t, host);
  const compose = await write(page, 'Later, please');
  await compose.locator('.tool[aria-label^="Schedule"]').click();
  const sheet = page.getByRole('dialog', { name: 'When should this message leave?' });
  await sheet.getByRole('radio', { name: 'After' }).check();
  await sheet.getByLabel('How many').fill('2');
  await sheet.getByLabel('Minutes, hours or days').selectOption({ label: 'Hours' });
  await sheet.getByText(/Sunday.*22.*11:59/).waitFor();
  await sheet.getByRole('button', { name: 'Schedule' }).click();
  await compose.waitFor({ state: 'detached' });

  await chooseMailbox(page, 'mira/Outbox');
  await becomes(() => iconsOf(page, 'Later, please'), ['Scheduled']);
  assert.match(await dateOf(page, 'Later, please'), /11:59.*\(Scheduled\)$/);
  await page.getByRole('row', { name: /Later, please.*Scheduled/ }).waitFor();
  await row(page, 'Later, please').click();
  await becomes(() => iconsOf(page, 'Later, please'), ['Scheduled, white']);
  await page.locator('.headers-date', { hasText: /^Today, 11:59.*\(Scheduled\)$/ }).waitFor();
  assert.deepEqual(page.faults, []);
});

test('a snoozed message says until when; it is told apart for everybody, in every light and width', async (t) => {
  const host = await startHost(t, { args: ['--demo', ...clock] });
  const page = await browser.open(t, host);
  await row(page, 'Ten years').click();
  await page.locator('[data-anchor="toolbar:viewer:Snooze"] .tool-menu').click();
  await page.getByRole('dialog', { name: 'Snooze' }).getByText('Tomorrow morning').click();
  await row(page, 'Ten years').waitFor({ state: 'detached' });
  await page.close();
  for (const shape of [{}, { dark: true }, { width: 400 }, { width: 400, dark: true }]) {
    const shown = await browser.open(t, host, shape);
    if (!(await shown.locator('[data-mailbox="mira/Snooze"]').isVisible()))
      await shown.getByRole('button', { name: 'Mailboxes' }).first().click();
    await chooseMailbox(shown, 'mira/Snooze');
    await row(shown, 'Ten years').waitFor();
    assert.match(await dateOf(shown, 'Ten years'), /\(Snoozed\)$/);
    assert.deepEqual(await axeFaults(shown), []);
    await row(shown, 'Ten years').click();
    await becomes(() => iconsOf(shown, 'Ten years'), ['Snoozed, white']);
    await becomes(() => headIcons(shown), ['Snoozed']);
    await shown.locator('.headers-date', { hasText: /^Tomorrow, .*\(Snoozed\)$/ }).waitFor();
    assert.deepEqual(await axeFaults(shown), []);
    assert.ok(await shown.evaluate(() => document.documentElement.scrollWidth <= innerWidth), 'the page is too wide');
    assert.deepEqual(shown.faults, []);
    await shown.close();
  }
});

/** What somebody else's mail program asks for when it shows the picture. */
const fetchPicture = (address) =>
  new Promise((done, fail) => {
    get(address, (answer) => answer.resume().on('end', () => done(answer.statusCode))).on('error', fail);
  });

test('the row of a tracked message changes when somebody opened it', async (t) => {
  const host = await startHost(t, { args: ['--demo', '--virtual-clock', String(Math.floor(Date.now() / 1000))] });
  const page = await browser.open(t, host);
  const compose = await write(page, 'Did you see?', 'Have a look.');
  await compose.getByLabel('Track').click();
  await compose.getByRole('checkbox', { name: 'Track', checked: true }).waitFor();
  await compose.locator('.subject-input').focus();
  await page.keyboard.press('Control+Enter');
  await compose.waitFor({ state: 'detached' });
  const inbox = join(host.data, 'Mail', 'tobias', 'new');
  const message = await until(
    () => textsIn(inbox).find((text) => text.includes('Did you see?')),
    'the message',
  );
  await chooseMailbox(page, 'mira/Sent');
  await becomes(() => iconsOf(page, 'Did you see?'), ['Tracked, not opened yet']);
  const [pixel] = /http:\/\/[0-9.:]+\/tracking\/[0-9A-F-]{36}/.exec(message.replaceAll('=\r\n', ''));
  assert.equal(await fetchPicture(pixel), 200);
  assert.equal(await host.ask('advance 61'), 'done');
  await becomes(() => iconsOf(page, 'Did you see?'), ['Tracked, opened']);
  assert.deepEqual(page.faults, []);
  assert.equal(host.errors, '');
});
