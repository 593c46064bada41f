// The list of messages. Only the rows in view exist in the page; the focus stays on the grid itself, which names the
// current row to screen readers, so that rows may come and go.
import { useCallback, useEffect, useLayoutEffect, useRef, useState } from 'preact/hooks';
import { act, call, complain, selectedIds } from '../actions';
import { useStore } from '../base/Store';
import type { Id, Sections } from '../protocol';
import { host, ui } from '../state';
import { ContextMenu, type ContextRequest } from './ContextMenu';
import { useCursor } from './cursor';
import { ListHeader } from './ListHeader';
import { goInto, goOut } from './conversations';
import { MessageRowView } from './MessageRowView';
import { scrollFrameBy } from '../reading/frameScroll';
import { indexOf } from './rows';
import { Taken } from './Taken';
import { keyTarget } from './selection';
import { rowsToDraw, scrollScale, scrollToShow, windowToAsk } from './windowing';

const rowHeight = 78; // pixels, as in list.css

export function MessageList() {
  const list = useStore(host, (model) => model.list);
  const selection = useStore(ui, (value) => value.selection);
  const scroller = useRef<HTMLDivElement>(null);
  const [view, setView] = useState({ top: 0, height: 600 });
  const cursor = useCursor();
  const [context, setContext] = useState<ContextRequest | null>(null);
  const selected = new Set(selection ?? list.selected);
  const inOutbox = useStore(host, (model) => isOutbox(model, model.list.mailbox));

  useScrollReset(scroller, `${list.mailbox}\n${list.search}`);
  useLayoutEffect(() => {
    const element = scroller.current;
    if (!element) return undefined;
    const measure = (): void => setView({ top: element.scrollTop, height: element.clientHeight });
    const observer = new ResizeObserver(measure);
    observer.observe(element);
    element.addEventListener('scroll', measure, { passive: true });
    return () => {
      observer.disconnect();
      element.removeEventListener('scroll', measure);
    };
  }, []);
  const scale = scrollScale(list.total, rowHeight, view.height);
  const top = scale.toList(view.top);
  useRowsInView({ top, height: view.height });

  const { focus: focused, index: focusedIndex, isOurs } = cursor.standing();

  const reveal = (index: number): void => {
    const element = scroller.current;
    if (!element) return;
    const before = scale.toList(element.scrollTop);
    const after = scrollToShow(index, before, element.clientHeight, rowHeight);
    if (after !== before) element.scrollTop = scale.toScroller(after);
  };

  // Chosen by the host: shown, where it is known where.
  useEffect(() => {
    const index = indexOf(list, list.selected.length === 1 ? (list.selected[0] ?? null) : null);
    if (index >= 0 && !isOurs) reveal(index);
  }, [list.selected.join()]);

  const onRowPress = (id: Id, event: MouseEvent): void => {
    if (event.shiftKey) cursor.extendTo(id);
    else if (event.ctrlKey || event.metaKey) cursor.toggle(id);
    else {
      cursor.selectOnly(id);
      ui.set({ pane: 'message' });
    }
  };

  const onKeyDown = (event: KeyboardEvent): void => {
    const main = event.ctrlKey || event.metaKey;
    const isPlain = !main && !event.shiftKey && !event.altKey;
    const pageSize = Math.floor(view.height / rowHeight);
    if (!main && keyTarget(event.key, focusedIndex, list.total, pageSize) !== null)
      cursor.step(event.key, pageSize, event.shiftKey, reveal);
    else if (main && event.key === 'a') cursor.selectAll();
    else if (isPlain && event.key === 'ArrowRight' && goInto(list, focused, cursor, reveal)) event.preventDefault();
    else if (isPlain && event.key === 'ArrowLeft' && goOut(list, focused, cursor, reveal)) event.preventDefault();
    else if (event.key === 'Enter' && !main && focused !== null) {
      ui.set({ pane: 'message' });
      act('message.open', { id: focused });
    } else if (event.key === ' ' && !main) scrollFrameBy(event.shiftKey ? -1 : 1);
    else if (event.key === 'ContextMenu' || (event.key === 'F10' && event.shiftKey)) openContextAtRow();
    else return;
    event.preventDefault();
  };
  const openContextAtRow = (): void => {
    const row = document.getElementById(`row-${focused}`) ?? scroller.current;
    const box = row?.getBoundingClientRect();
    const ids = selectedIds();
    if (box && ids.length) setContext({ ids, x: box.left + 40, y: Math.min(box.bottom - 8, innerHeight - 40) });
  };
  const openContext = useCallback((id: Id, x: number, y: number): void => {
    // A press outside of the selection means the row under it, as on the desktop.
    const ids = selectedIds().includes(id) ? selectedIds() : [id];
    if (!selectedIds().includes(id)) cursor.selectOnly(id);
    setContext({ ids, x, y });
  }, []);

  const isGrouped = list.conversations !== undefined;
  const { first, count } = rowsToDraw(top, view.height, rowHeight, list.total);
  const isDrawn = focusedIndex >= first && focusedIndex < first + count && indexOf(list, focused) === focusedIndex;
  const indexes = Array.from({ length: count }, (_, position) => first + position);
  return (
    <section class="pane list" aria-label="Messages" data-pane="list">
      <ListHeader list={list} selectedCount={selected.size} />
      {inOutbox && <Taken />}
      {list.total === 0 && <p class="list-empty">{list.emptyText || 'No messages'}</p>}
      <div
        ref={scroller} class="list-scroller" role={isGrouped ? 'treegrid' : 'grid'} aria-label={`Messages in ${list.title}`} aria-multiselectable="true"
        aria-rowcount={list.total} tabIndex={0} data-part
        aria-activedescendant={isDrawn ? `row-${focused}` : undefined}
        onKeyDown={onKeyDown}
      >
        <div class={`list-rows${list.pictures ? ' with-faces' : ''}`} role="rowgroup" style={{ height: scale.height }}>
          {indexes.map((index) => {
            const row = list.rows[index - list.offset];
            return (
              <MessageRowView
                key={row ? row.id : `gap-${index}`} row={row} index={index} top={index * rowHeight - top + view.top}
                selected={row ? selected.has(row.id) : false} focused={row?.id === focused} grouped={isGrouped}
                onPress={onRowPress} onContext={openContext}
              />
            );
          })}
        </div>
      </div>
      {context && <ContextMenu request={context} onClose={() => setContext(null)} />}
    </section>
  );
}

