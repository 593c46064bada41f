// A message that is held for a while after Send: taken back, changed, sent again, and at last sent at once.
import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';
import { axeFaults, becomes, chooseMailbox, row, shownText, startBrowser, write } from './support/browser.mjs';
import { startHost } from './support/host.mjs';

let browser;
before(async () => (browser = await startBrowser()));
after(() => browser?.close());

async function holdMessages(page, seconds) {
  await page.keyboard.press('Control+,');
  const preferences = page.locator('.preferences');
  await preferences.getByText('Quillstead', { exact: true }).first().click();
  await preferences.getByLabel('Hold every message for a while after Send').check();
  const field = preferences.getByLabel('For', { exact: true });
  await field.fill(String(seconds));
  await field.press('Enter');
  await page.keyboard.press('Escape');
  await preferences.waitFor({ state: 'detached' });
}

for (const minor of ['10', '11', '12'])
  test(`undone, edited, sent again and sent at once, version ${minor}`, async (t) => {
    const host = await startHost(t, { args: ['--demo', '--os-minor', minor] });
    const page = await browser.open(t, host);
    await row(page, 'Ten years').waitFor();
    await holdMessages(page, 900);
    const compose = await write(page, 'The ferry', 'It leaves at eight.');
    await page.keyboard.press('Control+Enter');
    await compose.waitFor({ state: 'detached' });

    const countdown = page.getByRole('dialog', { name: 'Your message will be sent automatically in 900 seconds.' });
    await countdown.getByRole('timer').waitFor();
    assert.equal(await countdown.locator('img').first().getAttribute('alt'), '', 'a picture of the recipient, for the eye alone');
    assert.deepEqual(await axeFaults(page), []);
    await page.reload();
    await countdown.getByRole('timer').waitFor();
    await chooseMailbox(page, 'mira/Outbox');
    await row(page, 'The ferry').waitFor();

    await countdown.getByRole('button', { name: 'Undo send' }).click();
    await countdown.waitFor({ state: 'detached' });
    await compose.locator('.editor').getByText('It leaves at eight.').waitFor();
    await becomes(() => compose.locator('.subject-input').inputValue(), 'The ferry');
    await row(page, 'The ferry').waitFor({ state: 'detached' });
    await chooseMailbox(page, 'mira/Drafts');
    await row(page, 'The ferry').waitFor();
    await compose.locator('.subject-input').fill('The ferry leaves at nine');
    await page.keyboard.press('Control+Enter');
    await compose.waitFor({ state: 'detached' });
    await row(page, 'The ferry').waitFor({ state: 'detached' });

    await countdown.getByRole('timer').waitFor();
    await chooseMailbox(page, 'mira/Outbox');
    await row(page, 'The ferry leaves at nine').waitFor();
    // By keys alone this time.
    await page.locator('.list-scroller').focus();
    await page.keyboard.press('Shift+F6');
    await page.keyboard.press('Enter');
    await row(page, 'The ferry leaves at nine').waitFor({ state: 'detached' });
    await chooseMailbox(page, 'tobias/INBOX');
    await row(page, 'The ferry leaves at nine').click();
    await shownText(page).getByText('It leaves at eight.').waitFor();
    await becomes(() => page.locator('.row', { hasText: 'The ferry' }).count(), 1);
    assert.deepEqual(page.faults, []);
    assert.equal(host.errors, '');
  });
