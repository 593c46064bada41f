// Single keys that work while no text is being typed, and what they stand for. The host's menus and toolbars are not
// known here, so each key names a toolbar picture and a pattern for titles: the toolbar item with that picture is taken,
// else the first menu item whose title fits.
import { saveNumber, savedNumber } from '../base/savedNumber';
import type { MenuItemModel, ToolbarItemModel } from '../protocol';

export interface PlainKey {
  key: string;
  means: string;
  image: string;
  title: RegExp;
}

export const plainKeys: PlainKey[] = [
  { key: 'c', means: 'New message', image: 'compose', title: /^(new message|compose)\b/i },
  { key: 'r', means: 'Reply', image: 'reply', title: /^reply$/i },
  { key: 'a', means: 'Reply to all', image: 'replyAll', title: /^reply (to )?all$/i },
  { key: 'f', means: 'Forward', image: 'forward', title: /^forward$/i },
  { key: 'e', means: 'Archive', image: 'archive', title: /^archive$/i },
  { key: '#', means: 'Move to the trash', image: 'trash', title: /^(delete|move to trash)\b/i },
  { key: 'Delete', means: 'Move to the trash', image: 'trash', title: /^(delete|move to trash)\b/i },
  { key: 'Backspace', means: 'Move to the trash', image: 'trash', title: /^(delete|move to trash)\b/i },
  { key: 'j', means: 'Junk', image: 'junk', title: /^(mark as )?junk\b/i },
  { key: 's', means: 'Flag', image: 'flag', title: /^(flag|star)\b/i },
  { key: 'u', means: 'Mark as unread or read', image: 'unread', title: /^(mark as )?(un)?read$/i },
];

/** Whether the key leads to a message being written, in which the person types on. */
export function opensWindow(key: string): boolean {
  return ['compose', 'reply', 'replyAll', 'forward'].includes(plainKeys.find((each) => each.key === key)?.image ?? '');
}

// What the page itself does with a key; only for the sheet of shortcuts.
export const pageKeys: [string, string][] = [
  ['/', 'Search'],
  ['↑ ↓', 'Previous or next message'],
  ['Shift+↑ ↓', 'Select several'],
  ['Enter', 'Open the message, or edit the draft'],
  ['Space', 'Scroll the message'],
  ['Ctrl+Enter', 'Send the message being written'],
  ['F6', 'Go to the next part of the page; Shift+F6 to the one before, such as a hint'],
  ['Esc', 'Dismiss a hint'],
  ['Shift+F10', 'Menu of the selected messages'],
  ['F10', 'Menu bar'],
  ['?', 'This list'],
];

/** Whether single keys act: dictating software and shaky hands may press them unmeant. */
export const singleKeys = {
  areOn: (): boolean => savedNumber('singleKeys', 1) === 1,
  set: (on: boolean): void => saveNumber('singleKeys', on ? 1 : 2),
};

export type Found = { toolbar: ToolbarItemModel } | { menu: MenuItemModel };

/** What the key does now; null when it means nothing or nothing fitting is enabled. */
export function findForKey(key: string, toolbar: ToolbarItemModel[], menu: MenuItemModel[]): Found | null {
  const plain = plainKeys.find((each) => each.key === key);
  if (!plain) return null;
  const button = toolbar.find((item) => item.kind === 'item' && item.image === plain.image);
  if (button) return button.enabled ? { toolbar: button } : null;
  const item = findTitle(menu, plain.title);
  return item ? { menu: item } : null;
}

function findTitle(menu: MenuItemModel[], title: RegExp): MenuItemModel | null {
  for (const item of menu) {
    if (item.separator || item.enabled === false) continue;
    if (item.submenu) {
      const found = findTitle(item.submenu, title);
      if (found) return found;
    } else if (title.test(item.title)) {
      return item;
    }
  }
  return null;
}
