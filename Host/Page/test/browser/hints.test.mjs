// Hints: what hangs on something and takes no focus by itself.
import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';
import { callsOf, open, startBrowser, stopBrowser, until } from './page.mjs';

before(startBrowser);
after(stopBrowser);

const countdown = (left) => ({ identifier: 'Later', anchor: 'title:viewer', edge: 3, text: 'It will happen in 12 seconds.', countdown: String(left), buttons: ['Now', 'Never'], buttonIcons: [] });

test('a hint points at what it is about, and its buttons answer', async (t) => {
  const { page, host } = await open(t);
  const hint = { identifier: 'hint', edge: 1, text: 'Look here', buttons: ['Yes', 'No'], buttonIcons: [] };
  host.push({ popovers: [{ ...hint, anchor: 'toolbar:viewer:Snooze' }] });
  const box = await page.locator('.popover').boundingBox();
  const anchor = await page.locator('[data-anchor="toolbar:viewer:Snooze"]').boundingBox();
  assert.ok(box.y >= anchor.y + anchor.height && box.x < anchor.x && box.x + box.width > anchor.x + anchor.width, 'it hangs below');
  await page.click('.popover >> text=No');
  await until(() => callsOf(host, 'popover.button').length, 'the answer');
  assert.deepEqual(callsOf(host, 'popover.button'), [{ identifier: 'hint', button: 1 }]);
});

test('a countdown stays where it is, is told once and survives a reload', async (t) => {
  const { page, host } = await open(t);
  await page.evaluate(() => {
    window.told = [];
    new MutationObserver(() => window.told.push(document.querySelector('.notices > .visually-hidden').textContent))
      .observe(document.querySelector('.notices'), { subtree: true, childList: true, characterData: true });
  });
  host.push({ popovers: [countdown(12)] });
  await page.waitForSelector('.popover');
  const boxes = [];
  for (const left of [12, 11, 10, 9, 8]) {
    host.push({ popovers: [countdown(left)] });
    await page.waitForSelector(`.popover-countdown:text-is("${left}")`);
    boxes.push(JSON.stringify([await page.locator('.popover').boundingBox(), await page.locator('.popover >> text=Never').boundingBox()]));
  }
  assert.equal(new Set(boxes).size, 1, boxes.join(' '));
  assert.deepEqual(await page.evaluate(() => window.told), ['It will happen in 12 seconds. (Shift+F6 leads there.)']);
  assert.equal(await page.getAttribute('.popover-countdown', 'role'), 'timer', 'whose changes nobody reads out');
  await page.reload();
  await page.waitForSelector('.popover-countdown:text-is("8")');
});

test('a hint is reached and dismissed by keys', async (t) => {
  const { page, host } = await open(t);
  await page.focus('.list-scroller');
  host.push({ popovers: [countdown(12)] });
  await page.waitForSelector('.popover');
  assert.equal(await page.evaluate(() => document.activeElement.className), 'list-scroller', 'it takes no focus by itself');
  for (let step = 0; step < 12 && !(await page.evaluate(() => document.activeElement.closest('.popover'))); ++step) await page.keyboard.press('F6');
  assert.equal(await page.evaluate(() => document.activeElement.textContent), 'Now');
  await page.keyboard.press('Tab');
  await page.keyboard.press('Enter');
  await until(() => callsOf(host, 'popover.button').length, 'the answer');
  assert.deepEqual(callsOf(host, 'popover.button'), [{ identifier: 'Later', button: 1 }]);
  await page.waitForSelector('.popover', { state: 'detached' });

  host.push({ popovers: [countdown(12)] });
  await page.waitForSelector('.popover');
  await page.focus('.list-scroller');
  await page.keyboard.press('Shift+F6');
  await page.keyboard.press('Escape');
  await page.waitForSelector('.popover', { state: 'detached' });
  host.push({ popovers: [countdown(12)] });
  await page.waitForSelector('.popover');
  await page.focus('.search input');
  await page.keyboard.press('Escape');
  await page.focus('.list-scroller');
  await page.keyboard.press('Escape');
  await page.waitForSelector('.popover', { state: 'detached' });
  assert.deepEqual(callsOf(host, 'popover.close'), [{ identifier: 'Later' }, { identifier: 'Later' }]);
  assert.equal(await page.evaluate(() => document.activeElement.className), 'list-scroller');
});
