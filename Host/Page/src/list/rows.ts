// Rows that lie outside of the loaded window are fetched here, for selections that reach further than the eye.
import { call } from '../actions';
import type { Id, ListModel } from '../protocol';
import { host } from '../state';

const chunk = 200; // rows per question
const longestRange = 20000; // more messages than that cannot be selected by one range
const patience = 4000; // milliseconds for rows that the host announced and that don't come

function covered(list: ListModel, first: number, count: number): boolean {
  const end = Math.min(first + count, list.total);
  return list.offset <= first && list.offset + list.rows.length >= end;
}

/**
 * Resolves with a list that has the rows: the answer to list.window and the update may come in either order, and scrolling
 * may ask for others right after. Rows that don't come are missing in it.
 */
async function load(first: number, count: number): Promise<ListModel> {
  if (covered(host.get().list, first, count)) return host.get().list;
  let end = (): void => undefined;
  const arrived = new Promise<ListModel>((resolve) => {
    const unsubscribe = host.subscribe(() => {
      const { list } = host.get();
      if (covered(list, first, count)) resolve(list);
    });
    const timer = window.setTimeout(() => resolve(host.get().list), patience);
    end = () => {
      unsubscribe();
      window.clearTimeout(timer);
    };
  });
  try {
    await call('list.window', { offset: first, limit: count });
    return await arrived;
  } finally {
    end();
  }
}

/** The ids of the rows from one index to the other, both included. */
export async function idsBetween(one: number, other: number): Promise<Id[]> {
  const first = Math.min(one, other);
  const end = Math.min(Math.max(one, other) + 1, first + longestRange);
  if (covered(host.get().list, first, end - first)) return idsIn(host.get().list, first, end - first);
  const ids: Id[] = [];
  for (let at = first; at < end; at += chunk) {
    const count = Math.min(chunk, end - at);
    ids.push(...idsIn(await load(at, count), at, count));
  }
  return ids;
}

function idsIn(list: ListModel, first: number, count: number): Id[] {
  return list.rows.slice(Math.max(0, first - list.offset), Math.max(0, first + count - list.offset)).map((row) => row.id);
}

export async function idAt(index: number): Promise<Id | null> {
  return idsIn(await load(index, 1), index, 1)[0] ?? null;
}

/** -1 when the row is not among the loaded ones. */
export function indexOf(list: ListModel, id: Id | null): number {
  const at = id === null ? -1 : list.rows.findIndex((row) => row.id === id);
  return at < 0 ? -1 : at + list.offset;
}
