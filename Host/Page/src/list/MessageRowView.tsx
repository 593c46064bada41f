// One row of the list; a pale shape while the row's content is not loaded yet.
import { memo } from 'preact/compat';
import { useRef } from 'preact/hooks';
import { act, selectedIds } from '../actions';
import { Icon } from '../base/Icon';
import { Face } from '../people/Face';
import type { Id, MessageRow } from '../protocol';
import { DeliveryLine } from './DeliveryLine';
import { describeRow } from './describeRow';
import { useLongPress } from './longPress';

/** The type of data that dragged messages carry: a list of ids. */
export const messagesType = 'application/x-quillstead-messages';

interface Props {
  row: MessageRow | undefined;
  index: number;
  top: number;
  selected: boolean;
  focused: boolean;
  grouped: boolean; // the list is grouped by conversation
  onPress(id: Id, event: MouseEvent): void;
  onContext(id: Id, x: number, y: number): void;
}

function startDrag(id: Id, event: DragEvent): void {
  const ids = selectedIds().includes(id) ? selectedIds() : [id];
  event.dataTransfer?.setData(messagesType, JSON.stringify(ids));
  if (event.dataTransfer) event.dataTransfer.effectAllowed = 'move';
}

function Row({ row, index, top, selected, focused, grouped, onPress, onContext }: Props) {
  const place = { transform: `translateY(${top}px)`, ...(row?.ground && { '--row-ground': row.ground }) };
  const pressed = useRef(false);
  const longPress = useLongPress((x, y) => row && onContext(row.id, x, y));
  if (!row) return <div class="row loading" style={place} role="row" aria-rowindex={index + 1} aria-busy="true" />;
  return (
    <div
      id={`row-${row.id}`} role="row" aria-rowindex={index + 1} aria-selected={selected} style={place} draggable
      aria-level={grouped ? (row.parent ? 2 : 1) : undefined} aria-expanded={row.count ? row.open === true : undefined}
      class={`row${row.unread ? ' unread' : ''}${selected ? ' selected' : ''}${focused ? ' focused' : ''}${row.parent ? ' inside' : ''}${row.ground ? ' grounded' : ''}`}
      onPointerDown={(event) => {
        longPress.onPointerDown(event);
        pressed.current = false;
        // A press on one of several selected rows may begin a drag of all of them: it selects when it is let go.
        const keeps = selected && !event.shiftKey && !event.ctrlKey && !event.metaKey;
        if (event.button !== 0 || event.pointerType === 'touch' || keeps || isButton(event)) return;
        pressed.current = true;
        onPress(row.id, event);
      }}
      onPointerMove={longPress.onPointerMove} onPointerUp={longPress.cancel} onPointerCancel={longPress.cancel}
      onClick={(event) => {
        if (pressed.current || isButton(event) || longPress.fired()) return;
        onPress(row.id, event);
      }}
      onDblClick={(event) => !isButton(event) && act('message.open', { id: row.id })}
      onContextMenu={(event) => {
        event.preventDefault();
        if (!longPress.fired()) onContext(row.id, event.clientX, event.clientY);
      }}
      onDragStart={(event) => startDrag(row.id, event)}
    >
      <div class="row-cell" role="gridcell">
        <span class="visually-hidden">{describeRow(row)}</span>
        <span class="row-mark" aria-hidden="true" />
        {row.person && <Face person={row.person} />}
        {row.count && <Twisty row={row} />}
        <div class="row-line" aria-hidden="true">
          <span class="row-from" dir="auto">{row.from}</span>
          {row.count && <span class="row-count">{row.count}</span>}
          {row.place && <span class="row-place" dir="auto">{row.place}</span>}
          <Marks row={row} />
          <time class="row-date" title={row.dateLong}>{row.date}</time>
        </div>
        <div class="row-subject" aria-hidden="true" dir="auto">{row.subject || '(No subject)'}</div>
        {row.delivery && <DeliveryLine delivery={row.delivery} />}
        {!row.delivery && <div class="row-snippet" aria-hidden="true" dir="auto">{row.snippet}</div>}
      </div>
    </div>
  );
}

/** For the pointer; the keys have the arrows. */
function Twisty({ row }: { row: MessageRow }) {
  const title = row.open ? 'Close the conversation' : 'Open the conversation';
  return (
    <button
      type="button" class={`row-twisty${row.open ? ' open' : ''}`} tabIndex={-1} aria-hidden="true" title={title}
      onClick={() => act('list.open', { id: row.id, open: !row.open })}
    >
      <Icon name="chevron" size={12} />
    </button>
  );
}

function isButton(event: Event): boolean {
  return event.target instanceof Element && event.target.closest('button') !== null;
}

function Marks({ row }: { row: MessageRow }) {
  return (
    <span class="row-marks">
      {row.icons.length > 0 && (
        <span class="row-status">
          {row.icons.map((icon) => (
            <span key={icon.label} title={icon.label}>
              <Icon name={icon.image} size={icon.size} />
            </span>
          ))}
        </span>
      )}
      {row.answered && <Icon name="reply" />}
      {row.forwarded && <Icon name="forward" />}
      {row.attachments > 0 && <Icon name="attach" />}
      {row.flagged && (
        <span class={`flag flag-${row.colour}`}>
          <Icon name="flagFilled" />
        </span>
      )}
    </span>
  );
}

export const MessageRowView = memo(Row);
