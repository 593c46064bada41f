// A window's toolbar, drawn from its model. Popovers point at items by
// the anchor "toolbar:<window>:<identifier>".
import { useRef, useState } from 'preact/hooks';
import { act, call } from '../actions';
import { Icon } from '../base/Icon';
import { HostMenu } from '../menus/HostMenu';
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
  // One button takes the Tab key's focus; `current` counts menu halves too, as the arrow keys do.
  let before = 0;
  return (
    <div ref={bar} class="toolbar" role="toolbar" aria-label={label} onKeyDown={onKeyDown} data-part>
      {items.map((item, position) => {
        if (item.kind !== 'item') return <span key={`gap-${position}`} class={`toolbar-${item.kind}`} />;
        const at = before;
        before += item.hasMenu ? 2 : 1;
        return (
          <Item
            key={item.identifier} owner={owner} item={item} prominent={item.image === prominent && prominent !== undefined}
            focusable={current >= at && current < before}
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

/** An item with a menu has two halves: one acts, the narrow one opens the menu. */
function Item({ owner, item, prominent, focusable }: ItemProps) {
  const menuButton = useRef<HTMLButtonElement>(null);
  const [open, setOpen] = useState(false);
  const name = item.label || item.toolTip;
  const choose = (): void => {
    if (item.enabled) act('toolbar.choose', { window: owner, identifier: item.identifier });
  };
  return (
    <span class="tool-group" data-anchor={`toolbar:${owner}:${item.identifier}`}>
      <button
        type="button" class={`tool${prominent ? ' prominent' : ''}`} title={item.toolTip || item.label} aria-label={name}
        aria-disabled={!item.enabled} tabIndex={focusable ? 0 : -1} onClick={choose}
      >
        {item.image ? <Icon name={item.image} fallback={prominent ? '' : item.label} /> : item.label}
        {prominent && item.image && <span class="tool-label">{item.label}</span>}
      </button>
      {item.hasMenu && (
        <button
          ref={menuButton} type="button" class="tool tool-menu" title={`${name}: more`} aria-label={`${name}, menu`}
          aria-haspopup="menu" aria-expanded={open} tabIndex={-1} onClick={() => setOpen(true)}
          onKeyDown={(event) => {
            if (event.key !== 'ArrowDown') return;
            event.preventDefault();
            setOpen(true);
          }}
        >
          <Icon name="down" size={10} />
        </button>
      )}
      {open && menuButton.current && (
        <HostMenu
          place={{ menu: 'toolbar', window: owner, identifier: item.identifier }}
          ask={() => call('toolbar.menu', { window: owner, identifier: item.identifier })}
          label={name} anchor={menuButton.current.parentElement!.getBoundingClientRect()}
          onClose={() => setOpen(false)}
        />
      )}
    </span>
  );
}
