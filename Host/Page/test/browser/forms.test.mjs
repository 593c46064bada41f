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
  t.after(() => page.clock.resume()); // all pages of the browser have the same
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
  await anyway.click({ force: true });
  assert.equal(await anyway.getAttribute('aria-disabled'), 'true', 'it is told that it does nothing yet');
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

test('a new mailbox is made in place', async (t) => {
  const { page, host } = await open(t);
  await page.click('text=New mailbox');
  await page.keyboard.type(' Receipts ');
  await page.keyboard.press('Enter');
  await until(() => callsOf(host, 'mailbox.create').length, 'the mailbox');
  assert.deepEqual(callsOf(host, 'mailbox.create'), [{ account: 'work', name: 'Receipts' }]);
});
