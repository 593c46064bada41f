// Keyboard shortcuts as menu items describe them, matched against events of the browser and written for people.
//
// "command" is Ctrl, or Cmd on a Mac; "option" is Alt. Elsewhere than on a Mac "control" is Ctrl too, and together with
// "command" it is Ctrl+Alt: there is no third key that a browser would hand to a page.
import type { MenuItemModel } from '../protocol';

export type Modifier = 'shift' | 'control' | 'option' | 'command';

export interface Press {
  key: string;
  code?: string; // the key's place on the keyboard: with Alt held, `key` may be a foreign character
  shiftKey: boolean;
  ctrlKey: boolean;
  altKey: boolean;
  metaKey: boolean;
}

interface Combination {
  key: string;
  shift: boolean;
  ctrl: boolean;
  alt: boolean;
  meta: boolean;
}

// With Ctrl (and Shift) these open, close and quit the browser's own windows: a page never sees them.
const ownedByBrowser = new Set(['n', 't', 'w', 'q']);

const names: Record<string, string> = {
  ' ': 'Space', arrowup: '↑', arrowdown: '↓', arrowleft: '←', arrowright: '→',
  backspace: 'Backspace', delete: 'Delete', enter: 'Enter', escape: 'Esc', tab: 'Tab',
  pageup: 'Page Up', pagedown: 'Page Down', home: 'Home', end: 'End',
};
const aliases: Record<string, string> = {
  space: ' ', return: 'enter', esc: 'escape', '\r': 'enter', '\n': 'enter', '\u001b': 'escape', '\t': 'tab',
  '\u007f': 'backspace', '\b': 'backspace', up: 'arrowup', down: 'arrowdown', left: 'arrowleft', right: 'arrowright',
};

function normalKey(key: string): string {
  const lower = key.toLowerCase();
  return aliases[lower] ?? lower;
}

/** Null for an item without a key. What the browser keeps for itself moves to Alt. */
export function combinationOf(key: string | undefined, modifiers: Modifier[], mac: boolean): Combination | null {
  if (!key) return null;
  const has = (modifier: Modifier): boolean => modifiers.includes(modifier);
  // An upper case letter means Shift, as in menus of the desktop.
  const shift = has('shift') || (key.length === 1 && key !== key.toLowerCase());
  const found: Combination = mac
    ? { key: normalKey(key), shift, ctrl: has('control'), alt: has('option'), meta: has('command') }
    : {
        key: normalKey(key), shift, meta: false,
        ctrl: has('command') || has('control'),
        alt: has('option') || (has('command') && has('control')),
      };
  const main = mac ? found.meta : found.ctrl;
  if (main && !found.alt && ownedByBrowser.has(found.key)) {
    found.alt = true;
    if (mac) found.meta = false;
    else found.ctrl = false;
  }
  return found;
}

export function matches(press: Press, wanted: Combination): boolean {
  if (press.ctrlKey !== wanted.ctrl || press.altKey !== wanted.alt || press.metaKey !== wanted.meta) return false;
  const key = normalKey(press.key);
  const letter = /^[a-z]$/.test(wanted.key);
  if (letter || wanted.key.length > 1) {
    if (press.shiftKey !== wanted.shift) return false;
  }
  // Signs such as "+" need Shift on some keyboards and not on others, so there Shift does not count.
  if (key === wanted.key) return true;
  return letter && press.altKey && press.code === `Key${wanted.key.toUpperCase()}`;
}

/** The first item that the press means, at any depth, among those that are enabled; `editing`: the press goes to a text. */
export function itemForPress(
  menu: MenuItemModel[], press: Press, mac: boolean, editing: boolean, which: 'enabled' | 'all' = 'enabled',
): MenuItemModel | null {
  for (const item of menu) {
    if (item.submenu) {
      const found = itemForPress(item.submenu, press, mac, editing, which);
      if (found) return found;
      continue;
    }
    if (item.separator || (item.enabled === false && which === 'enabled')) continue;
    const wanted = combinationOf(item.key, item.modifiers ?? [], mac);
    const bare = wanted && !wanted.ctrl && !wanted.alt && !wanted.meta;
    if (!wanted || (editing && bare)) continue;
    if (matches(press, wanted)) return item;
  }
  return null;
}

