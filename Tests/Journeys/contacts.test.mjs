// A sender becomes a contact, and is offered first when an address is typed.
import assert from 'node:assert/strict';
import { readdirSync, writeFileSync } from 'node:fs';
import { join } from 'node:path';
import { after, before, test } from 'node:test';
import { chooseMailbox, row, startBrowser, until } from './support/browser.mjs';
import { textsIn } from './support/files.mjs';
import { startHost } from './support/host.mjs';

let browser;
before(async () => (browser = await startBrowser()));
after(() => browser?.close());

test('a sender is added to the contacts and offered before people who were only seen', async (t) => {
  const host = await startHost(t, { args: ['--demo', '--no-plugin'] });
  const page = await browser.open(t, host);
  await chooseMailbox(page, 'mira/INBOX');
  await row(page, 'Estimate 2231').click();
  const sender = page.locator('.headers .person.strong');
  await sender.click();
  await page.getByRole('menuitem', { name: 'Add to Contacts' }).click();
  const folder = join(host.data, 'Contacts');
  await until(async () => readdirSync(folder).filter((name) => name.endsWith('.vcf')).length === 1, 'the contact\'s file');
  assert.match(textsIn(folder).join(''), /EMAIL[^\n]*:oskar@brandt-binders\.example\r\n/);
  await sender.click();
  await page.getByRole('menuitem', { name: 'In Your Contacts as Oskar Brandt' }).waitFor();
  await page.keyboard.press('Escape');

  // Another program writes a contact whom no mail has named.
  writeFileSync(join(folder, 'other.vcf'), 'BEGIN:VCARD\nVERSION:4.0\nFN:Osla Quill\nEMAIL:osla@quill.example\nEND:VCARD\n');
  await page.getByRole('button', { name: 'New', exact: true }).click();
  const to = page.getByLabel('To', { exact: true });
  await until(async () => {
    await to.fill('');
    await to.pressSequentially('os');
    await page.locator('.compose .completions').waitFor();
    return (await page.locator('.compose .completions').innerText()).includes('Osla Quill');
  }, 'the contact of another program');
  const offered = await page.locator('.compose .completions [role="option"]').allInnerTexts();
  assert.match(offered[0], /Oskar Brandt/);
  assert.match(offered[1], /Osla Quill/);
});
