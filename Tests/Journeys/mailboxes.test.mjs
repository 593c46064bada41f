// Mailboxes made, renamed, put into each other and deleted in the page: by menu, keys and dragging.
import assert from 'node:assert/strict';
import { existsSync, readdirSync } from 'node:fs';
import { join } from 'node:path';
import { after, before, test } from 'node:test';
import { axeFaults, chooseMailbox, row, startBrowser, until } from './support/browser.mjs';
import { startHost } from './support/host.mjs';

let browser;
before(async () => (browser = await startBrowser()));
after(() => browser?.close());

const mailbox = (page, id) => page.locator(`[data-mailbox="${id}"]`);

async function make(page, name) {
  await page.getByRole('button', { name: 'New mailbox' }).click();
  await page.getByLabel('Name of the new mailbox').fill(name);
  await page.getByLabel('Account', { exact: true }).selectOption('mira');
  await page.keyboard.press('Enter');
  await page.locator(`[data-mailbox^="mira/"] .mailbox-name[title="${name}"]`).waitFor();
}

test('mailboxes are renamed, moved and deleted with what is in them', async (t) => {
  const host = await startHost(t, { args: ['--demo', '--no-plugin'] });
  const page = await browser.open(t, host);
  await make(page, 'Works');
  await make(page, 'Works/Bridges');
  await make(page, 'Letters');
  const bridges = mailbox(page, 'mira/Works.Bridges');
  assert.equal(await bridges.getAttribute('aria-level'), '2');
  // A level that is no mailbox itself has a row like all others.
  await make(page, 'Years/Almanac 2027');
  const level = page.locator('.mailbox', { hasText: /^Years$/ });
  assert.ok((await level.locator('.mailbox-name').boundingBox()).width > 20, 'its name can be read');
  assert.equal((await level.boundingBox()).height, (await bridges.boundingBox()).height);
  await chooseMailbox(page, 'mira/INBOX');
  await row(page, 'Ten years').dragTo(bridges);
  await row(page, 'Ten years').waitFor({ state: 'detached' });

  // By its menu: another name.
  await chooseMailbox(page, 'mira/Works.Bridges');
  await row(page, 'Ten years').waitFor();
  await bridges.click({ button: 'right' });
  await page.getByRole('menuitem', { name: /^Rename or Move/ }).click();
  await page.getByLabel('Name', { exact: true }).fill('Brücken');
  await page.getByRole('button', { name: 'Save' }).click();
  const renamed = mailbox(page, 'mira/Works.Br&APw-cken');
  await renamed.waitFor();
  assert.equal(await renamed.getAttribute('aria-selected'), 'true', 'it is still looked at');
  await row(page, 'Ten years').waitFor();

  // By a key; a name that is taken is told in the sheet.
  await renamed.focus();
  await page.keyboard.press('F2');
  await page.getByLabel('Inside').selectOption({ label: 'No other mailbox' });
  await page.getByLabel('Name', { exact: true }).fill('letters');
  await page.getByRole('button', { name: 'Save' }).click();
  await page.getByText('There is a mailbox of this name already.').waitFor();
  await page.getByLabel('Name', { exact: true }).fill('Brücken');
  await page.getByRole('button', { name: 'Save' }).click();
  await mailbox(page, 'mira/Br&APw-cken').waitFor();

  // By dragging; and folded away.
  await mailbox(page, 'mira/Br&APw-cken').dragTo(mailbox(page, 'mira/Letters'));
  const inside = mailbox(page, 'mira/Letters.Br&APw-cken');
  await inside.waitFor();
  await mailbox(page, 'mira/Letters').focus();
  await page.keyboard.press('ArrowLeft');
  await inside.waitFor({ state: 'detached' });
  await page.keyboard.press('ArrowRight');
  await inside.waitFor();
  assert.deepEqual(await axeFaults(page), []);

  // Deleted, after a question that says what goes.
  await mailbox(page, 'mira/Letters').focus();
  await page.keyboard.press('Delete');
  await page.getByText('Delete the mailbox “Letters”?').waitFor();
  await page.getByText('The mailbox inside it goes as well. Its message is deleted for good.').waitFor();
  await page.getByRole('button', { name: 'Delete', exact: true }).click();
  await inside.waitFor({ state: 'detached' });
  const folder = join(host.data, 'Mail', 'mira');
  await until(async () => !readdirSync(folder).some((name) => name.startsWith('removed-')), 'its files to go');
  assert.ok(!existsSync(join(folder, '.Letters')) && existsSync(join(folder, '.Works')));

  // What every account has stays.
  await mailbox(page, 'mira/Trash').click({ button: 'right' });
  assert.equal(await page.getByRole('menuitem', { name: /^Delete Mailbox/ }).getAttribute('aria-disabled'), 'true');
  assert.deepEqual(page.faults, []);
});
