// Tasks and follow-ups, from the page to the calendar files that other programs share, and back from there.
import assert from 'node:assert/strict';
import { existsSync, readdirSync, readFileSync, renameSync, writeFileSync } from 'node:fs';
import { join } from 'node:path';
import { after, before, test } from 'node:test';
import { axeFaults, becomes, row, startBrowser, until, write } from './support/browser.mjs';
import { startHost } from './support/host.mjs';

let browser;
before(async () => (browser = await startBrowser()));
after(() => browser?.close());

// Sunday, 22 November 2026, 09:59 in UTC.
const clock = ['--virtual-clock', '1795341540'];
const folderOf = (host) => join(host.data, 'Reminders', 'Quillstead');
const files = (host) =>
  existsSync(folderOf(host)) ? readdirSync(folderOf(host)).filter((name) => name.endsWith('.ics') && !name.startsWith('.')) : [];
const content = (host) => readFileSync(join(folderOf(host), files(host)[0]), 'utf8');

/** As another program does it: a new file takes the place of the old one. */
function rewrite(host, change) {
  const [name] = files(host);
  writeFileSync(join(folderOf(host), '.other-program'), change(content(host)));
  renameSync(join(folderOf(host), '.other-program'), join(folderOf(host), name));
}

async function whileTimeGoesOn(host, check) {
  await until(async () => {
    assert.equal(await host.ask('advance 1'), 'done');
    return check();
  });
}

test('a message becomes a task, and another program completes it', async (t) => {
  const host = await startHost(t, { args: ['--demo', ...clock] });
  const page = await browser.open(t, host);
  await row(page, 'Ten years').waitFor();
  assert.equal(await host.ask('advance 10'), 'done');

  await page.keyboard.press('Control+,');
  const preferences = page.locator('.preferences');
  await preferences.getByText('Quillstead', { exact: true }).first().click();
  const reminders = preferences.getByRole('option', { name: /^Reminders/ });
  await reminders.click();
  await preferences.getByRole('button', { name: 'Unlink' }).click();
  await preferences.getByText('There is no list for tasks yet.').waitFor();
  await preferences.getByRole('button', { name: 'Link', exact: true }).click();
  const list = preferences.getByLabel(/^List for mira/);
  await becomes(() => list.evaluate((select) => select.selectedOptions[0]?.text), 'Quillstead');
  assert.deepEqual(await axeFaults(page), []);
  await preferences.getByRole('button', { name: 'Close the preferences' }).click();

  await row(page, 'Ten years').click();
  const item = page.locator('[data-anchor="toolbar:viewer:Tasks"]');
  await item.locator('.tool-menu').click();
  const menu = page.getByRole('dialog', { name: 'Tasks' });
  const note = menu.getByLabel('Note');
  await becomes(() => note.evaluate((field) => field === document.activeElement), true);
  assert.deepEqual(await axeFaults(page), []);
  await menu.getByLabel('Due date', { exact: true }).fill('2026-11-23T10:30');
  await note.fill('Order the paper');
  await note.press('Enter');
  await menu.waitFor({ state: 'detached' });
  const banner = page.locator('.banner', { hasText: 'Order the paper' });
  await banner.getByText('Tomorrow, 10:30').waitFor();
  await page.getByRole('button', { name: 'Tasks', exact: true }).and(page.getByTitle('Mark task as completed')).waitFor();
  assert.deepEqual(await axeFaults(page), []);
  assert.match(content(host), /\r\nSUMMARY:Task: .*Ten years/);
  assert.match(content(host), /\r\nDUE:2026112\dT\d{6}Z\r\n/); // 10:30 in the zone of whoever runs this

  rewrite(host, (text) => text.replace('STATUS:NEEDS-ACTION', 'STATUS:COMPLETED\r\nX-OTHER-PROGRAM:1'));
  await whileTimeGoesOn(host, async () => (await banner.count()) === 0);
  await page.getByTitle('Mark task as uncompleted').click();
  await banner.waitFor();
  assert.match(content(host), /\r\nSTATUS:NEEDS-ACTION\r\n/);
  assert.match(content(host), /\r\nX-OTHER-PROGRAM:1\r\n/);
  await banner.getByRole('checkbox').click();
  await banner.waitFor({ state: 'detached' });
  assert.match(content(host), /\r\nSTATUS:COMPLETED\r\n/);
  assert.deepEqual(page.faults, []);
  assert.equal(host.errors, '');
});

test('a follow-up waits for the answer', async (t) => {
  const host = await startHost(t, { args: ['--demo', ...clock] });
  const page = await browser.open(t, host);
  await row(page, 'Ten years').waitFor();
  assert.equal(await host.ask('advance 10'), 'done');
  const compose = await write(page, 'Which paper?', 'Thicket or Deckle?');
  await compose.getByLabel('Follow-Up').click();
  await compose.getByRole('checkbox', { name: 'Follow-Up', checked: true }).waitFor();
  await compose.getByLabel('When to follow up').selectOption({ label: 'tomorrow' });
  await compose.getByText('Tomorrow, ').waitFor();
  assert.deepEqual(await axeFaults(page), []);
  await compose.getByRole('button', { name: 'Send', exact: true }).click();
  await compose.waitFor({ state: 'detached' });
  await whileTimeGoesOn(host, () => files(host).length === 1);
  const text = content(host).replaceAll('\r\n ', '');
  assert.match(text, /\r\nSUMMARY:Follow-Up: Which paper\?\r\n/);
  assert.match(text, /\r\nDESCRIPTION:To: tobias@quillstead\.example \| message:\/\//);
  const [, id] = /\r\nURL:message:\/\/(.*)\r\n/.exec(text);
  writeFileSync(
    join(host.data, 'Mail', 'mira', 'new', `1900000000.M1P${process.pid}.reply`),
    'From: Tobias <tobias@quillstead.example>\r\nTo: mira@quillstead.example\r\nSubject: Re: Which paper?\r\n' +
      `Message-Id: <answer@quillstead.example>\r\nReferences: <${id}>\r\n\r\nDeckle.\r\n`,
  );
  await row(page, 'Re: Which paper?').waitFor();
  await becomes(() => files(host).length, 0);
  assert.deepEqual(page.faults, []);
  assert.equal(host.errors, '');
});
