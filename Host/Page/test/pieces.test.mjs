import assert from 'node:assert/strict';
import { test } from 'node:test';
import { load } from './load.mjs';

const { step, typeAhead, tidy } = await load('menus/menuModel.ts');
const { placeBeside, placeMenu, Edge } = await load('base/place.ts');
const { describeSize } = await load('base/size.ts');
const { hostNamedBy, factsOfLink } = await load('reading/links.ts');
const { fromLocalInput, toLocalInput, fromTimeInput, sameValue } = await load('forms/values.ts');
const { chosenRows, stepOfKey } = await load('forms/listRows.ts');
const { treeRows } = await load('mailboxes/tree.ts');
const { Outgoing } = await load('compose/Outgoing.ts');

const line = { id: '', title: '', separator: true };
const item = (title) => ({ id: title, title });

test('the focus goes over separators and round the ends of a menu', () => {
  const items = [item('Open'), line, item('Reply'), item('Reply All')];
  assert.equal(step(items, 0, 1), 2);
  assert.equal(step(items, 3, 1), 0);
  assert.equal(step(items, 0, -1), 3);
  assert.equal(step(items, -1, 1), 0);
  assert.equal(step(items, -1, -1), 3);
  assert.equal(step([line], 0, 1), -1);
});

test('a folded branch of mailboxes hides what is in it and tells what is unread there', () => {
  const tree = [['Inbox', 0, 5], ['Works', 0, 1], ['Bridges', 1, 2], ['Steel', 2, 4], ['Roads', 1, 0], ['Zoo', 0, 7]];
  const mailboxes = tree.map(([id, depth, unread]) => ({ id, depth, unread }));
  const shown = (...folded) => treeRows(mailboxes, (id) => folded.includes(id)).map(({ mailbox, unreadBelow }) => mailbox.id + (unreadBelow ? ` +${unreadBelow}` : ''));
  assert.deepEqual(shown(), ['Inbox', 'Works', 'Bridges', 'Steel', 'Roads', 'Zoo']);
  assert.deepEqual(shown('Works', 'Inbox'), ['Inbox', 'Works +6', 'Zoo']);
  assert.deepEqual(shown('Bridges'), ['Inbox', 'Works', 'Bridges +4', 'Roads', 'Zoo']);
});

test('typing finds an item: one letter goes on, several look for that beginning', () => {
  const items = [item('Archive'), item('Reply'), line, item('Reply All'), item('Rename')];
  assert.equal(typeAhead(items, 'r', 0), 1);
  assert.equal(typeAhead(items, 'r', 1), 3);
  assert.equal(typeAhead(items, 'rr', 4), 1, 'the same letter again goes on');
  assert.equal(typeAhead(items, 'reply a', 1), 3);
  assert.equal(typeAhead(items, 'ren', 1), 4);
  assert.equal(typeAhead(items, 'x', 0), -1);
});

test('rows of a list are chosen by keys and clicks as lists are used', () => {
  const keys = ['a', 'b', 'c', 'd'];
  const key = (name, more = {}) => stepOfKey({ key: name, shiftKey: false, ctrlKey: false, metaKey: false, ...more });
  let state = { chosen: new Set(['b']), active: 1, anchor: -1 };
  const after = (step) => {
    state = chosenRows(keys, state, step);
    return `${[...state.chosen].sort().join('')} ${state.active}`;
  };
  assert.equal(after(key('ArrowDown')), 'c 2');
  assert.equal(after(key('ArrowUp', { shiftKey: true })), 'bc 1');
  assert.equal(after(key('ArrowUp', { shiftKey: true })), 'abc 0', 'from where the choice began');
  assert.equal(after(key('ArrowUp')), 'a 0', 'and no further than the end');
  assert.equal(after(key('End', { shiftKey: true })), 'abcd 3');
  assert.equal(after({ to: 1, extend: false, toggle: true }), 'acd 1');
  assert.equal(after(key(' ', { ctrlKey: true })), 'abcd 1');
  assert.equal(after(key(' ')), 'b 1');
  assert.equal(after(key('a', { ctrlKey: true })), 'abcd 1');
  assert.equal(key('a'), null);
  assert.equal(key('Tab'), null);
  assert.deepEqual(chosenRows([], state, key('End')).chosen, new Set());
});

test('no separator stands at an end or beside another', () => {
  const titles = (items) => tidy(items).map((each) => each.title || '-').join('');
  assert.equal(titles([line, item('a'), line, line, item('b'), line]), 'a-b');
  assert.equal(titles([line, line]), '');
});

test('cards stay in view and point at their anchor', () => {
  const view = { width: 1000, height: 700 };
  const card = { width: 200, height: 100 };
  const middle = { left: 500, top: 300, width: 40, height: 20 };
  assert.deepEqual(placeBeside(middle, card, Edge.Below, view), { left: 420, top: 330, edge: Edge.Below, arrow: 100 });
  assert.equal(placeBeside({ ...middle, top: 670 }, card, Edge.Below, view).edge, Edge.Above, 'no room below');
  assert.equal(placeBeside({ ...middle, left: 10 }, card, Edge.Left, view).edge, Edge.Right, 'no room at the left');
  const corner = placeBeside({ left: 0, top: 0, width: 20, height: 20 }, card, Edge.Above, view);
  assert.deepEqual([corner.edge, corner.left, corner.arrow], [Edge.Below, 8, 16]);
  const tiny = placeBeside(middle, { width: 2000, height: 900 }, Edge.Above, view);
  assert.deepEqual([tiny.left, tiny.top], [8, 8], 'a card larger than the page begins at its corner');
});

