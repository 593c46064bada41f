// A list in a popover, with a bar of buttons over it. The arrow keys go from row to row and along a row's buttons, Return
// opens a row; Tab goes through the buttons of the row where one is.
import { useEffect, useLayoutEffect, useRef, useState } from 'preact/hooks';
import type { RowListModel } from '../protocol';
import { RowButton } from './RowButtons';
import { RowView } from './RowView';

export function RowListView({ popover, list }: { popover: string; list: RowListModel }) {
  const box = useRef<HTMLUListElement>(null);
  const [current, setCurrent] = useState('');
  const rows = list.rows.filter((row) => row.kind !== 'note');
  const held = rows.findIndex((row) => row.id === current);
  const place = useRef(0); // where the current row stood last
  if (held >= 0) place.current = held;
  const index = held >= 0 ? held : Math.min(place.current, rows.length - 1);
  const rowElements = (): HTMLElement[] => [...(box.current?.querySelectorAll<HTMLElement>('.row-focus') ?? [])];
  const focusRow = (at: number): void => rowElements()[Math.max(0, Math.min(at, rows.length - 1))]?.focus();

  // The row that had the focus is gone: the one that took its place has it now.
  const hadFocus = useRef(false);
  useLayoutEffect(() => {
    if (hadFocus.current && document.activeElement === document.body) focusRow(index);
  }, [list]);
  // Whoever presses beside all rows has left them, though nothing else may take the focus.
  useEffect(() => {
    const onPointerDown = (event: PointerEvent): void => {
      const row = event.target instanceof Element ? event.target.closest('.row-focus') : null;
      if (!row || !box.current?.contains(row)) hadFocus.current = false;
    };
    document.addEventListener('pointerdown', onPointerDown, true);
    return () => document.removeEventListener('pointerdown', onPointerDown, true);
  }, []);

  const onKeyDown = (event: KeyboardEvent): void => {
    const row = (event.target as Element).closest<HTMLElement>('.row-focus');
    if (!row || event.ctrlKey || event.metaKey || event.altKey) return;
    const at = rowElements().indexOf(row);
    const steps: Record<string, number> = { ArrowDown: at + 1, ArrowUp: at - 1, Home: 0, End: rows.length - 1 };
    const sideways = { ArrowRight: 1, ArrowLeft: -1 }[event.key];
    const next = steps[event.key];
    if (next !== undefined) focusRow(next);
    else if (sideways) focusAlong(row, sideways);
    else return;
    event.preventDefault();
  };
  return (
    <div class="row-list">
      <div class="row-bar" role="toolbar" aria-label={list.title}>
        {list.bar.map((button) => (
          <RowButton key={button.id} place={{ popover, row: '' }} button={button} focusable />
        ))}
      </div>
      <ul
        ref={box} class="row-rows" onKeyDown={onKeyDown}
        onFocusIn={(event) => {
          hadFocus.current = true;
          setCurrent((event.target as Element).closest<HTMLElement>('.row-focus')?.dataset['row'] ?? current);
        }}
        onFocusOut={(event) => {
          // Who lost the focus because his row went has not gone elsewhere.
          if (event.relatedTarget instanceof Element) hadFocus.current = false;
        }}
      >
        {list.rows.map((row) => (
          <RowView key={row.id} popover={popover} row={row} current={row.id === rows[index]?.id} />
        ))}
      </ul>
    </div>
  );
}

/** From a row to its first button, on to the next ones, and back. */
function focusAlong(row: HTMLElement, step: number): void {
  const stops = [row, ...row.querySelectorAll<HTMLElement>('button')];
  const at = stops.indexOf(document.activeElement as HTMLElement);
  stops[Math.max(0, Math.min(at + step, stops.length - 1))]?.focus();
}
