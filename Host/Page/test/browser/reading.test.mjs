import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';
import { axeFaults, becomes, callsOf, open, startBrowser, stopBrowser, until } from './page.mjs';

before(startBrowser);
after(stopBrowser);

const selected = (host) => callsOf(host, 'list.select').at(-1)?.ids;

test('the start link opens the page once, its ticket leaves the address, and a reload goes on', async (t) => {
  const { page, host } = await open(t);
  assert.equal(page.url(), host.url);
  await page.reload();
  await page.waitForSelector('.row');
  host.token = 'another'; // the program was started anew
  await page.reload();
  await page.waitForSelector('.welcome');
  assert.match(await page.textContent('.welcome'), /\.\/run/);
});

test('keys walk through the list, and rows far away are fetched', async (t) => {
  const { page, host } = await open(t);
  await page.focus('.list-scroller');
  await page.keyboard.press('ArrowDown');
  await until(() => selected(host)?.[0] === 1001, 'the second message');
  await page.keyboard.press('End');
  await until(() => selected(host)?.[0] === 3399, 'the last message');
  await page.waitForSelector('#row-3399.selected');
  await page.keyboard.press('Home');
  await until(() => selected(host)?.[0] === 1000, 'the first message');
  await page.keyboard.press('Shift+ArrowDown');
  await page.keyboard.press('Shift+ArrowDown');
  await until(() => selected(host)?.length === 3, 'three messages');
  assert.deepEqual([...selected(host)].sort(), [1000, 1001, 1002]);
  await page.waitForSelector('text=3 messages selected');
  await page.keyboard.press('Control+a');
  await until(() => selected(host)?.length === 2400, 'all messages');
});

test('the keys go on from where the host moved the selection', async (t) => {
  const { page, host } = await open(t);
  await page.click('#row-1002');
  await until(() => selected(host)?.[0] === 1002, 'the selection');
  host.inbox.splice(2, 1); // the host moved the message away and selected the next
  host.view.selected = [1003];
  host.tell('list', 'message');
  await page.waitForSelector('#row-1003.selected');
  await page.keyboard.press('ArrowDown');
  await until(() => selected(host)?.[0] === 1004, 'the row below');
});

test('Ctrl and Shift add to the selection', async (t) => {
  const { page, host } = await open(t);
  await page.click('#row-1001');
  await page.click('#row-1004', { modifiers: ['Control'] });
  await until(() => selected(host)?.length === 2, 'two messages');
  await page.click('#row-1006', { modifiers: ['Shift'] });
  await until(() => selected(host)?.join() === '1004,1005,1006', 'the range');
});

test('messages that are dragged to a mailbox move there', async (t) => {
  const { page, host } = await open(t);
  await page.dragAndDrop('#row-1002', '[data-mailbox="archive"]');
  await until(() => callsOf(host, 'message.move').length, 'the move');
  assert.deepEqual(callsOf(host, 'message.move'), [{ ids: [1002], mailbox: 'archive' }]);
});

test('a hostile message shows as text, runs nothing and loads nothing', async (t) => {
  const { page, host, faults } = await open(t);
  const outside = [];
  page.on('request', (request) => request.url().startsWith(host.url) || /^(data|blob|about):/.test(request.url()) || outside.push(request.url()));
  let dialogs = 0;
  page.on('dialog', (dialog) => {
    ++dialogs;
    void dialog.dismiss();
  });
  host.inbox[1].subject = '<img src=x onerror=alert(3)>';
  await page.click('#row-1001');
  const frame = page.frameLocator('.body-frame');
  await frame.locator('text=Dear friend').waitFor();
  assert.equal(await page.getAttribute('.body-frame', 'sandbox'), 'allow-popups allow-popups-to-escape-sandbox');
  await becomes(() => page.textContent('.message-subject'), '<img src=x onerror=alert(3)>');
  assert.equal(await frame.locator('script, [onerror]').count(), 0);
  const link = frame.locator('a', { hasText: 'www.printer.example' });
  assert.match(await link.textContent(), /\[evil\.example\]/);
  assert.deepEqual([await link.getAttribute('target'), await link.getAttribute('rel')], ['_blank', 'noopener noreferrer']);
  assert.deepEqual([outside, dialogs, faults], [[], 0, []]);
});

