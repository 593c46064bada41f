// A window's toolbar, drawn from its model. Items with a menu open it; the others act at once. Popovers point at items by
// the anchor "toolbar:<window>:<identifier>".
import { useRef, useState } from 'preact/hooks';
import { act } from '../actions';
import { Icon } from '../base/Icon';
import { MenuLayer } from '../menus/MenuLayer';
import type { ToolbarItemModel } from '../protocol';

interface ToolbarProps {
  window: string;
  label: string;
  items: ToolbarItemModel[];
  prominent?: string; // the picture of the item that is drawn as the main one, with its label
}

export function Toolbar({ window: owner, label, items, prominent }: ToolbarProps) {
  const bar = useRef<HTMLDivElement>(null);
  const [current, setCurrent] = useState(0);
  const buttons = (): HTMLElement[] => [...(bar.current?.querySelectorAll<HTMLElement>('button') ?? [])];
  const onKeyDown = (event: KeyboardEvent): void => {
    const direction = { ArrowRight: 1, ArrowLeft: -1 }[event.key];
    if (!direction) return;
    const all = buttons();
    const next = (all.indexOf(document.activeElement as HTMLElement) + direction + all.length) % all.length;
    setCurrent(next);
    all[next]?.focus();
    event.preventDefault();
  };
  let index = -1;
  const count = items.filter((item) => item.kind === 'item').length;
  const focusable = Math.min(current, count - 1);
  return (
    <div ref={bar} class="toolbar" role="toolbar" aria-label={label} onKeyDown={onKeyDown} data-part>
      {items.map((item, position) => {
        if (item.kind !== 'item') return <span key={`gap-${position}`} class={`toolbar-${item.kind}`} />;
        ++index;
        return (
          <Item
            key={item.identifier} owner={owner} item={item} prominent={item.image === prominent && prominent !== undefined}
            focusable={index === focusable}
          />
        );
      })}
    </div>
  );
}

interface ItemProps {
  owner: string;
  item: ToolbarItemModel;
  prominent: boolean;
  focusable: boolean;
}

function Item({ owner, item, prominent, focusable }: ItemProps) {
  const button = useRef<HTMLButtonElement>(null);
  const [open, setOpen] = useState(false);
  const menu = item.menu ?? [];
  const hint = item.toolTip || item.label;
  const choose = (chosen?: string): void =>
    act('toolbar.choose', { window: owner, identifier: item.identifier, ...(chosen === undefined ? {} : { item: chosen }) });
  return (
    <>
      <button
        ref={button} type="button" class={`tool${prominent ? ' prominent' : ''}${item.image ? '' : ' wordy'}`} title={hint}
        aria-label={item.label || item.toolTip} aria-disabled={!item.enabled} tabIndex={focusable ? 0 : -1}
        aria-haspopup={menu.length ? 'menu' : undefined} aria-expanded={menu.length ? open : undefined}
        data-anchor={`toolbar:${owner}:${item.identifier}`}
        onClick={() => {
          if (!item.enabled) return;
          if (menu.length) setOpen(true);
          else choose();
        }}
      >
        {item.image && <Icon name={item.image} />}
        {(prominent || !item.image) && <span class="tool-label">{item.label}</span>}
        {menu.length > 0 && <Icon name="down" size={10} />}
      </button>
      {open && button.current && (
        <MenuLayer
          items={menu} label={item.label} anchor={button.current.getBoundingClientRect()} focusFirst
          onClose={() => setOpen(false)}
          onChoose={(chosen) => {
            setOpen(false);
            choose(chosen.id);
          }}
        />
      )}
    </>
  );
}
