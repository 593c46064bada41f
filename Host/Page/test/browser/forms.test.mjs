import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';
import { textSheet } from '../mock/forms.mjs';
import { axeFaults, becomes, callsOf, open, startBrowser, stopBrowser, until } from './page.mjs';

before(startBrowser);
after(stopBrowser);

const field = (label) => `.control:has(.control-label:text-is("${label}"))`;

test('each kind of control sends what was set', async (t) => {
  const { page, host } = await open(t);
  await page.keyboard.press('Control+,');
  await page.waitForSelector('.preferences');
  const at = (id) => callsOf(host, 'preferences.set').filter((each) => each.control === id).at(-1)?.value;
  const sets = async (id, wanted, act) => {
    await act();
    await until(() => JSON.stringify(at(id)) === JSON.stringify(wanted), `${id}, which is ${JSON.stringify(at(id))}`);
  };
  await sets('delay', false, () => page.click('label:has-text("Delay outgoing messages")'));
  await sets('seconds', 600, () => page.fill(`${field('Delay')} input`, '700'));
  await sets('mode', 'back', () => page.click('[role="radio"]:has-text("Go back")'));
  await sets('account', 'home', () => page.selectOption(`${field('Account')} select`, { label: 'Home' }));
  await sets('words', ['attached', 'enclosed', 'see the file', 'appendix'], async () => {
    await page.fill('input[placeholder="Another word"]', 'appendix');
    await page.keyboard.press('Enter');
  });
  await sets('words', ['attached', 'see the file'], () => page.click('[aria-label="Remove “enclosed”"]'));
  await sets('key', 'secret', () => page.fill('input[type="password"]', 'secret'));
  await sets('check', null, () => page.click('text=Check now'));
  await sets('shortcut', { characters: 'm', modifierFlags: (1 << 20) | (1 << 17) }, async () => {
    await page.click(`${field('Send later')} .shortcut-button`);
    await page.keyboard.press('Control+Shift+M');
  });
  await sets('shortcut', null, () => page.click('[aria-label="Remove the shortcut"]'));
});

test('radio buttons walk with the arrow keys, and the controls of a choice stand in its line', async (t) => {
  const { page, host } = await open(t);
  const window = host.openCompose({ to: ['a@x.example'] });
  await page.click('.compose .tool[aria-label^="Schedule"]');
  await page.waitForSelector('.sheet');
  const sets = (control) => callsOf(host, 'sheet.set').filter((each) => each.window === window && each.control === control);
  await page.locator('.radio-line').filter({ hasText: 'Day' }).getByLabel('Time').waitFor();
  assert.equal(await page.getByLabel('Unit').count(), 1, 'a control in a line stands there alone');
  await page.getByRole('radio', { name: 'Date' }).focus();
  await page.keyboard.press('ArrowDown'); // round the end
  await until(() => sets('mode').length === 1, 'the choice');
  assert.equal(sets('mode')[0].value, 0);
});

test('a date that is being typed is left alone, and one before the earliest is not taken', async (t) => {
  const { page, host } = await open(t);
  host.openCompose({ to: ['a@x.example'] });
  await page.click('.compose .tool[aria-label^="Schedule"]');
  const field = page.getByLabel('Date and time');
  await field.waitFor();
  await page.clock.install();
  const sets = () => callsOf(host, 'sheet.set').filter((each) => each.control === 'date').map((each) => new Date(each.value.$date * 1000));
  await field.fill('0202-11-23T09:30');
  await page.clock.runFor(2000); // longer than what is typed rests before it is sent
  assert.deepEqual(sets(), []);
  assert.equal(await field.inputValue(), '0202-11-23T09:30');
  await field.fill('2031-11-23T09:30');
  await page.clock.runFor(2000);
  await until(() => sets().length === 1, 'the date');
  assert.deepEqual([sets()[0].getFullYear(), sets()[0].getHours()], [2031, 9]);
  await field.fill('1999-01-01T09:30');
  await field.blur();
  await until(() => sets().length === 2, 'the earliest date in its place');
  assert.ok(Math.abs(sets()[1] - 1795330000000) < 60_000);
});