test('a part of the text that is selected is told ahead of an action, without what the page put there', async (t) => {
  const { page, host, faults } = await open(t);
  await page.click('#row-1001');
  const frame = page.frameLocator('.body-frame');
  await frame.locator('text=Dear friend').waitFor();
  await page.getByRole('button', { name: 'Select a part of the text' }).click();
  await frame.locator('text=Dear friend').waitFor();
  assert.equal(await page.getAttribute('.body-frame', 'sandbox'), 'allow-popups allow-popups-to-escape-sandbox allow-same-origin');
  const told = () => callsOf(host, 'message.selectText');
  await page.evaluate(() => document.querySelector('.body-frame').contentWindow.getSelection().selectAllChildren(document.querySelector('.body-frame').contentDocument.body));
  assert.deepEqual(told(), [], 'not by itself');
  await page.getByRole('button', { name: 'Reply', exact: true }).click();
  await until(() => told().length === 1, 'the selection');
  assert.equal(told()[0].id, 1001);
  assert.match(told()[0].html, /Dear friend/);
  assert.doesNotMatch(told()[0].html, /qs-|data-qs|<script|onerror/);
  const order = host.calls.map((each) => each.call);
  assert.ok(order.indexOf('message.selectText') < order.indexOf('toolbar.choose'));
  await page.getByRole('button', { name: 'Select a part of the text' }).click();
  await until(() => told().at(-1).html === '', 'its end');
  assert.equal(await page.getAttribute('.body-frame', 'sandbox'), 'allow-popups allow-popups-to-escape-sandbox');
  assert.deepEqual(faults, []);
});

test('pictures on the web come when they are asked for, at once for a sender who is listed, and never in junk', async (t) => {
  const { page, host } = await open(t);
  const bar = page.getByRole('group', { name: 'Remote pictures' });
  await page.click('#row-1003');
  await bar.getByText('Remote pictures are not shown.').waitFor();
  await bar.getByRole('button', { name: 'Show pictures' }).click();
  await bar.waitFor({ state: 'detached' });
  await page.click('#row-1002');
  await page.click('#row-1003');
  await bar.getByRole('button', { name: 'Always for this sender' }).click();
  await bar.waitFor({ state: 'detached' });
  assert.deepEqual(callsOf(host, 'message.alwaysShowPictures'), [{ id: 1003 }]);
  host.bodies.length = 0;
  host.remote = 'always';
  await page.click('#row-1002');
  await page.click('#row-1003');
  await until(() => host.bodies.includes('/messages/1003/body?remote=1'), 'the pictures, unasked');
  host.remote = 'never';
  await page.click('#row-1002');
  await page.click('#row-1003');
  await bar.getByText('In junk they never are.').waitFor();
  assert.equal(await bar.getByRole('button').count(), 0);
});

test('Space scrolls the message while the list keeps the focus', async (t) => {
  const { page } = await open(t);
  const frame = page.frameLocator('.body-frame');
  await frame.locator('text=Dear friend').waitFor();
  await page.focus('.list-scroller');
  const scrolled = () => frame.locator('html').evaluate((root) => root.scrollTop);
  await page.keyboard.press('Space');
  const first = await until(scrolled, 'a scrolled message');
  await page.keyboard.press('Space');
  await until(async () => (await scrolled()) > first, 'the next screen');
  await page.keyboard.press('Shift+Space');
  await page.keyboard.press('Shift+Space');
  await until(async () => (await scrolled()) === 0, 'the beginning');
  assert.equal(await page.evaluate(() => document.activeElement.className), 'list-scroller');
});

test('single keys act on the list and not while text is typed', async (t) => {
  const { page, host } = await open(t);
  await page.focus('.list-scroller');
  await page.keyboard.press('e');
  await until(() => callsOf(host, 'toolbar.choose').some((each) => each.identifier === 'archiveMessages:'), 'archiving');
  await page.keyboard.press('/');
  const before = callsOf(host, 'toolbar.choose').length;
  await page.keyboard.type('rea');
  await until(() => callsOf(host, 'list.search').at(-1)?.text === 'rea', 'the search');
  assert.equal(callsOf(host, 'toolbar.choose').length, before);
});

test('the search field offers operators and people, by keys and by the pointer', async (t) => {
  const { page, host } = await open(t);
  const field = page.getByRole('combobox', { name: 'Search messages' });
  await field.click();
  await field.pressSequentially('fr');
  await page.keyboard.press('ArrowDown');
  await page.keyboard.press('Enter');
  await becomes(() => field.inputValue(), 'from:');
  await field.pressSequentially('ada');
  await page.getByRole('option', { name: 'Ada Lovelace' }).click();
  await becomes(() => field.inputValue(), 'from:ada@analytical.example ');
  await until(() => callsOf(host, 'list.search').at(-1)?.text === 'from:ada@analytical.example ', 'the search');
  assert.deepEqual(await axeFaults(page), []);
  await page.keyboard.press('Escape'); // the offers
  await page.getByRole('option').first().waitFor({ state: 'hidden' });
  await page.keyboard.press('Escape'); // the search
  await until(() => callsOf(host, 'list.search').at(-1)?.text === '', 'the whole list');
});

test('menus work with the keyboard alone', async (t) => {
  const { page, host } = await open(t);
  await page.focus('.list-scroller');
  await page.keyboard.press('F10');
  for (const key of ['ArrowLeft', 'ArrowLeft', 'ArrowLeft', 'ArrowDown']) await page.keyboard.press(key);
  await page.waitForSelector('.menu-item.active:has-text("Send")');
  await page.keyboard.press('s'); // the disabled "Send" has the focus already: on to "Snooze"
  await page.keyboard.press('ArrowRight');
  await page.keyboard.press('t');
  await page.keyboard.press('Enter');
  await until(() => callsOf(host, 'menu.choose').length, 'the choice');
  assert.deepEqual(callsOf(host, 'menu.choose'), [{ item: '5.6.2', menu: 'main' }]);
  await until(() => page.evaluate(() => document.activeElement.className === 'list-scroller'), 'the focus coming back');
});

