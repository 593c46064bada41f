import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';
import { becomes, callsOf, open, startBrowser, stopBrowser, until } from './page.mjs';

before(startBrowser);
after(stopBrowser);

const editorText = (page) => page.evaluate(() => document.querySelector('.editor').innerText.trim());
const active = (page) => page.evaluate(() => document.activeElement.getAttribute('aria-label') ?? document.activeElement.id);

test('a message is written without the mouse, and all of it arrives before it is sent', async (t) => {
  const { page, host, faults } = await open(t);
  await page.focus('.list-scroller');
  await page.keyboard.press('c');
  await page.waitForSelector('.compose');
  await page.keyboard.type('hopper');
  await page.waitForSelector('.completions li');
  await page.keyboard.press('Enter');
  await page.keyboard.type('someone@else.example,');
  await page.waitForSelector('.token:has-text("someone@else.example")');
  await page.focus('.subject-input');
  await page.keyboard.type('Harbour');
  await page.keyboard.press('Enter');
  await page.keyboard.type('Dear Grace,');
  await page.keyboard.press('Control+Enter');
  await until(() => callsOf(host, 'compose.send').length, 'sending');
  const order = host.calls.map((each) => each.call);
  assert.ok(order.lastIndexOf('compose.update') < order.indexOf('compose.send'));
  const told = Object.assign({}, ...callsOf(host, 'compose.update'));
  assert.deepEqual(told.to, ['Grace Hopper <grace@harbour.example>', 'someone@else.example']);
  assert.equal(told.subject, 'Harbour');
  assert.match(told.bodyHtml, /^<div>Dear Grace,<\/div>/);
  assert.equal(told.bodyRevision, 1);
  assert.deepEqual(faults, []);
});

test('who types on at once after the key for a reply does not act on the list', async (t) => {
  const { page, host } = await open(t);
  await page.focus('.list-scroller');
  await page.keyboard.type('rearrange#');
  await until(() => page.evaluate(() => document.activeElement.closest('.compose') !== null), 'the focus in the new window');
  assert.deepEqual(callsOf(host, 'toolbar.choose').map((each) => each.identifier), ['replyMessage:']);
});

test('tokens are walked through, edited and removed with keys', async (t) => {
  const { page, host } = await open(t);
  host.openCompose({ to: ['a@x.example', 'b@x.example'] });
  await page.waitForSelector('.token');
  await page.focus('.address-tokens input');
  await page.keyboard.press('Backspace');
  await page.keyboard.press('ArrowLeft');
  await page.keyboard.press('Delete');
  await until(async () => (await page.locator('.token').count()) === 1, 'one token less');
  await page.keyboard.press('ArrowLeft');
  await page.keyboard.press('Enter');
  assert.equal(await page.inputValue('.address-tokens input'), 'b@x.example');
});

test('the host replaces the text by a higher revision only, and the cursor stays', async (t) => {
  const { page, host } = await open(t);
  const window = host.openCompose({ to: ['a@x.example'], bodyHtml: '<div>One</div><div>Two</div>' });
  await page.waitForSelector('.editor');
  await until(async () => (await editorText(page)).startsWith('One'), 'the first text');
  await page.focus('.editor');
  await page.keyboard.press('Control+Home');
  await page.keyboard.press('End');
  await page.keyboard.type('!');
  await until(() => callsOf(host, 'compose.update').at(-1)?.bodyHtml?.includes('One!'), 'the edit');
  host.changeCompose(window, () => ({ bodyHtml: '<div>Stale</div>' }));
  host.changeCompose(window, () => ({ status: 'Draft saved' }));
  await page.waitForSelector('text=Draft saved');
  assert.match(await editorText(page), /One!/);
  host.changeCompose(window, () => ({ bodyHtml: '<div>One! and more</div><div>Signature</div>', bodyRevision: 2 }));
  await until(async () => (await editorText(page)).includes('Signature'), 'the new text');
  assert.equal(await active(page), 'Message text');
  await page.keyboard.type('?');
  await until(() => callsOf(host, 'compose.update').at(-1)?.bodyRevision === 2, 'an edit of the new revision');
  assert.match(callsOf(host, 'compose.update').at(-1).bodyHtml, /One!\? and more/);
});

test('a plug-in’s change of a field shows, but not over what is being typed', async (t) => {
  const { page, host } = await open(t);
  const window = host.openCompose({ to: ['a@x.example'] });
  await page.waitForSelector('.subject-input');
  host.changeCompose(window, () => ({ subject: 'From the host', cc: ['c@x.example'] }));
  await until(async () => (await page.inputValue('.subject-input')) === 'From the host', 'the subject');
  await page.waitForSelector('.token:has-text("c@x.example")');
  await page.fill('.subject-input', 'Mine');
  host.changeCompose(window, () => ({ subject: 'Again from the host' }));
  await until(() => callsOf(host, 'compose.update').at(-1)?.subject === 'Mine', 'the edit');
  assert.equal(await page.inputValue('.subject-input'), 'Mine');
});