test('what a button began is in sight, and where it stood no other is pressed by the same click', async (t) => {
  const { page, host } = await open(t, { width: 400, height: 700 });
  await page.clock.install();
  const window = host.openCompose({ to: ['a@x.example'] });
  const fields = Array.from({ length: 30 }, (_, i) => ({ kind: 'textField', id: `f${i}`, label: `Field ${i}`, value: '', enabled: true }));
  const sheet = (cancel, progress, more = []) => ({
    identifier: 'long', title: 'Change it',
    groups: [{ title: '', controls: [...fields, ...(progress ? [{ kind: 'text', id: 'progress', label: '', value: progress, enabled: true }] : [])] }],
    buttons: [{ title: 'Save', isDefault: true }, ...more, { title: cancel, isCancel: true }],
  });
  const show = (...args) => host.changeCompose(window, () => ({ sheet: sheet(...args) }));
  show('Stop');
  await page.getByRole('button', { name: 'Save', exact: true }).focus();
  show('Stop', 'Looking for it…');
  const told = page.getByText('Looking for it…');
  await told.waitFor();
  await until(() => told.evaluate((text) => {
    const [{ top, bottom }, buttons] = [text.getBoundingClientRect(), document.querySelector('.sheet .form-buttons').getBoundingClientRect()];
    return top > 0 && bottom <= buttons.top + 1;
  }), 'the line above the buttons');
  // What was meant to stop it comes a moment after it stopped by itself, when there is something to warn of.
  await page.clock.pauseAt((await page.evaluate(() => Date.now())) + 1000);
  show('Cancel', '', [{ title: 'Save Anyway' }]);
  const anyway = page.getByRole('button', { name: 'Save Anyway' });
  await page.getByRole('button', { name: 'Cancel', exact: true }).waitFor();
  await page.keyboard.press('Escape');
  await anyway.click();
  await page.clock.runFor(600);
  await anyway.click();
  await anyway.waitFor({ state: 'detached' });
  assert.deepEqual(callsOf(host, 'sheet.button').map(({ title }) => title), ['Save Anyway']);
});

test('a text with looks is sent before a button acts, and tokens are typed, completed and taken away by keys', async (t) => {
  const { page, host, faults } = await open(t);
  const window = host.openCompose({ to: ['a@x.example'] });
  host.changeCompose(window, () => ({ sheet: textSheet() }));
  const text = page.getByRole('textbox', { name: 'Text of the note' });
  await becomes(async () => (await text.innerText()).trim(), 'It is ready.');
  assert.deepEqual(await axeFaults(page), []);
  const values = (control) => callsOf(host, 'sheet.set').filter((each) => each.control === control).map((each) => each.value);
  assert.deepEqual(values('content'), [], 'what the host says is no edit of the person');
  const tags = page.getByLabel('Tags', { exact: true });
  await tags.fill('new one,');
  await until(() => values('tags').length === 1, 'a tag behind its comma');
  assert.deepEqual(values('tags')[0], ['mail', 'new one']);
  await tags.press('Backspace');
  await page.keyboard.press('Backspace');
  await until(() => values('tags').length === 2, 'a tag less');
  assert.deepEqual(values('tags')[1], []);
  assert.deepEqual(await page.locator('.token-field option').evaluateAll((all) => all.map((each) => each.value)), ['paper', 'people', 'work']);

  await text.click();
  await page.keyboard.press('Control+End');
  await page.keyboard.press('Control+b');
  await page.keyboard.type(' Mine');
  await page.getByRole('button', { name: 'Save' }).click();
  await until(() => callsOf(host, 'sheet.button').length === 1, 'the button');
  assert.match(values('content').at(-1), /<b> ?(&nbsp;)?Mine<\/b>/);
  const order = host.calls.map((each) => each.call);
  assert.ok(order.lastIndexOf('sheet.set') < order.indexOf('sheet.button'));
  assert.deepEqual(faults, []);
});

test('a field shows what the host makes of it, but not over what is being typed', async (t) => {
  const { page, host } = await open(t);
  await page.keyboard.press('Control+,');
  await page.waitForSelector('.preferences');
  const name = 'input[placeholder="None"]';
  const tell = (value) => {
    const { preferences } = host.models;
    const { controls } = preferences.form.groups[2];
    controls.find((each) => each.id === 'name').value = value;
    controls.find((each) => each.id === 'told').value = `Told: ${value}`;
    host.push({ preferences });
  };
  tell('From the host');
  await until(async () => (await page.inputValue(name)) === 'From the host', 'the value');
  // Somebody who goes on typing until the host's word has come.
  await page.evaluate((field) => {
    const typed = document.querySelector(field);
    const type = () => typed.dispatchEvent(new Event('input', { bubbles: true }));
    typed.value = 'Mine';
    type();
    window.typing = setInterval(type, 50);
  }, name);
  tell('Too late');
  await page.getByText('Told: Too late').waitFor();
  await page.evaluate(() => clearInterval(window.typing));
  await until(() => callsOf(host, 'preferences.set').some((each) => each.value === 'Mine'), 'the edit');
  assert.equal(await page.inputValue(name), 'Mine');
});

