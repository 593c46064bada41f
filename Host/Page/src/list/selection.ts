// What clicks and keys make of a selection of rows. Rows are known by index where they stand and by id for good: `focus`
// and `anchor` are ids, so that they stay with their messages when new mail moves the rows.
import type { Id } from '../protocol';

export interface Selection {
  ids: Id[];
  anchor: Id | null; // where a range begins
  focus: Id | null; // where the keys are
}

export const nothingSelected: Selection = { ids: [], anchor: null, focus: null };

export function selectOnly(id: Id): Selection {
  return { ids: [id], anchor: id, focus: id };
}

export function toggle(selection: Selection, id: Id): Selection {
  const ids = selection.ids.includes(id) ? selection.ids.filter((each) => each !== id) : [...selection.ids, id];
  return { ids, anchor: id, focus: id };
}

/** `range` are the ids from the anchor to `id`, whichever stands first. */
export function extend(selection: Selection, id: Id, range: Id[]): Selection {
  return { ids: range, anchor: selection.anchor ?? id, focus: id };
}

/** The index that a key goes to, or null for keys that don't move. `from` is -1 while nothing is focused. */
export function keyTarget(key: string, from: number, total: number, pageSize: number): number | null {
  if (total === 0) return null;
  const clamp = (index: number): number => Math.max(0, Math.min(total - 1, index));
  switch (key) {
    case 'ArrowDown': return from < 0 ? 0 : clamp(from + 1);
    case 'ArrowUp': return from < 0 ? total - 1 : clamp(from - 1);
    case 'PageDown': return clamp(Math.max(from, 0) + Math.max(1, pageSize - 1));
    case 'PageUp': return clamp(from - Math.max(1, pageSize - 1));
    case 'Home': return 0;
    case 'End': return total - 1;
    default: return null;
  }
}
