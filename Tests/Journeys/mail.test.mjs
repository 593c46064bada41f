// The road of a message: written with an attachment, sent, read at the other account, answered, the answer read.
import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';
import { axeFaults, becomes, chooseMailbox, row, shownText, startBrowser } from './support/browser.mjs';
import { startHost } from './support/host.mjs';

let browser;
before(async () => (browser = await startBrowser()));
after(() => browser?.close());

const attachment = Buffer.from('Width of the river: 212 paces.\n');

test('a message with an attachment is read at the other account, and its answer here', async (t) => {
  const host = await startHost(t, { args: ['--demo', '--no-plugin'] });
  const page = await browser.open(t, host);

  await page.locator('.tool[aria-label="New Message"], .tool.prominent').first().click();
  const compose = page.locator('.compose');
  await compose.waitFor();
  await page.getByLabel('From', { exact: true }).selectOption('mira');
  await page.getByLabel('To', { exact: true }).fill('tobias@quillstead.example,');
  await compose.locator('.token', { hasText: 'tobias@quillstead.example' }).waitFor();
  await compose.locator('.subject-input').fill('How wide is the river?');
  await compose.locator('.editor').click();
  await page.keyboard.type('I have measured it; see the note. Grüße, 河');
  const [chooser] = await Promise.all([
    page.waitForEvent('filechooser'),
    compose.locator('.tool[aria-label^="Attach"]').click(),
  ]);
  await chooser.setFiles({ name: 'Maße des Flusses.txt', mimeType: 'text/plain', buffer: attachment });
  await compose.getByRole('button', { name: 'Remove Maße des Flusses.txt' }).waitFor();
  await page.keyboard.press('Control+Enter');
  await compose.waitFor({ state: 'detached' });

  await chooseMailbox(page, 'tobias/INBOX');
  await row(page, 'How wide is the river?').click();
  await shownText(page).getByText('I have measured it; see the note. Grüße, 河').waitFor();
  const saving = page.waitForEvent('download').catch(async (error) => {
    throw new Error(`${error.message} The page says: ${await page.locator('.notices').innerText()}`);
  });
  await page.getByRole('list', { name: 'Attachments' }).getByRole('button', { name: 'Maße des Flusses.txt' }).click();
  const download = await saving;
  const parts = [];
  for await (const part of await download.createReadStream()) parts.push(part);
  assert.deepEqual(Buffer.concat(parts), attachment);
  assert.equal(download.suggestedFilename(), 'Maße des Flusses.txt');

  await page.locator('.tool[aria-label="Reply"]').click();
  await compose.locator('.token', { hasText: 'Mira Halloran' }).waitFor();
  await becomes(() => compose.locator('.subject-input').inputValue(), 'Re: How wide is the river?');
  await compose.locator('.editor').getByText('I have measured it').waitFor();
  await compose.locator('.editor').click();
  await page.keyboard.press('Control+Home');
  await page.keyboard.type('Wider than I thought!');
  await page.keyboard.press('Control+Enter');
  await compose.waitFor({ state: 'detached' });

  await chooseMailbox(page, 'mira/INBOX');
  await row(page, 'Re: How wide is the river?').click();
  await shownText(page).getByText('Wider than I thought!').waitFor();
  await becomes(() => page.locator('.row.unread', { hasText: 'Re: How wide' }).count(), 0, 'what is read is marked so');
  await chooseMailbox(page, 'mira/Sent');
  await row(page, 'How wide is the river?').waitFor();
  assert.deepEqual(page.faults, []);
});

