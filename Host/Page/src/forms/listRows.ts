// Which rows of a list are chosen after a key or a click, without any drawing.

export interface RowStep {
  to: number | 'up' | 'down' | 'first' | 'last' | 'here' | 'all';
  extend: boolean; // from where the choice began
  toggle: boolean; // leaves the others as they are
}

export interface RowState {
  chosen: Set<string>;
  active: number;
  anchor: number; // where the choice began; -1 for nowhere
}

const steps: Record<string, RowStep['to']> = { ArrowUp: 'up', ArrowDown: 'down', Home: 'first', End: 'last', ' ': 'here' };

export function stepOfKey(event: { key: string; shiftKey: boolean; ctrlKey: boolean; metaKey: boolean }): RowStep | null {
  const command = event.ctrlKey || event.metaKey;
  if (command && event.key.toLowerCase() === 'a') return { to: 'all', extend: false, toggle: false };
  const to = steps[event.key];
  if (to === undefined) return null;
  return { to, extend: event.shiftKey, toggle: to === 'here' && command };
}

export function chosenRows(keys: string[], { chosen, active, anchor }: RowState, { to, extend, toggle }: RowStep): RowState {
  if (keys.length === 0) return { chosen: new Set(), active: 0, anchor: -1 };
  if (to === 'all') return { chosen: new Set(keys), active, anchor };
  const places = { up: active - 1, down: active + 1, first: 0, last: keys.length - 1, here: active };
  const next = Math.min(Math.max(typeof to === 'number' ? to : places[to], 0), keys.length - 1);
  const key = keys[next] ?? '';
  if (extend) {
    const from = anchor < 0 ? active : anchor;
    return { chosen: new Set(keys.slice(Math.min(from, next), Math.max(from, next) + 1)), active: next, anchor: from };
  }
  if (!toggle) return { chosen: new Set([key]), active: next, anchor: next };
  const others = new Set(chosen);
  if (!others.delete(key)) others.add(key);
  return { chosen: others, active: next, anchor: next };
}
