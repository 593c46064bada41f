// An account at Gmail in the page: a message is shown once however many labels it has, and what is done to it is done
// to the message.
import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';
import { becomes, chooseFromMenu, chooseMailbox, row, startBrowser } from './support/browser.mjs';
import { startGmail } from './support/gmail.mjs';
import { startHost } from './support/host.mjs';

let browser;
before(async () => (browser = await startBrowser()));
after(() => browser?.close());

const rows = (page, subject) => page.locator('.row', { hasText: subject }).count();
const selected = (page) => page.locator('.row[aria-selected="true"]').allInnerTexts();

test('one row for a message with labels, archived, thrown away and back', async (t) => {
  const gmail = await startGmail(t);
  await gmail.ask('create', 'Mills');
  const paper = await gmail.ask('deliver', 'Paper for the almanac', 'INBOX,Mills');
  await gmail.ask('deliver', 'Ink', 'Mills');
  await gmail.ask('deliver', 'The answer', '[Gmail]/Sent Mail', 'Paper-for-the-almanac@example.net');
  const host = await startHost(t, { args: ['--no-plugin'], prepare: gmail.writeAccount });
  const page = await browser.open(t, host);
  await chooseMailbox(page, 'ada/INBOX');
  await row(page, 'Paper for the almanac').waitFor();

  // Among all mailboxes it stands once, and in its conversation, too.
  const search = page.getByLabel('Search messages');
  await search.fill('in:all almanac');
  await becomes(() => rows(page, 'Paper for the almanac'), 1);
  await row(page, 'Paper for the almanac').click();
  await becomes(() => page.locator('.conversation-row').count(), 2);

  // Archived it loses the inbox alone; its row and the selection stay.
  await chooseFromMenu(page, 'Message', 'Archive');
  await becomes(() => gmail.ask('places', paper), 'Mills,[Gmail]/All Mail');
  await becomes(() => rows(page, 'Paper for the almanac'), 1);
  assert.equal((await selected(page)).length, 1);
  await chooseFromMenu(page, 'Edit', 'Undo Archive');
  await becomes(() => gmail.ask('places', paper), 'INBOX,Mills,[Gmail]/All Mail');

  // In the trash it is in no other mailbox any more, at once.
  await search.fill('');
  await chooseMailbox(page, 'ada/Mills');
  await row(page, 'Ink').waitFor();
  await row(page, 'Paper for the almanac').click();
  await chooseFromMenu(page, 'Message', 'Move to Trash');
  await becomes(() => rows(page, 'Paper for the almanac'), 0);
  await chooseMailbox(page, 'ada/Archive');
  await row(page, 'Ink').waitFor();
  assert.equal(await rows(page, 'Paper for the almanac'), 0);
  await becomes(() => gmail.ask('places', paper), '[Gmail]/Trash');
});
