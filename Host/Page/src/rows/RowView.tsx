// One row of a list in a popover: a heading, a quiet line, or an item with its picture, lines of text and buttons.
import { act } from '../actions';
import { Icon } from '../base/Icon';
import type { ListRowModel } from '../protocol';
import { type ButtonPlace, RowButton, UncoveredButtons } from './RowButtons';
import { useSwipe } from './swipe';

export interface RowProps {
  popover: string;
  row: ListRowModel;
  current: boolean; // the one that the Tab key reaches
}

export function RowView(props: RowProps) {
  switch (props.row.kind) {
    case 'heading':
      return <Heading {...props} />;
    case 'note':
      return (
        <li class="row-note" style={{ minHeight: props.row.height }}>
          {props.row.title}
        </li>
      );
    case 'item':
      return <Item {...props} />;
  }
}

function Buttons({ place, groups, focusable }: { place: ButtonPlace; groups: ListRowModel['controls']; focusable: boolean }) {
  return (
    <span class="row-controls">
      {groups.map((buttons, index) => (
        <span key={index} class="row-segments" role="group">
          {buttons.map((button) => (
            <RowButton key={button.id} place={place} button={button} focusable={focusable} />
          ))}
        </span>
      ))}
    </span>
  );
}

function Heading({ popover, row, current }: RowProps) {
  return (
    <li class="row-heading" style={{ minHeight: row.height }}>
      <div class="row-focus" role="group" aria-label={`${row.title}, ${row.detail ?? ''}`} tabIndex={current ? 0 : -1} data-row={row.id}>
        <span class="row-heading-title" dir="auto">{row.title}</span>
        <span class="row-heading-detail" dir="auto">{row.detail}</span>
        <Buttons place={{ popover, row: row.id }} groups={row.controls} focusable={current} />
      </div>
    </li>
  );
}

/** What a screen reader says of an item. */
function describe(row: ListRowModel): string {
  const facts = [row.unread ? 'Unread' : '', row.important ? 'important' : '', row.title, row.detail, row.dateLong];
  return [...facts, ...row.icons.map((icon) => icon.label), row.text].filter(Boolean).join(', ');
}

function Item({ popover, row, current }: RowProps) {
  const place = { popover, row: row.id };
  const open = (): void => {
    if (row.opens) act('popover.open', { identifier: popover, row: row.id });
  };
  const { offset, pulling, ...pull } = useSwipe({
    leading: row.leading.length > 0,
    trailing: row.trailing.length > 0,
    act(side) {
      const button = row[side][0];
      if (button) act('popover.press', { identifier: popover, row: row.id, button: button.id });
    },
  });
  return (
    <li class="row-slot">
      <UncoveredButtons place={place} buttons={row.leading} side="leading" open={offset > 0} />
      <UncoveredButtons place={place} buttons={row.trailing} side="trailing" open={offset < 0} />
      <div
        class={`row-item row-focus${row.unread ? ' unread' : ''}${pulling ? ' pulled' : ''}`} role="group" aria-label={describe(row)}
        tabIndex={current ? 0 : -1} data-row={row.id} style={{ minHeight: row.height, translate: offset ? `${offset}px` : undefined }}
        onDblClick={(event) => {
          if (!(event.target instanceof Element && event.target.closest('button'))) open();
        }}
        onKeyDown={(event) => {
          if (event.key !== 'Enter' || event.target !== event.currentTarget) return;
          event.preventDefault();
          open();
        }}
        {...pull}
      >
        <span class="row-marks-left">
          {row.marks.slice(0, 1).map((button) => (
            <RowButton key={button.id} place={place} button={button} focusable={current} />
          ))}
        </span>
        {row.picture ? <img class="row-picture" src={row.picture} alt="" draggable={false} /> : <span class="row-picture" />}
        <div class="row-words" aria-hidden="true">
          <Facts row={row} />
          <div class="row-detail" dir="auto">{row.detail || '(No subject)'}</div>
          {row.textLines ? (
            <div class="row-text" dir="auto" style={{ WebkitLineClamp: row.textLines }}>{row.text}</div>
          ) : null}
        </div>
        <span class="row-marks-right">
          {row.marks.slice(1).map((button) => (
            <RowButton key={button.id} place={place} button={button} focusable={current} />
          ))}
        </span>
        <Buttons place={place} groups={row.controls} focusable={current} />
      </div>
    </li>
  );
}

function Facts({ row }: { row: ListRowModel }) {
  return (
    <div class="row-line">
      {row.important && <Icon name="important" size={16} />}
      <span class="row-title" dir="auto">{row.title}</span>
      <span class="row-icons">
        {row.icons.map((icon) => (
          <span key={icon.image} title={icon.label}>
            <Icon name={icon.image} size={icon.size} />
          </span>
        ))}
      </span>
      <time class="row-when" title={row.dateLong}>{row.date}</time>
    </div>
  );
}