test('menus open below their button, or where there is room', () => {
  const view = { width: 1000, height: 700 };
  const menu = { width: 200, height: 300 };
  assert.deepEqual(placeMenu({ left: 100, top: 10, width: 60, height: 26 }, menu, view, false), { left: 100, top: 38 });
  assert.deepEqual(placeMenu({ left: 950, top: 10, width: 40, height: 26 }, menu, view, false), { left: 790, top: 38 });
  assert.equal(placeMenu({ left: 100, top: 600, width: 60, height: 26 }, menu, view, false).top, 298);
  assert.equal(placeMenu({ left: 700, top: 50, width: 200, height: 26 }, menu, view, true).left, 504, 'a submenu goes to the other side');
});

test('sizes', () => {
  const cases = [[0, '0 bytes'], [1, '1 byte'], [999, '999 bytes'], [1000, '1 KB'], [482133, '482 KB'], [999_700, '1.0 MB'], [12_345_678, '12 MB'], [3.4e9, '3.4 GB']];
  for (const [bytes, wanted] of cases) assert.equal(describeSize(bytes), wanted);
});

test('a link that names one host and goes to another shows the real one', () => {
  const hint = (href, text) => factsOfLink(href, text)?.hint;
  assert.equal(hint('https://evil.example/x', 'www.bank.example'), 'evil.example');
  assert.equal(hint('https://evil.example/', 'https://bank.example/login'), 'evil.example');
  assert.equal(hint('https://bank.example.evil.example/', 'bank.example'), 'bank.example.evil.example');
  assert.equal(hint('https://user:pw@evil.example/', 'bank.example'), 'evil.example');
  assert.equal(hint('https://www.bank.example/login?a=b', 'bank.example'), '');
  assert.equal(hint('https://bank.example/', 'Click here. It is safe'), '');
  assert.equal(hint('https://bаnk.example/', 'bank.example'), 'xn--bnk-6cd.example', 'a Cyrillic letter');
  assert.equal(hint('mailto:thief@evil.example', 'help@bank.example'), 'thief@evil.example');
  assert.equal(hostNamedBy('e.g. this'), null);
});

test('only web and mail links open', () => {
  for (const href of ['javascript:alert(1)', ' JavaScript:alert(1)', 'data:text/html,x', 'file:///etc/passwd', 'vbscript:x', '/relative', 'quillstead:x', ''])
    assert.equal(factsOfLink(href, 'x'), null, href);
  assert.equal(factsOfLink('HTTP://a.example', 'x').href, 'http://a.example/');
});

test('dates go through local fields and come back', () => {
  const date = new Date(2026, 2, 29, 9, 5);
  assert.equal(toLocalInput(date), '2026-03-29T09:05');
  assert.deepEqual(fromLocalInput('2026-03-29T09:05'), { $date: date.getTime() / 1000 });
  assert.equal(fromLocalInput('2026-03-29'), null);
  assert.equal(new Date(fromLocalInput('0020-02-29T10:00').$date * 1000).getFullYear(), 20, 'not 1920');
  const time = fromTimeInput('23:30', date);
  assert.equal(toLocalInput(new Date(time.$date * 1000)), '2026-03-29T23:30');
  assert.ok(sameValue({ $date: 5 }, { $date: 5 }) && !sameValue('1', 1));
});

/** Timers that go off when told; node's own stand-ins for them differ from version to version. */
function virtualTimers(context) {
  const real = { setTimeout, clearTimeout };
  context.after(() => Object.assign(globalThis, real));
  const waiting = new Map();
  let now = 0;
  globalThis.setTimeout = (work, delay) => {
    const timer = {};
    waiting.set(timer, { work, due: now + delay });
    return timer;
  };
  globalThis.clearTimeout = (timer) => waiting.delete(timer);
  return {
    tick(milliseconds) {
      now += milliseconds;
      for (const [timer, { work, due }] of [...waiting])
        if (due <= now && waiting.delete(timer)) work();
    },
  };
}

test('edits are gathered, sent once and in order, with the body as it is then', async (context) => {
  const timers = virtualTimers(context);
  const sent = [];
  let text = 'a';
  let arrives = true;
  const outgoing = new Outgoing(
    (edit) => {
      sent.push(edit);
      return Promise.resolve(arrives);
    },
    () => ({ bodyHtml: text, bodyRevision: 4 }),
  );
  outgoing.stage({ subject: 'S' });
  outgoing.stageBody();
  text = 'ab';
  outgoing.stage({ subject: 'Su' });
  timers.tick(299);
  assert.equal(sent.length, 0);
  assert.ok(outgoing.isBehind());
  timers.tick(1);
  assert.deepEqual(sent, [{ subject: 'Su', bodyHtml: 'ab', bodyRevision: 4 }]);
  await new Promise(setImmediate);
  assert.ok(!outgoing.isBehind(), 'the host knows everything');

  outgoing.stage({ to: ['a@x.example'] });
  outgoing.flush();
  timers.tick(1000);
  assert.equal(sent.length, 2, 'what was flushed does not leave again');

  arrives = false;
  outgoing.stage({ subject: 'Lost', cc: ['c@x.example'] });
  outgoing.stageBody();
  outgoing.flush();
  outgoing.stage({ subject: 'Later' });
  await new Promise(setImmediate);
  arrives = true;
  text = 'abc';
  outgoing.flush();
  assert.deepEqual(sent.slice(3), [{ cc: ['c@x.example'], subject: 'Later', bodyHtml: 'abc', bodyRevision: 4 }], 'what never arrived leaves again, newer edits first');
  await new Promise(setImmediate);
  assert.ok(!outgoing.hasPending());

  outgoing.stageBody();
  outgoing.dropBody();
  outgoing.flush();
  assert.equal(sent.length, 4, 'a text that the host replaced meanwhile is not sent back');
});
