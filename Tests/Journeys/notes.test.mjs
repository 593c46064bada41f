// Mail becomes notes at a service: at once, by a sheet, of a part of it; and a note that was refused is brought back.
import assert from 'node:assert/strict';
import { join } from 'node:path';
import { after, before, test } from 'node:test';
import { axeFaults, becomes, row, shownText, startBrowser, until } from './support/browser.mjs';
import { wholeLines } from './support/files.mjs';
import { bundlesWithNotes, startHost } from './support/host.mjs';

let browser;
before(async () => (browser = await startBrowser()));
after(() => browser?.close());

/** What the service was given, oldest first. */
function given(host) {
  return wholeLines(join(host.data, 'Notes.jsonl')).map((line) => JSON.parse(line));
}

const tool = (page) => page.locator('[data-anchor="toolbar:viewer:Notes"]');

async function noteFromMenu(page, item) {
  await tool(page).locator('.tool-menu').click();
  await page.getByRole('menuitem', { name: item, exact: true }).click();
}

test('mail becomes notes', async (t) => {
  const host = await startHost(t, { args: ['--demo', '--bundles', bundlesWithNotes] });
  const page = await browser.open(t, host);
  await row(page, 'Ten years').click();
  await shownText(page).getByText('can you believe it?').waitFor();

  // Without a service the person is led to link one.
  await tool(page).locator('.tool').first().click();
  await page.getByRole('alertdialog', { name: 'No notes service available' }).getByRole('button', { name: 'Yes' }).click();
  const services = page.getByRole('listbox', { name: 'Services' });
  await becomes(() => services.evaluate((list) => document.activeElement === list), true);
  await page.getByRole('button', { name: 'Add…' }).click();
  const kinds = page.getByRole('dialog', { name: 'Add a Service' });
  await kinds.getByRole('option', { name: 'OneNote' }).click();
  await kinds.getByRole('button', { name: 'Add', exact: true }).click();
  await page.getByRole('button', { name: 'Link', exact: true }).click();
  await services.getByRole('option', { name: 'OneNote' }).getByText('Linked').waitFor();
  await page.getByRole('button', { name: 'Close the preferences' }).click();

  await tool(page).locator('.tool').first().click();
  await until(() => given(host).length === 1, 'the quick note');
  assert.match(given(host)[0].title, /Ten years/);
  assert.match(given(host)[0].content, /can you believe it\?/);
  assert.equal(given(host)[0].notebook, 'Inbox');
  await tool(page).locator('.tool-menu').click();
  await page.getByText('Associated Notes').waitFor();
  await page.keyboard.press('Escape');

  // By the sheet; one that is cancelled leaves nothing.
  const sheet = page.getByRole('dialog', { name: 'Create Note' });
  await noteFromMenu(page, 'Create note');
  await sheet.getByLabel('Title').waitFor();
  await page.keyboard.press('Escape');
  await sheet.waitFor({ state: 'detached' });
  await noteFromMenu(page, 'Create note');
  await sheet.getByLabel('Title').fill('The mill');
  await sheet.getByLabel('Notebook').selectOption({ label: 'Sales\u00A0(💼)' });
  await sheet.getByLabel('Tags', { exact: true }).fill('people,');
  await sheet.locator('.token', { hasText: 'people' }).waitFor();
  assert.deepEqual(await axeFaults(page), []);
  await sheet.getByRole('textbox', { name: 'Text of the note' }).click();
  await page.keyboard.press('Control+Home');
  await page.keyboard.type('Ask about the paper. ');
  await sheet.getByRole('button', { name: 'Save' }).click();
  await sheet.waitFor({ state: 'detached' });
  await until(() => given(host).length === 2, 'the note of the sheet');
  assert.deepEqual([given(host)[1].title, given(host)[1].notebook, given(host)[1].tags], ['The mill', 'Sales', ['people']]);
  assert.match(given(host)[1].content, /Ask about the paper\. /);
  assert.match(given(host)[1].content, /can you believe it\?/);

  // Of a part.
  await page.getByRole('button', { name: 'Select a part of the text' }).click();
  await shownText(page).getByText('can you believe it?').waitFor();
  await page.evaluate(() => {
    const frame = document.querySelector('.body-frame');
    const texts = frame.contentDocument.createTreeWalker(frame.contentDocument.body, NodeFilter.SHOW_TEXT);
    for (let node = texts.nextNode(); node; node = texts.nextNode()) {
      const at = node.data.indexOf('can you believe it');
      if (at >= 0) frame.contentWindow.getSelection().setBaseAndExtent(node, at, node, at + 18);
    }
  });
  await tool(page).locator('.tool').first().click();
  await until(() => given(host).length === 3, 'the note of a part');
  assert.match(given(host)[2].content, /^<html><body>\s*(<p>)?can you believe it(<\/p>)?\s*<\/body><\/html>\s*$/);

  // One that is refused is brought back whole, and goes out.
  await noteFromMenu(page, 'Create note');
  await sheet.getByLabel('Title').fill('Refuse');
  await sheet.getByRole('button', { name: 'Save' }).click();
  await page.getByText('The note “Refuse” could not be sent.').waitFor();
  await page.keyboard.press('Control+,');
  await page.getByRole('tab', { name: 'Quillstead' }).click();
  await page.getByText('The service did not like it.').waitFor();
  assert.equal(given(host).length, 3);
  await page.getByRole('button', { name: /Bring back/ }).click();
  await page.getByText('The service did not like it.').waitFor({ state: 'detached' });
  await until(() => given(host).length === 4, 'the note that was brought back');
  assert.equal(given(host)[3].title, 'Refuse');
  assert.equal(given(host)[3].content, given(host)[2].content, 'the part that is still selected');
  assert.deepEqual(page.faults, []);
});
