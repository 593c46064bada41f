// Arrow keys in a list grouped by conversation: into one and out of it again. Each answers whether there was anything to do.
import { act } from '../actions';
import type { Id, ListModel } from '../protocol';
import type { Cursor } from './cursor';
import { indexOf } from './rows';

type Reveal = (index: number) => void;

/** Opens a closed conversation; of an open one goes to its first message. */
export function goInto(list: ListModel, id: Id | null, cursor: Cursor, reveal: Reveal): boolean {
  const row = list.rows[indexOf(list, id) - list.offset];
  if (!row?.count) return false;
  if (row.open) cursor.step('ArrowDown', 1, false, reveal);
  else act('list.open', { id: row.id, open: true });
  return true;
}

/** Closes an open conversation; from one of its messages goes to its row. */
export function goOut(list: ListModel, id: Id | null, cursor: Cursor, reveal: Reveal): boolean {
  const row = list.rows[indexOf(list, id) - list.offset];
  if (row?.open) act('list.open', { id: row.id, open: false });
  else if (row?.parent) {
    cursor.selectOnly(row.parent);
    const index = indexOf(list, row.parent);
    if (index >= 0) reveal(index);
  } else return false;
  return true;
}