/** Another mailbox or search starts at the top. */
function useScrollReset(scroller: { current: HTMLDivElement | null }, key: string): void {
  useLayoutEffect(() => {
    if (scroller.current) scroller.current.scrollTop = 0;
  }, [key]);
}

/** Asks for rows that scrolling brought near; one question at a time, and the same never twice for one state. */
function useRowsInView(view: { top: number; height: number }): void {
  const list = useStore(host, (model) => model.list);
  const asked = useRef({ list, offset: -1, limit: -1, busy: false });
  const [, again] = useState(0);
  useEffect(() => {
    const visible = rowsToDraw(view.top, view.height, rowHeight, list.total, 0);
    const wanted = windowToAsk(visible, { first: list.offset, count: list.rows.length }, list.total);
    const last = asked.current;
    if (!wanted || last.busy) return;
    if (last.list === list && last.offset === wanted.offset && last.limit === wanted.limit) return;
    asked.current = { list, ...wanted, busy: true };
    call('list.window', wanted)
      .catch(complain)
      .finally(() => {
        asked.current.busy = false;
        again((count) => count + 1);
      });
  });
}

function isOutbox(model: Sections, id: string): boolean {
  return model.accounts.some((account) => account.mailboxes.some((each) => each.id === id && each.kind === 'outbox'));
}
