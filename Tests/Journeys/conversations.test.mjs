// The list grouped by conversation: chosen in the menu, gone through with the keys, archived as one.
import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';
import { axeFaults, becomes, chooseFromMenu, chooseMailbox, row, startBrowser } from './support/browser.mjs';
import { startHost } from './support/host.mjs';
import { LivePage } from './support/live.mjs';

let browser;
before(async () => (browser = await startBrowser()));
after(() => browser?.close());

const conversation = (page) => page.locator('.row[aria-expanded]', { hasText: 'Cover paper for the almanac' });
const inside = (page) => page.locator('.row.inside');

test('a conversation is one row that opens, is read and goes as one', async (t) => {
  const host = await startHost(t, { args: ['--demo', '--no-plugin'] });
  const page = await browser.open(t, host);
  await chooseMailbox(page, 'mira/INBOX');
  await row(page, 'Cover paper for the almanac').waitFor();
  const alone = await page.locator('.row', { hasText: 'Cover paper for the almanac' }).count();
  assert.ok(alone > 1);
  await chooseFromMenu(page, 'View', 'Group by Conversation');
  await conversation(page).waitFor();
  assert.equal(await page.locator('.row', { hasText: 'Cover paper for the almanac' }).count(), 1);
  assert.equal(await conversation(page).locator('.row-count').innerText(), String(alone));
  assert.match(await conversation(page).locator('.row-from').innerText(), /Ines Abara, Tobias Lenk|Tobias Lenk, Ines Abara/);
  assert.match(await page.locator('.list-heading p').innerText(), /conversations$/);

  await conversation(page).click();
  await page.locator('.conversation-row[aria-current]').waitFor();
  await page.keyboard.press('ArrowRight');
  await becomes(() => inside(page).count(), alone);
  assert.equal(await conversation(page).getAttribute('aria-expanded'), 'true');
  await page.keyboard.press('ArrowRight');
  await becomes(() => inside(page).first().getAttribute('aria-selected'), 'true');
  await page.keyboard.press('ArrowDown');
  await becomes(() => inside(page).nth(1).getAttribute('aria-selected'), 'true');
  assert.deepEqual(await axeFaults(page), []);
  await page.keyboard.press('ArrowLeft');
  await becomes(() => conversation(page).getAttribute('aria-selected'), 'true');
  await page.keyboard.press('ArrowLeft');
  await becomes(() => inside(page).count(), 0);

  await conversation(page).locator('.row-twisty').click();
  await becomes(() => inside(page).count(), alone);
  await conversation(page).locator('.row-twisty').click();
  await becomes(() => inside(page).count(), 0);

  await chooseFromMenu(page, 'Message', 'Archive');
  await becomes(() => page.locator('.row', { hasText: 'Cover paper for the almanac' }).count(), 0);
  await page.reload();
  await page.waitForSelector('.viewer');
  await chooseMailbox(page, 'mira/Archive');
  await conversation(page).waitFor();
  assert.equal(await conversation(page).locator('.row-count').innerText(), String(alone), 'all of it, and still grouped');
});

test('an answer comes behind what the call changed, so that no key means what was selected before', async (t) => {
  const host = await startHost(t, { args: ['--demo', '--no-plugin'] });
  const page = await LivePage.open(await host.link());
  const { list } = await page.when((models) => models.list?.rows.length > 5 && models);
  for (const { id } of list.rows.slice(0, 5)) {
    await page.call('list.select', { ids: [id] });
    assert.deepEqual(page.models.list.selected, [id]);
  }
  page.close();
});
