// Where the keys are in the list, and what keys and clicks select. Steps are taken one after the other, each from where
// the one before ended: rows far away have to be fetched, and nobody waits for them between two presses.
import { useReducer, useRef } from 'preact/hooks';
import { complain, select, selectedIds } from '../actions';
import type { Id } from '../protocol';
import { host } from '../state';
import { idAt, idsBetween, indexOf } from './rows';
import { extend, keyTarget, nothingSelected, selectOnly, type Selection, toggle } from './selection';

interface Standing {
  focus: Id | null;
  anchor: Id | null;
  index: number; // of the focus: where it stands, or stood when it was last among the loaded rows; -1 for none
  isOurs: boolean; // else the host moved the selection, for instance after a deletion
}

class Cursor {
  private chosen = nothingSelected;
  private last: { id: Id | null; index: number } = { id: null, index: -1 };
  private lastAnchor = this.last; // likewise
  private steps = Promise.resolve();

  constructor(private readonly changed: () => void) {}

  standing(): Standing {
    const { list } = host.get();
    const current = selectedIds();
    const { ids, focus, anchor } = this.chosen;
    const isOurs = current.length === ids.length && current.every((id) => ids.includes(id));
    const focused = isOurs ? focus : (current.at(-1) ?? null);
    const index = indexOf(list, focused);
    if (index >= 0 || this.last.id !== focused) this.last = { id: focused, index };
    return {
      focus: focused, anchor: isOurs ? (anchor ?? focused) : focused, index: Math.min(this.last.index, list.total - 1), isOurs,
    };
  }

  selectOnly(id: Id): void {
    this.take(selectOnly(id));
  }

  toggle(id: Id): void {
    this.take(toggle({ ...this.chosen, ids: selectedIds() }, id));
  }

  selectAll(): void {
    this.next(async () => this.take({ ...this.chosen, ids: await idsBetween(0, host.get().list.total - 1) }));
  }

  /** From the anchor to there. */
  extendTo(id: Id): void {
    this.next(() => this.extend(id, indexOf(host.get().list, id)));
  }

  /** `reveal` scrolls to the row. */
  step(key: string, pageSize: number, extending: boolean, reveal: (index: number) => void): void {
    this.next(async () => {
      const target = keyTarget(key, this.standing().index, host.get().list.total, pageSize);
      if (target === null) return;
      reveal(target);
      const id = await idAt(target);
      if (id === null) return;
      if (extending) await this.extend(id, target);
      else this.take(selectOnly(id), target);
    });
  }

  private async extend(id: Id, to: number): Promise<void> {
    const { anchor } = this.standing();
    const from = this.anchorIndex(anchor);
    if (from >= 0 && to >= 0) this.take(extend({ ...this.chosen, anchor }, id, await idsBetween(from, to)), to);
    else this.take(selectOnly(id), to);
  }

  /** Where the anchor stands, or stood when it was last among the loaded rows. */
  private anchorIndex(anchor: Id | null): number {
    const index = indexOf(host.get().list, anchor);
    return index < 0 && this.lastAnchor.id === anchor ? Math.min(this.lastAnchor.index, host.get().list.total - 1) : index;
  }

  /** `index` is where the focus stands; by now, its row may have left the loaded ones. */
  private take(chosen: Selection, index = indexOf(host.get().list, chosen.focus)): void {
    this.chosen = chosen;
    this.last = { id: chosen.focus, index };
    if (chosen.anchor === chosen.focus) this.lastAnchor = this.last;
    select(chosen.ids);
    this.changed();
  }

  private next(work: () => Promise<void>): void {
    this.steps = this.steps.then(work).catch(complain);
  }
}

export type { Cursor };

export function useCursor(): Cursor {
  const [, redraw] = useReducer((count: number) => count + 1, 0);
  const cursor = useRef<Cursor | null>(null);
  return (cursor.current ??= new Cursor(() => redraw(0)));
}
