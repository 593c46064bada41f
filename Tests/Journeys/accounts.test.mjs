// Accounts in the page: the first one, by hand and by keyboard, against real servers; a wrong password; another address;
// a Maildir tree of other programs; switching off and removing.
import assert from 'node:assert/strict';
import { existsSync, mkdirSync, readFileSync, renameSync, writeFileSync } from 'node:fs';
import { join } from 'node:path';
import { after, before, test } from 'node:test';
import { axeFaults, becomes, chooseFromMenu, row, startBrowser } from './support/browser.mjs';
import { startDovecot } from './support/dovecot.mjs';
import { startHost, temporaryFolder } from './support/host.mjs';
import { startRecordingSmtp } from './support/smtp.mjs';

let browser;
before(async () => (browser = await startBrowser()));
after(() => browser?.close());

const sheetOf = (page) => page.locator('.sheet');
const field = (page, label, at = 0) => sheetOf(page).getByLabel(label, { exact: true }).nth(at);
const press = (page, name) => page.getByRole('button', { name, exact: true }).click();

function makeMaildir(folder) {
  for (const part of ['cur', 'new', 'tmp']) mkdirSync(join(folder, part), { recursive: true });
}

function arrive(folder, name, subject) {
  const written = join(folder, 'tmp', name);
  writeFileSync(written, `From: Grace <grace@example.net>\r\nTo: own@example.org\r\nSubject: ${subject}\r\n\r\nHello.\r\n`);
  renameSync(written, join(folder, 'new', name));
}

async function fillServers(page, imap, smtp) {
  for (const [at, port] of [imap, smtp].entries()) {
    await field(page, 'Server', at).fill('127.0.0.1');
    await field(page, 'Port', at).fill(String(port));
    await field(page, 'Encryption', at).selectOption({ label: 'None (this computer only)' });
  }
  await field(page, 'User name', 0).fill('ada');
  await field(page, 'User name', 1).fill('');
}

test('the first account: by hand, a wrong password, the right one, another address, removed', async (t) => {
  const [imap, smtp] = [await startDovecot(t), await startRecordingSmtp()];
  t.after(() => smtp.close());
  const host = await startHost(t, { args: ['--no-plugin'] });
  const page = await browser.open(t, host);

  // It is offered by itself, and the keyboard is in it. Whoever sends it away is told where to find it.
  await sheetOf(page).waitFor();
  await page.keyboard.press('Escape');
  await page.locator('.list-empty', { hasText: 'There is no account yet.' }).waitFor();
  assert.deepEqual(await axeFaults(page), []);
  await chooseFromMenu(page, 'File', 'Add Account…');
  await field(page, 'Your name').focus();
  await page.keyboard.type('Ada Lovelace');
  await page.keyboard.press('Enter');
  await page.getByText('Please enter your mail address.').waitFor();
  assert.deepEqual(await axeFaults(page), []);
  await field(page, 'Mail address').fill('ada@example.org');
  await field(page, 'Password').fill('guessed');
  await press(page, 'Set Up by Hand…');
  await fillServers(page, imap.port, smtp.port);
  await press(page, 'Add Account');
  await page.getByText('127.0.0.1 did not accept user name and password.').waitFor();
  await becomes(() => field(page, 'User name', 0).getAttribute('aria-invalid'), 'true');
  assert.deepEqual(await axeFaults(page), []);

  await field(page, 'Password').fill('analytical');
  await press(page, 'Add Account');
  await sheetOf(page).waitFor({ state: 'detached' });
  await page.locator('[data-mailbox="ada-example-org/INBOX"]').waitFor();
  assert.doesNotMatch(readFileSync(join(host.data, 'Accounts.plist'), 'utf8'), /analytical/);

  await chooseFromMenu(page, 'Quillstead Mail', 'Preferences…');
  await page.getByRole('tab', { name: 'Accounts' }).click();
  await page.getByRole('option', { name: /ada@example.org/ }).click();
  await press(page, 'Change…');
  await field(page, 'Name in the list').fill('Work');
  await page.getByPlaceholder('Name <address>').fill('Countess <countess@example.org>');
  await page.getByPlaceholder('Name <address>').press('Enter');
  await press(page, 'Save');
  await sheetOf(page).waitFor({ state: 'detached' });
  await page.getByRole('option', { name: /Work/ }).waitFor();
  assert.deepEqual(await axeFaults(page), []);
  await press(page, 'Close the preferences');

  await page.getByRole('button', { name: 'New', exact: true }).click();
  await page.getByLabel('From', { exact: true }).selectOption({ label: 'Countess <countess@example.org>' });
  await page.getByLabel('To', { exact: true }).fill('ben@example.net,');
  await page.locator('.token', { hasText: 'ben@example.net' }).waitFor();
  await page.locator('.subject-input').fill('From the other address');
  await page.keyboard.press('Control+Enter');
  await page.locator('.compose').waitFor({ state: 'detached' });
  while (smtp.received.length === 0) await page.waitForTimeout(50);
  assert.match(smtp.received[0].content, /^From: Countess <countess@example.org>/m);

  await chooseFromMenu(page, 'Quillstead Mail', 'Preferences…');
  await page.getByRole('option', { name: /Work/ }).click();
  await press(page, 'Switch Off');
  await page.locator('[data-mailbox="ada-example-org/INBOX"]').waitFor({ state: 'detached' });
  await press(page, 'Switch On');
  await page.locator('[data-mailbox="ada-example-org/INBOX"]').waitFor();
  await press(page, 'Remove…');
  await page.getByText('Nothing changes at the mail server.').waitFor();
  await press(page, 'Remove');
  await page.getByText('There is no account yet.', { exact: true }).waitFor();
  assert.ok(existsSync(join(host.data, 'Mail/ada-example-org/cur')), 'its mail stays');
  assert.deepEqual(page.faults, []);
});

test('a Maildir tree that other programs keep', async (t) => {
  const tree = join(temporaryFolder(t), 'Maildir');
  makeMaildir(join(tree, 'INBOX'));
  makeMaildir(join(tree, 'Lists/kernel'));
  arrive(join(tree, 'INBOX'), '1600000001.M1P1.box', 'There from the start');
  const host = await startHost(t, { args: ['--no-plugin'] });
  const page = await browser.open(t, host);
  await sheetOf(page).waitFor();
  await page.getByRole('radio', { name: 'In a folder on this computer' }).click();
  await field(page, 'Mail address').fill('own@example.org');
  await field(page, 'Folder').fill(join(tree, 'nowhere'));
  await press(page, 'Continue');
  await page.getByText('This folder can’t be opened').or(page.getByText("This folder can't be opened")).waitFor();
  await field(page, 'Folder').fill(tree);
  await press(page, 'Continue');
  await press(page, 'Add Account');
  await row(page, 'There from the start').waitFor();
  await page.locator('[data-mailbox="own-example-org//Lists/kernel"]').waitFor();

  arrive(join(tree, 'INBOX'), '1600000002.M1P1.box', 'Brought by another program');
  await row(page, 'Brought by another program').waitFor();
  renameSync(join(tree, 'INBOX/new/1600000002.M1P1.box'), join(tree, 'INBOX/cur/1600000002.M1P1.box:2,ST'));
  makeMaildir(join(tree, 'New one'));
  await page.locator('[data-mailbox="own-example-org//New one"]').waitFor();
  assert.ok(!existsSync(join(tree, '.Outbox')) && !existsSync(join(tree, 'INBOX/maildirfolder')));
  assert.deepEqual(page.faults, []);
});