test('quoted mail in the editor acts no more than displayed mail', async (t) => {
  const { page, host, faults } = await open(t);
  const hostile = '<div>Hi<img src="https://evil.example/a.gif" onerror="document.title=1"><a href="javascript:alert(1)">x</a><form action="/"><input></form><style>body{display:none}</style><div style="position:fixed;inset:0">cover</div></div>';
  host.openCompose({ to: ['a@x.example'], bodyHtml: hostile });
  await page.waitForSelector('.editor');
  await until(async () => (await editorText(page)).includes('cover'), 'the text');
  assert.equal(await page.locator('.editor :is(form, input, style, script, [onerror], [href^="javascript"])').count(), 0);
  const [box, cover] = await page.evaluate(() =>
    ['.editor', '.editor [style*=fixed]'].map((each) => document.querySelector(each).getBoundingClientRect().toJSON()),
  );
  assert.ok(cover.left >= box.left && cover.top >= box.top && cover.right <= box.right, 'it covers no more than the editor');
  assert.deepEqual(faults, []);
});

test('closing asks, Return takes the default and Escape the last button', async (t) => {
  const { page, host } = await open(t);
  host.openCompose({ to: ['a@x.example'] });
  await page.click('.compose-title [aria-label="Close"]');
  await page.waitForSelector('[role="alertdialog"]');
  await page.keyboard.press('Escape');
  await page.waitForSelector('[role="alertdialog"]', { state: 'detached' });
  await page.click('.compose-title [aria-label="Close"]');
  await page.waitForSelector('[role="alertdialog"] .default');
  for (let i = 0; i < 4; ++i) await page.keyboard.press('Tab');
  assert.ok(await page.evaluate(() => document.activeElement.closest('[role="alertdialog"]') !== null), 'the focus stays inside');
  await page.focus('[role="alertdialog"] .default');
  await page.keyboard.press('Enter');
  await page.waitForSelector('.compose', { state: 'detached' });
  assert.deepEqual(callsOf(host, 'alert.answer').map((each) => each.button), [2, 0]);
});

test('an alert of the program stands over everything and tells whether it may come again', async (t) => {
  const { page, host } = await open(t);
  const id = host.alert({ title: 'Really?', text: '', buttons: ['Yes', 'No'], suppression: false });
  await page.click('text=Do not show this message again');
  await page.keyboard.press('Enter');
  await page.waitForSelector('[role="alertdialog"]', { state: 'detached' });
  assert.deepEqual(callsOf(host, 'alert.answer'), [{ id, button: 0, suppression: true }]);
});

test('an alert has the keyboard at once, lies over hints, and Escape presses its cancel button, wherever that is', async (t) => {
  const { page, host } = await open(t);
  const hint = { identifier: 'hint', edge: 1, text: 'Look here', buttons: ['Yes'], buttonIcons: [], countdown: '0:09', anchor: 'toolbar:viewer:Snooze' };
  host.push({ popovers: [hint] });
  const id = host.alert({ title: 'Send without?', buttons: ['Send', 'Cancel', 'Attach'], cancel: 1, suppression: true });
  await page.waitForSelector('.alert');
  assert.equal(await page.evaluate(() => document.activeElement.textContent), 'Send');
  assert.ok(await page.isChecked('.alert input[type="checkbox"]'), 'the box shows the state that the host told');
  const onTop = await page.evaluate(() => {
    const { left, top } = document.querySelector('.popover').getBoundingClientRect();
    return document.elementFromPoint(left + 4, top + 4).className;
  });
  assert.match(onTop, /overlay/);
  await page.keyboard.press('Escape');
  await page.waitForSelector('.alert', { state: 'detached' });
  assert.deepEqual(callsOf(host, 'alert.answer'), [{ id, button: 1, suppression: true }]);
});

test('controls of plug-ins and sheets send their values under their names', async (t) => {
  const { page, host } = await open(t);
  const window = host.openCompose({ to: ['a@x.example'] });
  await page.click('label:has-text("Track")');
  await page.click('.compose .tool[aria-label="Schedule"]');
  await page.waitForSelector('.sheet');
  await page.fill('.sheet input[type="datetime-local"]', '2026-12-24T18:00');
  await page.click('.sheet >> text=Schedule');
  await until(() => callsOf(host, 'sheet.button').length, 'the button');
  assert.deepEqual(callsOf(host, 'compose.control'), [{ window, row: 'tracking', control: 'track', value: true }]);
  const [set] = callsOf(host, 'sheet.set');
  assert.deepEqual([set.window, set.form, set.control, new Date(set.value.$date * 1000).getHours()], [window, 'schedule', 'date', 18]);
  assert.deepEqual(callsOf(host, 'sheet.button'), [{ window, form: 'schedule', button: 1, title: 'Schedule' }]);
});