test('what was moved is told with a way back, and what was moved before the page came is not', async (t) => {
  const { page, host } = await open(t);
  const notices = page.getByRole('region', { name: 'Notices' });
  host.push({ viewer: { ...host.models.viewer, lastMove: { number: 4, text: 'Message moved to Archive.' } } });
  await notices.getByText('Message moved to Archive.').waitFor();
  await notices.getByRole('button', { name: 'Undo' }).click();
  await until(() => callsOf(host, 'message.undoMove').length, 'the way back');
  assert.deepEqual(callsOf(host, 'message.undoMove'), [{ number: 4 }]);
  await notices.getByText('moved to').waitFor({ state: 'detached' });
  await page.reload();
  await page.waitForSelector('.row');
  assert.equal(await notices.getByText('moved to').count(), 0);
});

test('new mail is told by the browser to who looks elsewhere, and the browser is asked when it is switched on', async (t) => {
  const { page, host } = await open(t);
  await page.evaluate(() => {
    window.told = [];
    window.asked = 0;
    window.Notification = class {
      static permission = 'default';
      static requestPermission() {
        ++window.asked;
        return Promise.resolve((this.permission = 'granted'));
      }
      constructor(title, { body }) {
        window.told.push([title, body]);
        window.last = this;
      }
      close() {}
    };
  });
  const look = (here) => page.evaluate((value) => (document.hasFocus = () => value), here);
  const told = () => page.evaluate(() => window.told);
  await look(false);
  host.send({ type: 'newMail', count: 1, id: 1002 });
  host.push({ app: { ...host.models.app, notifies: true } });
  await until(() => page.evaluate(() => window.asked === 1), 'the question');
  assert.deepEqual(await told(), [], 'nothing before the browser allows it');
  host.send({ type: 'newMail', count: 3, id: 1002 });
  host.send({ type: 'newMail', count: 1, id: 1002, from: 'Ada', subject: '<b>Proofs</b>' });
  await until(async () => (await told()).length === 2, 'both');
  assert.deepEqual(await told(), [['3 new messages', ''], ['Ada', '<b>Proofs</b>']]);
  await page.evaluate(() => window.last.onclick());
  await until(() => callsOf(host, 'message.open').length, 'the message');
  assert.deepEqual(callsOf(host, 'message.open'), [{ id: 1002 }]);
  await look(true);
  host.send({ type: 'newMail', count: 9, id: 1002 });
  host.push({ app: { ...host.models.app, notifies: true, title: 'Later' } });
  await until(() => page.title().then((title) => title.includes('Later')), 'what came behind it');
  assert.equal((await told()).length, 2, 'who looks at the page sees it there');
});

test('the menu of the list opens at the row, and acts by its own paths', async (t) => {
  const { page, host } = await open(t);
  await page.click('#row-1002', { button: 'right' });
  await page.click('.menu-item:has-text("Reply All")');
  assert.deepEqual(callsOf(host, 'context.open'), [{ ids: [1002] }]);
  assert.deepEqual(callsOf(host, 'menu.choose'), [{ item: '3', menu: 'context' }]);
});

test('a message that was perhaps sent waits for a word', async (t) => {
  const { page, host } = await open(t);
  await page.click('text=1 message was perhaps sent');
  await page.click('text=It was sent');
  await until(() => callsOf(host, 'message.resolveDoubt').length, 'the word');
  assert.deepEqual(callsOf(host, 'message.resolveDoubt'), [{ uniqueID: 'u-1', choice: 'markSent' }]);
});

test('a lost connection is said and mended', async (t) => {
  const { page, host } = await open(t);
  host.goAway();
  await page.waitForSelector('.connection-bar');
  host.comeBack();
  await page.waitForSelector('.connection-bar', { state: 'detached' });
  await page.click('#row-1002');
  await until(() => selected(host)?.[0] === 1002, 'a selection after the pause');
});

test('on a narrow page the browser’s way back leads from a message to the list, and no further than one came', async (t) => {
  const { page } = await open(t, { width: 400, height: 800 });
  const shows = (pane) => until(() => page.isVisible(pane === 'list' ? '.list-scroller' : '.reading-back'), pane);
  const entries = () => page.evaluate(() => history.length);
  const before = await entries();
  await page.click('#row-1001');
  await shows('message');
  assert.equal(await entries(), before + 1);
  await page.goBack();
  await shows('list');
  await page.goForward();
  await page.click('#row-1002');
  await shows('message');
  await page.click('.reading-back');
  await shows('list');
  await until(() => page.evaluate(() => history.state === null), 'the way back used up');
  assert.equal(await entries(), before + 1);
});