test('no message leaves, and no draft is left, without a file that waits for its turn', async (t) => {
  const host = await startHost(t, { args: ['--demo', '--no-plugin'] });
  const page = await browser.open(t, host);
  const held = [];
  await page.route('**/attachments', (route) => held.push(route));
  await page.keyboard.press('c');
  const compose = page.locator('.compose');
  await page.getByLabel('To', { exact: true }).fill('tobias@quillstead.example,');
  await compose.locator('.subject-input').fill('Two maps');
  const chooser = page.waitForEvent('filechooser');
  await compose.locator('.tool[aria-label^="Attach"]').click();
  await (await chooser).setFiles(['Source.map', 'Mouth.map'].map((name) => ({ name, mimeType: 'application/octet-stream', buffer: attachment })));
  await compose.getByText('Mouth.map').waitFor();
  await becomes(() => held.length, 1, 'the first file');
  const alert = page.getByRole('alertdialog');
  const isTold = async (text, button) => {
    await alert.getByText(text).waitFor();
    await alert.getByRole('button', { name: button }).click();
    await alert.waitFor({ state: 'detached' });
  };
  await compose.locator('.tool.prominent').click();
  await isTold('2 files are not attached yet', 'OK');
  await held[0].continue();
  await becomes(() => held.length, 2, 'the second file');
  await page.locator('.menubar-title', { hasText: 'Message' }).click();
  await page.getByRole('menuitem', { name: 'Send', exact: true }).click();
  await isTold('“Mouth.map” is not attached yet', 'OK');
  await compose.locator('.compose-title [aria-label="Close"]').click();
  await isTold('“Mouth.map” is not attached yet and will be missing from the draft.', 'Cancel');
  await held[1].continue();
  await compose.getByRole('progressbar').waitFor({ state: 'detached' });
  await page.locator('.compose .editor').press('Control+Enter');
  await compose.waitFor({ state: 'detached' });
  await chooseMailbox(page, 'tobias/INBOX');
  await row(page, 'Two maps').click();
  await becomes(() => page.getByRole('list', { name: 'Attachments' }).locator('.attachment-name').allInnerTexts(), ['Source.map', 'Mouth.map']);
  assert.deepEqual(page.faults, []);
});

test('an answer to plain text keeps its lines and blanks, and leaves the keys in the list', async (t) => {
  const host = await startHost(t, { args: ['--demo', '--no-plugin'] });
  const page = await browser.open(t, host);
  await row(page, 'Ten years').waitFor();
  await page.keyboard.press('ArrowDown');
  await becomes(() => page.locator('.row').first().getAttribute('aria-selected'), 'true', 'keys mean the list from the start');
  const table = 'size   paces\r\n  river  212\r\n> > was   it so?\r\n-- \r\nTobias';
  host.deliver('AW: Table', table, 'Tobias <tobias@quillstead.example>', 'text/plain');
  await row(page, 'AW: Table').click();
  for (const unread of [0, 1, 0]) {
    await becomes(() => page.locator('.row.unread', { hasText: 'AW: Table' }).count(), unread, 'read when it is shown, and by “u” as one likes');
    if (unread === 0) await shownText(page).getByText('river').waitFor();
    await page.keyboard.press('u');
  }
  await page.keyboard.press('r');
  const compose = page.locator('.compose');
  await compose.locator('.editor').getByText('river').waitFor();
  assert.equal(await compose.locator('.subject-input').inputValue(), 'Re: Table');
  await page.keyboard.type('Thanks.');
  await page.keyboard.press('Control+Enter');
  await compose.waitFor({ state: 'detached' });
  await becomes(() => page.evaluate(() => document.activeElement?.classList.contains('list-scroller')), true, 'the focus');
  await chooseMailbox(page, 'tobias/INBOX');
  await row(page, 'Re: Table').click();
  const lines = async () => (await shownText(page).innerText()).replaceAll('\u00A0', ' ').split('\n').map((line) => line.trimEnd());
  const wanted = ['size   paces', '  river  212', 'was   it so?', '--', 'Tobias'];
  await becomes(async () => (await lines()).filter((line) => wanted.includes(line)), wanted);
  assert.deepEqual(page.faults, []);
});

test('what a search finds elsewhere says where it lies', async (t) => {
  const host = await startHost(t, { args: ['--demo', '--no-plugin'] });
  const page = await browser.open(t, host);
  await row(page, 'Ten years').waitFor();
  assert.equal(await page.locator('.row-place').count(), 0);
  await page.keyboard.press('/');
  await page.keyboard.type('in:sent almanac');
  await row(page, 'Cover paper').locator('.row-place', { hasText: 'Sent' }).waitFor();
  assert.deepEqual([await axeFaults(page), page.faults], [[], []]);
});