/** As menus show it: "Ctrl+Shift+D", on a Mac "⇧⌘D"; empty for an item without a key. */
export function describe(key: string | undefined, modifiers: Modifier[], mac: boolean): string {
  const found = combinationOf(key, modifiers, mac);
  if (!found) return '';
  const name = names[found.key] ?? (found.key.length === 1 ? found.key.toUpperCase() : titled(found.key));
  if (mac)
    return `${found.ctrl ? '⌃' : ''}${found.alt ? '⌥' : ''}${found.shift ? '⇧' : ''}${found.meta ? '⌘' : ''}${name}`;
  return [found.ctrl && 'Ctrl', found.alt && 'Alt', found.shift && 'Shift', name].filter(Boolean).join('+');
}

/** The same for aria-keyshortcuts. */
export function ariaShortcut(key: string | undefined, modifiers: Modifier[], mac: boolean): string | undefined {
  const found = combinationOf(key, modifiers, mac);
  if (!found) return undefined;
  const name = found.key === ' ' ? 'Space' : found.key.length === 1 ? found.key.toUpperCase() : titled(found.key);
  return [found.ctrl && 'Control', found.alt && 'Alt', found.shift && 'Shift', found.meta && 'Meta', name]
    .filter(Boolean)
    .join('+');
}

function titled(name: string): string {
  const known = /^(arrow|page)(.+)$/.exec(name);
  const capital = (word: string): string => word.charAt(0).toUpperCase() + word.slice(1);
  return known ? capital(known[1] ?? '') + capital(known[2] ?? '') : capital(name);
}

// Keys with which text is edited: in a field they are the browser's, whatever a menu says.
const editingLetters = new Set(['a', 'c', 'v', 'x', 'y', 'z']);
const editingKeys = new Set(['backspace', 'delete', 'arrowleft', 'arrowright', 'arrowup', 'arrowdown', 'home', 'end']);

export function isTextEditing(press: Press & { altGraph?: boolean }, mac: boolean): boolean {
  // AltGr looks like Ctrl+Alt and writes letters of its own.
  if (press.altGraph) return true;
  const key = normalKey(press.key);
  if (editingKeys.has(key)) return !press.altKey || (mac && !press.metaKey);
  const main = mac ? press.metaKey : press.ctrlKey;
  return main && !press.altKey && editingLetters.has(key);
}

// Bits of a stored shortcut, as the models of the host have them.
const bits: [Modifier, number][] = [
  ['shift', 1 << 17],
  ['control', 1 << 18],
  ['option', 1 << 19],
  ['command', 1 << 20],
];

export function modifiersFromFlags(flags: number): Modifier[] {
  return bits.filter(([, bit]) => flags & bit).map(([modifier]) => modifier);
}

type Held = Pick<Press, 'shiftKey' | 'ctrlKey' | 'altKey' | 'metaKey'>;

function heldModifiers(press: Held, mac: boolean): Record<Modifier, boolean> {
  return {
    shift: press.shiftKey,
    option: press.altKey,
    command: mac ? press.metaKey : press.ctrlKey,
    control: mac ? press.ctrlKey : press.metaKey,
  };
}

export function flagsFrom(press: Held, mac: boolean): number {
  const held = heldModifiers(press, mac);
  return bits.reduce((sum, [modifier, bit]) => (held[modifier] ? sum | bit : sum), 0);
}

/** Null while only modifiers are held, or for a key alone, which would be in the way of typing. */
export function recorded(press: Press, mac: boolean): { characters: string; modifierFlags: number } | null {
  if (['Control', 'Shift', 'Alt', 'Meta', 'AltGraph', 'Dead', 'CapsLock', 'OS'].includes(press.key)) return null;
  const held = heldModifiers(press, mac);
  const functionKey = /^F\d{1,2}$/.test(press.key);
  if (!held.command && !held.control && !held.option && !functionKey) return null;
  const letter = /^Key([A-Z])$/.exec(press.code ?? '')?.[1];
  const digit = /^Digit(\d)$/.exec(press.code ?? '')?.[1];
  const characters = (letter ?? digit ?? press.key).toLowerCase();
  return { characters: functionKey ? press.key : characters, modifierFlags: flagsFrom(press, mac) };
}
