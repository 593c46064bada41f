// Menus that hang on toolbar items and rows.
import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';
import { axeFaults, becomes, callsOf, open, startBrowser, stopBrowser, until } from './page.mjs';

before(startBrowser);
after(stopBrowser);

test('the keyboard opens the menu of the selected messages', async (t) => {
  const { page, host } = await open(t);
  await page.click('#row-1001');
  await page.focus('.list-scroller');
  await page.keyboard.press('Shift+F10');
  await page.waitForSelector('.menu');
  await page.keyboard.press('Escape');
  await page.waitForSelector('.menu', { state: 'detached' });
  assert.deepEqual(callsOf(host, 'context.open'), [{ ids: [1001] }]);
  await until(() => page.evaluate(() => document.activeElement.className === 'list-scroller'), 'the focus coming back');
});

test('a menu is made afresh when it opens, and holds a date that is set while it stays open', async (t) => {
  const { page, host } = await open(t);
  await page.click('[data-anchor="toolbar:viewer:Snooze"] .tool-menu');
  const menu = page.getByRole('dialog', { name: 'Snooze' });
  await menu.getByText('Snooze until').waitFor();
  assert.deepEqual(await axeFaults(page), []);
  await menu.locator('.menu-item', { hasText: '+1 month' }).locator('.menu-faint').getByText('(22/12/2026, 09:00)').waitFor();
  for (let step = 0; step < 3; ++step) await page.keyboard.press('ArrowDown'); // past the separator
  const field = menu.getByLabel('Custom Date');
  await becomes(() => field.evaluate((each) => each === document.activeElement), true, 'the field has the keys');
  await field.fill('2026-11-30T08:15');
  await until(() => callsOf(host, 'menu.set').length, 'the date');
  const [{ value, ...place }] = callsOf(host, 'menu.set');
  assert.deepEqual(place, { menu: 'toolbar', window: 'viewer', identifier: 'Snooze', item: '5', control: 'date' });
  assert.equal(new Date(value.$date * 1000).getMinutes(), 15);
  await page.keyboard.press('Tab');
  await page.keyboard.press('Enter');
  await until(() => callsOf(host, 'menu.choose').length, 'the choice');
  assert.deepEqual(callsOf(host, 'menu.choose'), [{ menu: 'toolbar', window: 'viewer', identifier: 'Snooze', item: '6' }]);
  await menu.waitFor({ state: 'detached' });
});

test('a menu may hold a whole form: its first field has the keys, Return presses its button, and the host closes it', async (t) => {
  const { page, host } = await open(t);
  const control = (id, kind, label, value) => ({ id, kind, label, value, enabled: true });
  const form = {
    identifier: 'Options', title: '', firstResponder: 'note', buttons: [{ title: 'Create', isDefault: true }],
    groups: [{ title: '', controls: [control('dated', 'checkBox', 'Set a date', true), control('note', 'textField', 'Note', '')] }],
  };
  const answer = host.answer.bind(host);
  host.answer = (call, args) => {
    if (call === 'menu.press') return { close: true };
    return call === 'toolbar.menu' || call === 'menu.set' ? { items: [{ id: '1', title: '', form }] } : answer(call, args);
  };
  await page.click('[data-anchor="toolbar:viewer:Snooze"] .tool-menu');
  const menu = page.getByRole('dialog', { name: 'Snooze' });
  await becomes(() => menu.getByLabel('Note').evaluate((each) => each === document.activeElement), true, 'the note has the keys');
  await page.keyboard.type('Order the paper');
  await page.keyboard.press('Enter');
  await menu.waitFor({ state: 'detached' });
  const place = { menu: 'toolbar', window: 'viewer', identifier: 'Snooze', item: '1' };
  assert.deepEqual(callsOf(host, 'menu.set').at(-1), { ...place, control: 'note', value: 'Order the paper' });
  assert.deepEqual(callsOf(host, 'menu.press'), [{ ...place, press: 0 }]);
});
