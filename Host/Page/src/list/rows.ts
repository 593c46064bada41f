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

/** Resolves once the rows are in the model: the answer to list.window and the update may come in either order. */
async function load(first: number, count: number): Promise<void> {
  if (covered(host.get().list, first, count)) return;
  let end = (): void => undefined;
  const arrived = new Promise<void>((resolve) => {
    const unsubscribe = host.subscribe(() => covered(host.get().list, first, count) && resolve());
    const timer = window.setTimeout(resolve, patience);
    end = () => {
      unsubscribe();
      window.clearTimeout(timer);
    };
  });
  try {
    await call('list.window', { offset: first, limit: count });
    await arrived;
  } finally {
    end();
  }
}

/** The ids of the rows from one index to the other, both included. */
export async function idsBetween(one: number, other: number): Promise<Id[]> {
  const first = Math.min(one, other);
  const end = Math.min(Math.max(one, other) + 1, first + longestRange);
  const ids: Id[] = [];
  if (covered(host.get().list, first, end - first)) return idsLoaded(first, end - first);
  for (let at = first; at < end; at += chunk) {
    const count = Math.min(chunk, end - at);
    await load(at, count);
    ids.push(...idsLoaded(at, count));
  }
  return ids;
}

function idsLoaded(first: number, count: number): Id[] {
  const { list } = host.get();
  return list.rows.slice(Math.max(0, first - list.offset), Math.max(0, first + count - list.offset)).map((row) => row.id);
}

export async function idAt(index: number): Promise<Id | null> {
  await load(index, 1);
  const { list } = host.get();
  return list.rows[index - list.offset]?.id ?? null;
}

/** -1 when the row is not among the loaded ones. */
export function indexOf(list: ListModel, id: Id | null): number {
  const at = id === null ? -1 : list.rows.findIndex((row) => row.id === id);
  return at < 0 ? -1 : at + list.offset;
}
