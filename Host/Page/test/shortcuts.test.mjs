import assert from 'node:assert/strict';
import { test } from 'node:test';
import { load } from './load.mjs';

const { itemForPress, isTextEditing, describe, recorded, modifiersFromFlags } = await load('keys/shortcuts.ts');
const { findForKey } = await load('keys/plainKeys.ts');

const press = (key, held = '', code = '') => ({
  key, code, shiftKey: held.includes('S'), ctrlKey: held.includes('C'), altKey: held.includes('A'), metaKey: held.includes('M'),
});
const menuOf = (...items) => [{ id: '0', title: 'Menu', submenu: items.map((item, index) => ({ id: `0.${index}`, title: item.key, ...item })) }];

test('a press finds the item whose keys it means', () => {
  const cases = [
    ['command is Ctrl', { key: 's', modifiers: ['command'] }, press('s', 'C'), false, true],
    ['command is Cmd on a Mac', { key: 's', modifiers: ['command'] }, press('s', 'M'), true, true],
    ['and Ctrl is not, there', { key: 's', modifiers: ['command'] }, press('s', 'C'), true, false],
    ['Shift matters for letters', { key: 's', modifiers: ['command'] }, press('S', 'CS'), false, false],
    ['an upper case letter asks for Shift', { key: 'S', modifiers: ['command'] }, press('S', 'CS'), false, true],
    ['Shift does not matter for signs, which need it on some keyboards', { key: '+', modifiers: ['command'] }, press('+', 'CS'), false, true],
    ['with Alt the key may write something else', { key: 'r', modifiers: ['option', 'command'] }, press('¶', 'CA', 'KeyR'), false, true],
    ['what the browser keeps for itself moves to Alt', { key: 'n', modifiers: ['command'] }, press('n', 'A', 'KeyN'), false, true],
    ['and no longer answers to Ctrl', { key: 'n', modifiers: ['command'] }, press('n', 'C'), false, false],
    ['names of keys', { key: 'Delete', modifiers: [] }, press('Delete'), false, true],
    ['arrows', { key: 'ArrowDown', modifiers: ['option'] }, press('ArrowDown', 'A'), false, true],
    ['a disabled item never answers', { key: 's', modifiers: ['command'], enabled: false }, press('s', 'C'), false, false],
  ];
  for (const [why, item, pressed, mac, wanted] of cases)
    assert.equal(itemForPress(menuOf(item), pressed, mac, false) !== null, wanted, why);
});

test('while text is edited, keys without a modifier belong to the text', () => {
  const menu = menuOf({ key: 'Delete', modifiers: [] });
  assert.equal(itemForPress(menu, press('Delete'), false, true), null);
  for (const [why, pressed, wanted] of [
    ['copying', press('c', 'C'), true], ['undoing', press('z', 'C'), true], ['going a word back', press('ArrowLeft', 'C'), true],
    ['letters written with AltGr', { ...press('@', 'CA'), altGraph: true }, true],
    ['an item of a menu', press('s', 'C'), false], ['an item with Alt and an arrow', press('ArrowDown', 'A'), false],
  ])
    assert.equal(isTextEditing(pressed, false), wanted, why);
});

test('keys are written as people know them', () => {
  assert.equal(describe('d', ['shift', 'command'], false), 'Ctrl+Shift+D');
  assert.equal(describe('d', ['shift', 'command'], true), '⇧⌘D');
  assert.equal(describe('w', ['command'], false), 'Alt+W', 'the key that really works is shown');
  assert.equal(describe('ArrowUp', ['option'], false), 'Alt+↑');
  assert.equal(describe('PageDown', [], false), 'Page Down');
  assert.equal(describe('', ['command'], false), '');
});

test('a recorded combination comes back as it was pressed', () => {
  const value = recorded(press('L', 'CAS', 'KeyL'), false);
  assert.deepEqual(value, { characters: 'l', modifierFlags: (1 << 17) | (1 << 19) | (1 << 20) });
  assert.equal(describe(value.characters, modifiersFromFlags(value.modifierFlags), false), 'Ctrl+Alt+Shift+L');
  assert.equal(recorded(press('Control', 'C'), false), null, 'modifiers alone are not enough yet');
  assert.equal(recorded(press('l'), false), null, 'a bare letter would be in the way of typing');
  assert.deepEqual(recorded(press('F5'), false), { characters: 'F5', modifierFlags: 0 });
});

test('single keys choose the fitting toolbar item, else the menu item of that name', () => {
  const reply = { kind: 'item', identifier: 'r', image: 'reply', label: 'Reply', toolTip: '', enabled: true };
  const menu = [{ id: '4', title: 'Message', submenu: [{ id: '4.0', title: 'Reply All' }, { id: '4.1', title: 'Archive' }, { id: '4.2', title: 'Archive it all' }] }];
  assert.equal(findForKey('r', [reply], menu).toolbar.identifier, 'r');
  assert.equal(findForKey('r', [{ ...reply, enabled: false }], menu), null, 'a disabled item is not gone round by a menu');
  assert.equal(findForKey('a', [], menu).menu.id, '4.0');
  assert.equal(findForKey('e', [], menu).menu.id, '4.1');
  assert.equal(findForKey('e', [], [{ ...menu[0].submenu[1], enabled: false }]), null);
  assert.equal(findForKey('q', [reply], menu), null);
});