test('a list is chosen from by mouse and keys, and tells its states in words', async (t) => {
  const { page, host } = await open(t);
  await page.keyboard.press('Control+,');
  await page.getByRole('tab', { name: 'Plug-ins' }).click();
  const list = page.getByRole('listbox', { name: 'Services' });
  const chosen = () => callsOf(host, 'preferences.set').filter((each) => each.control === 'services').at(-1)?.value;
  await list.getByRole('option', { selected: true }).getByText('Linking…').waitFor();
  await list.getByText('Three').click();
  await becomes(chosen, ['three']);
  await page.keyboard.press('ArrowUp');
  await becomes(chosen, ['two']);
  await page.keyboard.press('Shift+Home');
  await becomes(chosen, ['one', 'two']);
  await becomes(() => list.getByRole('option', { selected: true }).count(), 2);
  await page.keyboard.press('Tab');
  await page.keyboard.press('Enter');
  await until(() => callsOf(host, 'preferences.set').some((each) => each.control === 'link'), 'the button below the list');
});

test('the preferences walk with the arrow keys', async (t) => {
  const { page, host } = await open(t);
  await page.keyboard.press('Control+,');
  await page.waitForSelector('.module-tab.selected:has-text("Sending")');
  await page.keyboard.press('ArrowUp');
  await page.keyboard.press('ArrowUp');
  await page.waitForSelector('.module-tab.selected:has-text("General")');
  await until(() => page.evaluate(() => document.activeElement.textContent === 'General'), 'the focus on the tab');
  assert.deepEqual(callsOf(host, 'preferences.show').map((each) => each.module), ['Accounts', 'General']);
});

test('arrow keys in the preferences may outrun the host', async (t) => {
  const { page, host } = await open(t);
  await page.keyboard.press('Control+,');
  await page.waitForSelector('.module-tab.selected:has-text("Sending")');
  const answer = host.answer;
  const late = [];
  host.answer = (call, args) => (call === 'preferences.show' ? (late.push(args), null) : answer.call(host, call, args));
  await page.keyboard.press('ArrowUp');
  await page.keyboard.press('ArrowUp');
  await until(() => late.length === 2, 'two wishes');
  answer.call(host, 'preferences.show', late[0]); // only the first is fulfilled so far
  await page.waitForSelector('.module-tab.selected:has-text("Accounts")');
  await page.keyboard.press('ArrowUp');
  await until(() => late.length === 3, 'the third wish');
  assert.deepEqual(late.map((each) => each.module), ['Accounts', 'General', 'Plug-ins']);
});

test('what opens has the focus from the moment it is drawn', async (t) => {
  const { page, host } = await open(t);
  await page.evaluate(() => {
    // Runs right after the page has drawn, before anybody could press a key.
    window.focusAtBirth = {};
    new MutationObserver(() => {
      for (const name of ['preferences', 'menu', 'new-mailbox-form', 'alert', 'compose', 'link-field']) {
        const found = document.querySelector(`.${name}`);
        if (found && !(name in window.focusAtBirth)) window.focusAtBirth[name] = found.contains(document.activeElement);
      }
    }).observe(document.body, { childList: true, subtree: true });
  });
  const opens = async (selector, act) => {
    await act();
    await page.waitForSelector(selector);
  };
  await opens('.preferences', () => page.keyboard.press('Control+,'));
  await page.keyboard.press('Escape');
  await page.waitForSelector('.preferences', { state: 'detached' });
  await opens('.menu', () => page.click('#row-1002', { button: 'right' }));
  await page.keyboard.press('Escape');
  await opens('.new-mailbox-form', () => page.click('text=New mailbox'));
  await opens('.compose', () => host.openCompose());
  await opens('.link-field', () => page.click('.compose [aria-label="Link"]'));
  await opens('.alert', () => host.alert({ title: 'Really?', buttons: ['Yes', 'No'] }));
  assert.deepEqual(await page.evaluate(() => window.focusAtBirth), {
    preferences: true, menu: true, 'new-mailbox-form': true, compose: true, 'link-field': true, alert: true,
  });
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

test('a new mailbox is made in place', async (t) => {
  const { page, host } = await open(t);
  await page.click('text=New mailbox');
  await page.keyboard.type(' Receipts ');
  await page.keyboard.press('Enter');
  await until(() => callsOf(host, 'mailbox.create').length, 'the mailbox');
  assert.deepEqual(callsOf(host, 'mailbox.create'), [{ account: 'work', name: 'Receipts' }]);
});

const countdown = (left) => ({ identifier: 'Later', anchor: 'title:viewer', edge: 3, text: 'It will happen in 12 seconds.', countdown: String(left), buttons: ['Now', 'Never'], buttonIcons: [] });

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
