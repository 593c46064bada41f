// Mail that is to leave later: planned in the sheet, seen waiting in the outbox, gone at its time and arrived; and what
// becomes of it when the program or the plug-in goes.
import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';
import { axeFaults, chooseFromMenu, chooseMailbox, row, startBrowser, write } from './support/browser.mjs';
import { startHost } from './support/host.mjs';
import { LivePage } from './support/live.mjs';

let browser;
before(async () => (browser = await startBrowser()));
after(() => browser?.close());

// Sunday, 22 November 2026, 09:59 in UTC.
const clock = ['--virtual-clock', '1795341540'];

/** Plans a message over the live connection alone. */
async function plan(live, subject, days) {
  await live.call('compose.new', {});
  const { window } = await live.when(({ compose }) => compose[0]);
  await live.call('compose.update', { window, account: 'mira', to: ['tobias@quillstead.example'], subject });
  await live.when(({ compose }) => compose[0]?.toolbar.find(({ identifier }) => identifier === 'SendLater').enabled);
  await live.call('toolbar.choose', { window, identifier: 'SendLater' });
  await live.when(({ compose }) => compose[0].sheet);
  const set = (control, value) => live.call('sheet.set', { window, form: 'SendLater', control, value });
  await set('mode', 1);
  await set('distantDateField', days);
  await set('distantDateScaleSelector', 2);
  await live.call('sheet.button', { window, form: 'SendLater', button: 1, title: 'Schedule' });
  await live.when(({ compose }) => compose.length === 0);
}

const outboxOf = ({ accounts }) => accounts.find(({ id }) => id === 'mira').mailboxes.find(({ kind }) => kind === 'outbox');

test('a message is planned for in a minute, waits in the outbox, leaves and arrives', async (t) => {
  const host = await startHost(t, { args: ['--demo', ...clock] });
  const page = await browser.open(t, host);
  assert.equal(await page.locator('[data-mailbox="mira/Outbox"]').count(), 0, 'an empty outbox is not listed');

  const compose = await write(page, 'Later, please');
  await compose.locator('.tool[aria-label^="Schedule"]').click();
  const sheet = page.getByRole('dialog', { name: 'When should this message leave?' });
  await sheet.getByRole('radio', { name: 'After' }).check();
  await sheet.getByLabel('How many').fill('1');
  await sheet.getByLabel('Minutes, hours or days').selectOption({ label: 'Minutes' });
  await sheet.getByText(/Sunday.*22.*10:00/).waitFor();
  await sheet.getByRole('button', { name: 'Schedule' }).click();
  await compose.waitFor({ state: 'detached' });

  await chooseMailbox(page, 'mira/Outbox');
  await row(page, 'Later, please').getByText('Waiting until 10:00:00').waitFor();
  assert.equal(await host.ask('advance 50'), 'done');
  await row(page, 'Later, please').waitFor();
  assert.equal(await host.ask('advance 12'), 'done');
  await row(page, 'Later, please').waitFor({ state: 'detached' });
  await chooseMailbox(page, 'tobias/INBOX');
  await row(page, 'Later, please').waitFor();
  await page.locator('[data-mailbox="mira/Outbox"]').waitFor({ state: 'detached' });
  assert.deepEqual(page.faults, []);
});

test('the sheet is worked by keys alone, and comes back as it was left', async (t) => {
  const host = await startHost(t, { args: ['--demo', ...clock] });
  const page = await browser.open(t, host);
  const compose = await write(page, 'By keys');
  await page.keyboard.press('Control+Alt+Shift+D'); // as the Message menu shows; the host has not seen all of it yet
  const sheet = page.getByRole('dialog', { name: 'When should this message leave?' });
  await sheet.waitFor();
  await sheet.getByRole('radio', { name: 'Day' }).focus();
  await page.keyboard.press('Tab');
  await page.keyboard.type('Next'); // chooses in the pop-up
  await sheet.getByText(/Monday.*23.*9:00/).waitFor();
  await page.keyboard.press('Escape');
  await sheet.waitFor({ state: 'detached' });
  assert.equal(await compose.count(), 1, 'nothing was sent');
  await compose.locator('.tool[aria-label^="Schedule"]').click();
  await sheet.getByText(/Monday.*23.*9:00/).waitFor();
  await page.keyboard.press('Enter');
  await compose.waitFor({ state: 'detached' });
  await chooseMailbox(page, 'mira/Outbox');
  await row(page, 'By keys').getByText(/Waiting until .*23.*9:00|Waiting until .*9:00.*23/).waitFor();
});

test('a time that has passed is said to mean at once', async (t) => {
  const host = await startHost(t, { args: ['--demo', ...clock] });
  const page = await browser.open(t, host);
  const compose = await write(page, 'At once');
  await compose.locator('.tool[aria-label^="Schedule"]').click();
  const sheet = page.getByRole('dialog', { name: 'When should this message leave?' });
  await sheet.getByRole('radio', { name: 'Day' }).check();
  await sheet.getByLabel('Day', { exact: true }).last().selectOption({ label: 'Today' });
  await sheet.getByText('That time is not ahead any more: the message will leave at once.').waitFor();
  await sheet.getByRole('button', { name: 'Send Now' }).click();
  await compose.waitFor({ state: 'detached' });
  await chooseMailbox(page, 'tobias/INBOX');
  await row(page, 'At once').waitFor();
});

