import assert from 'node:assert/strict';
import { test } from 'node:test';
import { load } from './load.mjs';

const { rowsToDraw, scrollScale, windowToAsk, scrollToShow } = await load('list/windowing.ts');
const { keyTarget, selectOnly, toggle, extend } = await load('list/selection.ts');
const { describeDelivery } = await load('list/describeDelivery.ts');
const { describeRow } = await load('list/describeRow.ts');

const { lastWord, personTyped, suggestOperators, withPerson } = await load('list/searchOperators.ts');

test('the search field offers what the word under way could become', () => {
  const labels = (text) => suggestOperators(text).map(({ label }) => label);
  assert.ok(labels('').length > 5);
  for (const [text, offered] of [
    ['fr', ['from:']], ['lunch is:', ['is:unread', 'is:flagged']], ['lunch -Fro', ['-from:']], ['from:', []], ['from:ada', []],
    ['has:attachment', []], ['lunch', []], ['"to', []],
  ])
    assert.deepEqual(labels(text), offered, text);
  assert.equal(suggestOperators('lunch has')[0].text, 'lunch has:attachment ');
  assert.equal(suggestOperators('lunch -be')[0].text, 'lunch -before:');
});

test('people are offered behind from: and to:, also between quotation marks', () => {
  for (const [text, person] of [['from:ada', 'ada'], ['x -to:"ada lo', 'ada lo'], ['from:', null], ['from:ada x', null], ['ada', null]])
    assert.equal(personTyped(text), person, text);
  assert.equal(withPerson('x from:"ada lo', 'ada@a.example'), 'x from:ada@a.example ');
  assert.equal(lastWord('a "b c'), '"b c');
});

test('rows in view and some around them are drawn, never more than there are', () => {
  assert.deepEqual(rowsToDraw(0, 500, 50, 1000, 5), { first: 0, count: 15 });
  assert.deepEqual(rowsToDraw(1000, 500, 50, 1000, 5), { first: 15, count: 20 });
  assert.deepEqual(rowsToDraw(49_500, 500, 50, 1000, 5), { first: 985, count: 15 });
  assert.deepEqual(rowsToDraw(5000, 500, 50, 3, 5), { first: 95, count: 0 }, 'the list shrank below the place');
  assert.deepEqual(rowsToDraw(0, 500, 50, 0), { first: 0, count: 0 });
});

test('every row of a very long list can be scrolled to, and short lists are as tall as their rows', () => {
  const short = scrollScale(1000, 50, 500);
  assert.deepEqual([short.height, short.toList(321), short.toScroller(321)], [50_000, 321, 321]);
  const long = scrollScale(2_000_000, 50, 500);
  assert.ok(long.height <= 10_000_000);
  assert.equal(long.toList(0), 0);
  assert.equal(long.toList(long.height - 500), 2_000_000 * 50 - 500, 'the end is the end');
  assert.ok(Math.abs(long.toList(long.toScroller(60_000_000)) - 60_000_000) <= 1);
});

test('rows are asked for before they are missed, and not while enough are there', () => {
  const visible = { first: 100, count: 10 };
  assert.equal(windowToAsk(visible, { first: 70, count: 70 }, 1000), null);
  assert.deepEqual(windowToAsk(visible, { first: 70, count: 45 }, 1000), { offset: 70, limit: 70 });
  assert.deepEqual(windowToAsk({ first: 0, count: 10 }, { first: 0, count: 0 }, 1000), { offset: 0, limit: 40 });
  assert.deepEqual(windowToAsk({ first: 990, count: 10 }, { first: 0, count: 40 }, 1000), { offset: 960, limit: 40 });
  assert.equal(windowToAsk({ first: 990, count: 10 }, { first: 960, count: 40 }, 1000), null, 'at the end there is no more to ask for');
  assert.equal(windowToAsk({ first: 0, count: 0 }, { first: 0, count: 0 }, 0), null);
});

test('what is asked for is enough: the next question is answered by the rows that came', () => {
  for (const total of [1, 7, 40, 1000])
    for (let first = 0; first < total; first += 3) {
      const visible = { first, count: Math.min(10, total - first) };
      const asked = windowToAsk(visible, { first: 0, count: 0 }, total);
      const loaded = { first: asked.offset, count: asked.limit };
      assert.ok(loaded.first + loaded.count <= total, 'beyond the end');
      assert.equal(windowToAsk(visible, loaded, total), null, `${first} of ${total}`);
    }
});

test('the list scrolls no further than needed', () => {
  assert.equal(scrollToShow(5, 100, 500, 50), 100);
  assert.equal(scrollToShow(0, 100, 500, 50), 0);
  assert.equal(scrollToShow(12, 100, 500, 50), 150);
});

test('keys move within the list', () => {
  const cases = [
    ['ArrowDown', 4, 5], ['ArrowDown', 9, 9], ['ArrowDown', -1, 0], ['ArrowUp', 0, 0], ['ArrowUp', -1, 9],
    ['PageDown', 2, 6], ['PageUp', 2, 0], ['Home', 7, 0], ['End', 0, 9], ['x', 3, null],
  ];
  for (const [key, from, wanted] of cases) assert.equal(keyTarget(key, from, 10, 5), wanted, `${key} from ${from}`);
  assert.equal(keyTarget('ArrowDown', -1, 0, 5), null, 'an empty list');
});

test('a range keeps its anchor while it grows and shrinks', () => {
  let selection = selectOnly(3);
  selection = extend(selection, 5, [3, 4, 5]);
  selection = extend(selection, 2, [2, 3]);
  assert.deepEqual(selection, { ids: [2, 3], anchor: 3, focus: 2 });
  selection = toggle(selection, 9);
  assert.deepEqual(selection, { ids: [2, 3, 9], anchor: 9, focus: 9 });
  assert.deepEqual(toggle(selection, 2).ids, [3, 9]);
});

test('state, attempts and last answer of a waiting message are always told', () => {
  assert.equal(describeDelivery({ state: 'failed', attempts: 1, lastAnswer: 'Refused.' }), 'Not sent · 1 attempt · Refused.');
  assert.equal(describeDelivery({ state: 'failed', attempts: 1, lastAnswer: 'Full.', reachedSome: true }), 'Sent to some · 1 attempt · Full.');
  assert.equal(describeDelivery({ state: 'waiting', attempts: 0, lastAnswer: '' }), 'Waiting to be sent');
  assert.equal(describeDelivery({ state: 'waiting', attempts: 0, lastAnswer: '', until: '09:00' }), 'Waiting until 09:00');
  assert.equal(
    describeDelivery({ state: 'failed', attempts: 2, lastAnswer: 'Try later.', until: '14:05:30' }),
    'Not sent · 2 attempts · next attempt 14:05:30 · Try later.',
  );
  assert.equal(describeDelivery({ state: 'inDoubt', attempts: 2, lastAnswer: '' }), 'Perhaps sent · 2 attempts');
});

test('a row says in words what its pictures show', () => {
  const row = {
    id: 1, from: 'Ada', subject: '', snippet: 'Hello', date: '9:00', dateLong: 'Sunday at 9:00', unread: true, answered: true, forwarded: false,
    flagged: true, colour: 4, attachments: 2, icons: [{ image: 'x', label: 'Read twice', size: 12 }],
  };
  assert.equal(describeRow(row), 'Unread, Ada, No subject, Sunday at 9:00, Flagged blue, Answered, 2 attachments, Read twice, Hello');
});
