import assert from 'node:assert/strict';
import { test } from 'node:test';
import { load } from './load.mjs';

const { splitAddresses, parseAddress, takeFinished, withAdded } = await load('compose/addresses.ts');
const { completeLink } = await load('richText/links.ts');

test('a list is cut only where one address ends', () => {
  const cases = [
    ['a@x.example, b@x.example;c@x.example', ['a@x.example', 'b@x.example', 'c@x.example']],
    ['"Lovelace, Ada" <ada@x.example>, b@x.example', ['"Lovelace, Ada" <ada@x.example>', 'b@x.example']],
    ['"a \\" , b" <a@x.example>, c@x.example', ['"a \\" , b" <a@x.example>', 'c@x.example']],
    ['a@x.example (one, two), b@x.example', ['a@x.example (one, two)', 'b@x.example']],
    ['a@x.example\r\nb@x.example\n\n', ['a@x.example', 'b@x.example']],
    ['"never closed\nb@x.example', ['"never closed', 'b@x.example']],
    [' , ;', []],
  ];
  for (const [text, wanted] of cases) assert.deepEqual(splitAddresses(text), wanted, text);
});

test('name, address and plausibility are told apart', () => {
  const cases = [
    ['Ada Lovelace <ada@x.example>', 'Ada Lovelace', 'ada@x.example', true],
    ['"Lovelace, \\"Ada\\"" <ada@x.example>', 'Lovelace, "Ada"', 'ada@x.example', true],
    ['ada@x.example (Ada)', 'Ada', 'ada@x.example', true],
    ['<ada@x.example>', '', 'ada@x.example', true],
    ['ada@bücher.example', '', 'ada@bücher.example', true],
    ['"two words"@x.example', '', '"two words"@x.example', true],
    ['Ada', '', 'Ada', false],
    ['ada@', '', 'ada@', false],
    ['a b@x.example', '', 'a b@x.example', false],
    ['Ada <>', 'Ada', '', false],
  ];
  for (const [text, name, address, valid] of cases) assert.deepEqual(parseAddress(text), { name, address, valid }, text);
});

test('typing becomes addresses once one is finished', () => {
  const cases = [
    ['ada@x.example', [], 'ada@x.example'],
    ['ada@x.example,', ['ada@x.example'], ''],
    ['ada@x.example, gr', ['ada@x.example'], 'gr'],
    ['Lovelace,', [], 'Lovelace,'],
    ['Lovelace, Ada', [], 'Lovelace, Ada'],
    ['"Lovelace, Ada', [], '"Lovelace, Ada'],
  ];
  for (const [text, finished, rest] of cases) assert.deepEqual(takeFinished(text), { finished, rest }, text);
});

test('an address comes into a field once', () => {
  assert.deepEqual(withAdded(['Ada <ada@x.example>'], ['ADA@x.example', 'b@x.example', 'b@x.example']), ['Ada <ada@x.example>', 'b@x.example']);
});

test('what is typed as a link is completed, and only web and mail addresses pass', () => {
  const cases = [
    ['books.example', 'https://books.example/'], ['http://books.example/a b', null], ['ada@x.example', 'mailto:ada@x.example'],
    ['books.example:8080/x', 'https://books.example:8080/x'], ['javascript:alert(1)', null], ['data:text/html,x', null], ['word', null],
    ['localhost:80', 'https://localhost:80/'], ['', null],
  ];
  for (const [typed, wanted] of cases) assert.equal(completeLink(typed), wanted, typed);
});
