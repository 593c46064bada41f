// One opened menu and, through itself, its submenus. Draws any items; what they mean is not known here.
//
// The open menu keeps the focus on one of its items. Left and Right that a menu has no use for are passed to `onSideways`,
// so that a menu bar can go on to its next menu.
import { useEffect, useLayoutEffect, useRef, useState } from 'preact/hooks';
import { Icon } from '../base/Icon';
import { type Box, placeMenu } from '../base/place';
import { ariaShortcut, describe } from '../keys/shortcuts';
import { isMac } from '../keys/platform';
import { Form } from '../forms/Form';
import type { MenuItemModel, Value } from '../protocol';
import { first, last, step, tidy, typeAhead } from './menuModel';

export interface MenuListProps {
  items: MenuItemModel[];
  label: string;
  anchor: Box; // of the button or parent item
  beside?: boolean; // a submenu stands beside its parent
  focusFirst?: boolean;
  onChoose(item: MenuItemModel): void;
  onSet?(item: MenuItemModel, control: string, value: Value): void; // in an item's form
  onPress?(item: MenuItemModel, button: number): void; // of its buttons
  onClose(reason: 'escape' | 'left' | 'outside'): void;
  onSideways?(direction: 1 | -1): void;
}

export function MenuList(props: MenuListProps) {
  const items = tidy(props.items);
  const menu = useRef<HTMLDivElement>(null);
  const [active, setActive] = useState(props.focusFirst ? first(items) : -1);
  const [open, setOpen] = useState(-1);
  const [place, setPlace] = useState({ left: -9999, top: 0 });
  const typed = useRef({ text: '', at: 0 });
  const opening = useRef(0);

  useLayoutEffect(() => {
    const size = menu.current?.getBoundingClientRect();
    if (size) setPlace(placeMenu(props.anchor, size, { width: innerWidth, height: innerHeight }, props.beside === true));
  }, [items.length]);
  useLayoutEffect(() => {
    if (open >= 0) return; // the submenu has the focus
    const element = active >= 0 ? rowAt(menu.current, active) : menu.current;
    const form = items[active]?.form;
    const anchor = form?.firstResponder && `[data-anchor="menu:${form.identifier}:${form.firstResponder}"]`;
    const field = form && ((anchor && element?.querySelector(anchor)) || element)?.querySelector<HTMLElement>(focusable);
    (field || element)?.focus();
  }, [active, open]);
  useEffect(() => () => window.clearTimeout(opening.current), []);

  const choose = (index: number): void => {
    const item = items[index];
    if (!item || item.separator || item.form || item.enabled === false) return;
    if (item.submenu) setOpen(index);
    else props.onChoose(item);
  };

  const onKeyDown = (event: KeyboardEvent): void => {
    const item = items[active];
    const key = event.key;
    if (item?.form && key !== 'Escape') return onKeyInForm(event);
    if (key === 'ArrowDown') setActive(step(items, active, 1));
    else if (key === 'ArrowUp') setActive(step(items, active, -1));
    else if (key === 'Home' || key === 'PageUp') setActive(first(items));
    else if (key === 'End' || key === 'PageDown') setActive(last(items));
    else if (key === 'Enter' || key === ' ') choose(active);
    else if (key === 'ArrowRight') {
      if (item?.submenu && item.enabled !== false) setOpen(active);
      else props.onSideways?.(1);
    } else if (key === 'ArrowLeft') {
      if (props.beside) props.onClose('left');
      else props.onSideways?.(-1);
    } else if (key === 'Escape') props.onClose('escape');
    else if (key === 'Tab') props.onClose('outside');
    else if (key.length === 1 && !event.ctrlKey && !event.metaKey && !event.altKey) {
      const now = performance.now();
      typed.current = { text: now - typed.current.at < 700 ? typed.current.text + key : key, at: now };
      const found = typeAhead(items, typed.current.text, active);
      if (found >= 0) setActive(found);
    } else return;
    if (key !== 'Tab') event.preventDefault();
    event.stopPropagation();
  };

  // Its fields have the keys. Tab leads through them, and from the last one on to the next item.
  const onKeyInForm = (event: KeyboardEvent): void => {
    event.stopPropagation();
    if (event.key !== 'Tab') return;
    const fields = [...(rowAt(menu.current, active)?.querySelectorAll<HTMLElement>(focusable) ?? [])];
    const next = fields[fields.indexOf(document.activeElement as HTMLElement) + (event.shiftKey ? -1 : 1)];
    if (next) next.focus();
    else setActive(step(items, active, event.shiftKey ? -1 : 1));
    event.preventDefault();
  };

  // The pointer often crosses other items on its way to a submenu, so opening and closing wait for it to rest.
  const onEnter = (index: number): void => {
    setActive(index);
    window.clearTimeout(opening.current);
    opening.current = window.setTimeout(() => {
      const item = items[index];
      setOpen(item?.submenu && item.enabled !== false ? index : -1);
    }, 160);
  };

  // To assistive technology a menu holds nothing but menu items.
  const isPanel = items.some((item) => item.form);
  const inner = open >= 0 ? items[open] : undefined;
  const innerRow = rowAt(menu.current, open);
  return (
    <>
      <div
        ref={menu} class="menu" role={isPanel ? 'dialog' : 'menu'} aria-label={props.label} tabIndex={-1} style={place} onKeyDown={onKeyDown}
        onContextMenu={(event) => event.preventDefault()}
      >
        {items.map((item, index) =>
          item.separator ? (
            <div key={`line-${index}`} class="menu-line" role="separator" />
          ) : item.heading ? (
            <div key={item.id} class="menu-heading" role="presentation">{item.title}</div>
          ) : item.form ? (
            <div key={item.id} class="menu-form" role="none" onPointerDown={() => setActive(index)}>
              <Form
                form={item.form} anchors={`menu:${item.form.identifier}`} onButton={(button) => props.onPress?.(item, button)}
                onChange={(control, value) => props.onSet?.(item, control, value)}
              />
            </div>
          ) : (
            <Row
              key={item.id} item={item} isButton={isPanel} active={active === index} open={open === index}
              onEnter={() => onEnter(index)} onChoose={() => choose(index)}
            />
          ),
        )}
        {items.length === 0 && <div class="menu-empty">Nothing here</div>}
      </div>
      {inner?.submenu && innerRow && (
        <MenuList
          key={inner.id} items={inner.submenu} label={inner.title} anchor={innerRow.getBoundingClientRect()} beside focusFirst
          onChoose={props.onChoose} onSet={props.onSet} onPress={props.onPress} onSideways={props.onSideways}
          onClose={(reason) => (reason === 'left' || reason === 'escape' ? setOpen(-1) : props.onClose(reason))}
        />
      )}
    </>
  );
}