test('text that is still in a field of the preferences arrives before anything else happens', async (t) => {
  const { page, host } = await open(t);
  await page.keyboard.press('Control+,');
  await page.fill('.preferences input[placeholder="None"]', 'Charles B.');
  await page.keyboard.press('Escape');
  await page.waitForSelector('.preferences', { state: 'detached' });
  const calls = host.calls.filter(({ call }) => call.startsWith('preferences.')).map(({ call, args }) => [call, args.value]);
  assert.deepEqual(calls, [['preferences.set', 'Charles B.'], ['preferences.close', undefined]]);
});

test('what is written while the host is away arrives when it is back', async (t) => {
  const { page, host } = await open(t);
  host.openCompose({ to: ['a@x.example'] });
  await page.waitForSelector('.subject-input');
  host.goAway();
  await page.fill('.subject-input', 'Written in between');
  await page.waitForSelector('.connection-bar');
  host.comeBack();
  await page.waitForSelector('.connection-bar', { state: 'detached' });
  await until(() => callsOf(host, 'compose.update').at(-1)?.subject === 'Written in between', 'the edit');
  assert.equal(await page.inputValue('.subject-input'), 'Written in between');
});

test('when the session is gone, unsent text stays in sight and the page says what to do', async (t) => {
  const { page, host } = await open(t);
  host.openCompose({ to: ['a@x.example'] });
  await page.waitForSelector('.editor');
  host.token = 'another';
  host.hangUp();
  await page.waitForSelector('.connection-bar:has-text("started anew")');
  assert.match(await editorText(page), /Charles/);
});

test('more windows than fit are minimised, and come back to the front', async (t) => {
  const { page, host } = await open(t, { width: 700 });
  for (const name of ['One', 'Two', 'Three']) host.openCompose({ title: name, to: ['a@x.example'] });
  await page.waitForSelector('.compose.minimised:has-text("One")');
  await until(async () => (await page.locator('.compose:not(.minimised)').count()) === 2, 'two open windows');
  await page.click('.compose-name:has-text("One")');
  await page.waitForSelector('.compose.front:not(.minimised):has-text("One")');
});

test('the menu bar means the window that was in front', async (t) => {
  const { page, host } = await open(t);
  host.openCompose({ to: ['a@x.example'] });
  await page.focus('.subject-input');
  await page.click('.menubar-title:has-text("Edit")');
  await page.waitForSelector('.menu');
  await page.keyboard.press('Escape');
  await page.waitForSelector('.menu', { state: 'detached' });
  await page.keyboard.press('F10');
  await page.keyboard.press('Escape');
  await page.focus('.list-scroller');
  await becomes(() => callsOf(host, 'compose.front'), [{ window: '' }], 'only the list comes to the front');
});

test('a plain text takes no formatting keys', async (t) => {
  const { page, host } = await open(t);
  const window = host.openCompose({ to: ['a@x.example'], bodyHtml: '<div>word</div>', plainText: true });
  await page.waitForSelector('.editor.plain');
  await page.focus('.editor');
  await page.keyboard.press('Control+a');
  await page.keyboard.press('Control+b');
  assert.equal(await page.locator('.editor b').count(), 0);
  host.changeCompose(window, () => ({ plainText: false }));
  await page.waitForSelector('.format-bar');
  await page.keyboard.press('Control+b');
  await page.waitForSelector('.editor b');
  await page.waitForSelector('[aria-label="Bold"][aria-pressed="true"]');
});

test('an address moves to another field by dragging', async (t) => {
  const { page, host } = await open(t);
  host.openCompose({ to: ['a@x.example', 'b@x.example'], cc: ['c@x.example'] });
  await page.waitForSelector('.token');
  await page.dragAndDrop('.token:has-text("a@x.example")', '[data-anchor="cc:compose-1"]', { targetPosition: { x: 300, y: 15 } });
  await until(() => callsOf(host, 'compose.update').some((each) => each.cc?.length === 2), 'the copy field');
  const told = Object.assign({}, ...callsOf(host, 'compose.update'));
  assert.deepEqual([told.to, told.cc], [['b@x.example'], ['c@x.example', 'a@x.example']]);
});

test('symbols and links come into the text', async (t) => {
  const { page, host, faults } = await open(t);
  host.openCompose({ to: ['a@x.example'], bodyHtml: '<div>word</div>' });
  await page.waitForSelector('.editor');
  await page.focus('.editor');
  await page.keyboard.press('Control+a');
  await page.click('[aria-label="Link"]');
  await page.keyboard.type('javascript:alert(1)');
  await page.keyboard.press('Enter');
  await page.waitForSelector('text=This is no web or mail address.');
  await page.fill('.link-field input', 'books.example');
  await page.keyboard.press('Enter');
  await page.waitForSelector('.editor a[href="https://books.example/"]');
  await page.click('.compose [aria-label="Symbols"]');
  await page.locator('emoji-picker .emoji-menu button').first().click();
  await until(() => callsOf(host, 'compose.update').some((each) => /\p{Extended_Pictographic}/u.test(each.bodyHtml ?? '')), 'the symbol');
  assert.deepEqual(faults, []);
});
