// A status item, and a list in a popover: keys, pointer and finger do what its buttons do.
import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';
import { listPopover, statusItem } from '../mock/rows.mjs';
import { callsOf, open, startBrowser, stopBrowser, until } from './page.mjs';

before(startBrowser);
after(stopBrowser);

const focused = (page) => page.evaluate(() => document.activeElement.dataset.row ?? document.activeElement.getAttribute('aria-label') ?? document.activeElement.tagName);

async function openList(t, options) {
  const { page, host } = await open(t, options);
  host.push({ status: [statusItem] });
  await page.focus('.status-item');
  await page.keyboard.press('Enter');
  await until(() => callsOf(host, 'status.choose').length, 'the press');
  assert.deepEqual(callsOf(host, 'status.choose'), [{ id: 'status:1' }]);
  host.push({ popovers: [listPopover] });
  await page.waitForSelector('.row-list');
  await until(async () => (await focused(page)) === 'work', 'the focus in the list');
  return { page, host };
}

test('the list hangs from its item, and the keys go through it', async (t) => {
  const { page, host } = await openList(t);
  const box = await page.locator('.popover').boundingBox();
  const anchor = await page.locator('.status-item').boundingBox();
  assert.ok(box.y >= anchor.y + anchor.height - 1 && box.x + box.width <= 1280, 'it hangs below');
  await page.keyboard.press('ArrowDown');
  assert.equal(await focused(page), 'a');
  await page.keyboard.press('ArrowRight');
  assert.equal(await focused(page), 'Mark as read');
  await page.keyboard.press('Enter');
  await until(() => callsOf(host, 'popover.press').length === 1, 'the button');
  await page.keyboard.press('ArrowLeft');
  await page.keyboard.press('End');
  assert.equal(await focused(page), 'lists');
  await page.keyboard.press('ArrowUp');
  await page.keyboard.press('Enter');
  await until(() => callsOf(host, 'popover.open').length, 'the message');
  assert.deepEqual(callsOf(host, 'popover.press'), [{ identifier: 'small', row: 'a', button: 'read' }]);
  assert.deepEqual(callsOf(host, 'popover.open'), [{ identifier: 'small', row: 'b' }]);
  await page.keyboard.press('Escape');
  await page.waitForSelector('.popover', { state: 'detached' });
  await until(async () => (await focused(page)) === 'Small inbox', 'the focus going back');
});

test('letters that are pressed in the list do nothing to what lies below', async (t) => {
  const { page, host } = await openList(t);
  for (const key of ['e', '#', 'Delete']) await page.keyboard.press(key);
  await page.keyboard.press('Escape');
  await page.waitForSelector('.popover', { state: 'detached' });
  assert.deepEqual(callsOf(host, 'toolbar.choose').concat(callsOf(host, 'menu.choose')), []);
});

test('the focus goes on when the row that has it goes', async (t) => {
  const { page, host } = await openList(t);
  await page.keyboard.press('ArrowDown');
  const rows = listPopover.list.rows.filter((row) => row.id !== 'a');
  host.push({ popovers: [{ ...listPopover, list: { ...listPopover.list, rows } }] });
  await until(async () => (await focused(page)) === 'b', 'the next row');
});

test('a button with a menu opens it, and what is chosen is told with its place', async (t) => {
  const { page, host } = await openList(t);
  await page.click('[data-row="b"] [data-button="flag"]');
  await page.click('.menu-item:has-text("Red")');
  await until(() => callsOf(host, 'menu.choose').length, 'the choice');
  assert.deepEqual(callsOf(host, 'popover.menu'), [{ identifier: 'small', row: 'b', button: 'flag' }]);
  assert.deepEqual(callsOf(host, 'menu.choose'), [{ menu: 'popover', identifier: 'small', row: 'b', button: 'flag', item: '0' }]);
});

test('a row is pulled a little for its buttons, and far for the first of them', async (t) => {
  const { page, host } = await openList(t);
  const box = await page.locator('[data-row="a"]').boundingBox();
  const pull = async (by) => {
    await page.mouse.move(box.x + 200, box.y + 20);
    await page.mouse.down();
    await page.mouse.move(box.x + 200 + by / 2, box.y + 22, { steps: 4 });
    await page.mouse.move(box.x + 200 + by, box.y + 22, { steps: 4 });
    await page.mouse.up();
  };
  await pull(-90);
  await page.click('.row-under.trailing .row-swipe:visible');
  await until(() => callsOf(host, 'popover.press').length === 1, 'the uncovered button');
  await pull(180); // back, and on to the other side
  await page.mouse.click(box.x + 250, box.y + 20);
  await pull(280);
  await until(() => callsOf(host, 'popover.press').length === 2, 'the far pull');
  assert.deepEqual(callsOf(host, 'popover.press').map((each) => each.button), ['toArchive', 'toRead']);
  assert.deepEqual(callsOf(host, 'popover.open'), [], 'a pull opens nothing');
});