test('what could not be sent says why, and is tried again when somebody asks', async (t) => {
  const host = await startHost(t, { args: ['--demo', ...clock] });
  const page = await browser.open(t, host);
  const compose = await write(page, 'Nowhere to go', '', 'nobody@nowhere.example');
  await page.keyboard.press('Control+Enter');
  await compose.waitFor({ state: 'detached' });
  await chooseMailbox(page, 'mira/Outbox');
  await row(page, 'Nowhere to go').getByText('Not sent · 1 attempt · nobody@nowhere.example is no account').waitFor();
  await row(page, 'Nowhere to go').click();
  const message = page.getByRole('article');
  await message.getByText('Not sent · 1 attempt').waitFor();
  assert.deepEqual(await axeFaults(page), []);
  await message.getByRole('button', { name: 'Try again' }).click();
  await row(page, 'Nowhere to go').getByText('Not sent · 2 attempts').waitFor();
});

test('the program says what waits when it stops, and sends it when it was not running at the time', async (t) => {
  const host = await startHost(t, { args: ['--demo', ...clock] });
  const live = await LivePage.open(await host.link());
  await plan(live, 'Slept over', 1);
  assert.equal(outboxOf(live.models).count, 1);
  const delivery = async (page) => {
    await page.call('mailbox.select', { id: 'mira/Outbox' });
    return page.when(({ list }) => list.mailbox === 'mira/Outbox' && list.rows[0]?.delivery);
  };
  assert.match((await delivery(live)).until, /23/);
  live.close();
  assert.deepEqual(await host.stop(), { code: 0, signal: null }, host.errors);
  assert.match(host.output, /A message waits in the outbox until then\./);

  host.args = ['--demo', '--virtual-clock', String(1795341540 + 3 * 86400)];
  await host.start();
  const again = await LivePage.open(await host.link());
  assert.equal(await host.ask('advance 31'), 'done');
  await again.when((models) => !outboxOf(models));
  await again.call('mailbox.select', { id: 'tobias/INBOX' });
  await again.when(({ list }) => list.rows.some(({ subject }) => subject === 'Slept over'));
  again.close();
});

test('without the plug-in it stays, and its removal makes drafts of what waits', async (t) => {
  const host = await startHost(t, { args: ['--demo', ...clock] });
  let live = await LivePage.open(await host.link());
  await plan(live, 'Kept', 2);
  live.close();
  const restart = async (args) => {
    await host.stop();
    host.args = args;
    await host.start();
    live = await LivePage.open(await host.link());
  };
  await restart(['--demo', '--no-plugin', ...clock]);
  assert.equal(await host.ask('advance 86400'), 'done');
  assert.equal(outboxOf(live.models).count, 1, 'nobody but the host is left to keep it');
  live.close();

  await restart(['--demo', ...clock]);
  live.close();
  const page = await browser.open(t, host);
  await chooseFromMenu(page, 'Help', 'Uninstall Quillstead');
  await page.getByRole('alertdialog').getByRole('button', { name: 'Uninstall' }).click();
  await page.getByText('A message that was waiting to leave is a draft now').waitFor();
  await chooseMailbox(page, 'mira/Drafts');
  await row(page, 'Kept').waitFor();
  assert.equal(await host.ask('advance 259200'), 'done');
  await chooseMailbox(page, 'tobias/INBOX');
  await row(page, 'Ten years').waitFor();
  assert.equal(await row(page, 'Kept').count(), 0);
});

const shapes = {
  'light, 1280': { width: 1280 }, 'dark, 1280': { width: 1280, dark: true },
  'light, 400': { width: 400 }, 'dark, 400': { width: 400, dark: true },
};
for (const [shape, options] of Object.entries(shapes))
  test(`the sheet fits its window, ${shape}`, async (t) => {
    const host = await startHost(t, { args: ['--demo', ...clock] });
    const page = await browser.open(t, host, options);
    const compose = await write(page, 'Looks');
    await compose.locator('.tool[aria-label^="Schedule"]').click();
    const sheet = page.getByRole('dialog', { name: 'When should this message leave?' });
    await sheet.waitFor();
    for (const mode of ['Day', 'After', 'Date']) {
      await sheet.getByRole('radio', { name: mode }).check();
      await sheet.locator('.control.text').waitFor();
      assert.deepEqual(await axeFaults(page), [], mode);
      const box = await sheet.boundingBox();
      assert.ok(box.x >= 0 && box.x + box.width <= page.viewportSize().width, `${mode}: the sheet is too wide`);
      for (const part of await sheet.locator('input, select, p').all()) {
        const { x, width } = await part.boundingBox();
        assert.ok(x >= box.x && x + width <= box.x + box.width, `${mode}: something stands out`);
      }
    }
    assert.ok(await page.evaluate(() => document.documentElement.scrollWidth <= innerWidth), 'the page is too wide');
  });