const focusable = 'input:not(:disabled), select:not(:disabled), button:not(:disabled), textarea:not(:disabled)';

function rowAt(menu: HTMLElement | null, index: number): HTMLElement | null {
  const row = index >= 0 ? menu?.children[index] : null;
  return row instanceof HTMLElement ? row : null;
}

interface RowProps {
  item: MenuItemModel;
  isButton: boolean;
  active: boolean;
  open: boolean;
  onEnter(): void;
  onChoose(): void;
}

function Row({ item, isButton, active, open, onEnter, onChoose }: RowProps) {
  const tickable = item.state !== undefined;
  const role = isButton ? 'button' : tickable ? 'menuitemcheckbox' : 'menuitem';
  return (
    <div
      class={`menu-item${active ? ' active' : ''}`} role={role}
      aria-checked={tickable && !isButton ? item.state === 1 : undefined}
      aria-pressed={tickable && isButton ? item.state === 1 : undefined} aria-disabled={item.enabled === false}
      aria-haspopup={item.submenu ? 'menu' : undefined} aria-expanded={item.submenu ? open : undefined}
      aria-keyshortcuts={ariaShortcut(item.key, item.modifiers ?? [], isMac)} tabIndex={-1} title={item.toolTip}
      onPointerEnter={onEnter} onClick={onChoose}
    >
      <span class="menu-tick">{item.state === 1 && <Icon name="tick" />}</span>
      {item.image && (
        <span class="menu-picture" style={item.imageColour ? { color: item.imageColour } : undefined}>
          <Icon name={item.image} />
        </span>
      )}
      <span class="menu-title" style={item.indentation ? { paddingInlineStart: `${item.indentation}em` } : undefined}>
        {item.faintEnd ? item.title.slice(0, -item.faintEnd.length) : item.title}
        {item.faintEnd && <span class="menu-faint">{item.faintEnd}</span>}
      </span>
      <span class="menu-key" aria-hidden="true">{describe(item.key, item.modifiers ?? [], isMac)}</span>
      <span class="menu-more">{item.submenu && <Icon name="chevron" />}</span>
    </div>
  );
}
