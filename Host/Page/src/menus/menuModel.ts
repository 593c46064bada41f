// How the focus moves in a menu, without any drawing.
import type { MenuItemModel } from '../protocol';

export function canFocus(item: MenuItemModel): boolean {
  // Disabled items take the focus too, so that a screen reader can say that they exist.
  return !item.separator && !item.heading;
}

/** The next item from `from` in that direction, round the end; -1 starts before the first. */
export function step(items: MenuItemModel[], from: number, direction: 1 | -1): number {
  for (let tried = 1; tried <= items.length; ++tried) {
    const start = from < 0 && direction < 0 ? 0 : from;
    const index = (start + direction * tried + items.length * 2) % items.length;
    const item = items[index];
    if (item && canFocus(item)) return index;
  }
  return -1;
}

export function first(items: MenuItemModel[]): number {
  return items.findIndex(canFocus);
}

export function last(items: MenuItemModel[]): number {
  return items.findLastIndex(canFocus);
}

/**
 * The item that typing means. One letter, also repeated, goes on to the next item that starts with it; more letters look
 * for that beginning from the present item on.
 */
export function typeAhead(items: MenuItemModel[], typed: string, from: number): number {
  const lower = typed.toLowerCase();
  const single = [...lower].every((letter) => letter === lower[0]);
  const wanted = single ? lower.slice(0, 1) : lower;
  for (let tried = single ? 1 : 0; tried <= items.length; ++tried) {
    const index = (Math.max(from, single ? -1 : 0) + tried) % items.length;
    const item = items[index];
    if (item && canFocus(item) && item.title.toLowerCase().startsWith(wanted)) return index;
  }
  return -1;
}

/** Separators that would stand at an end or beside another are dropped. */
export function tidy(items: MenuItemModel[]): MenuItemModel[] {
  return items.filter((item, index) => {
    if (!item.separator) return true;
    const before = items.slice(0, index).findLast((each) => !each.separator);
    return before !== undefined && !items[index - 1]?.separator && items.slice(index).some((each) => !each.separator);
  });
}
