// The main menu: a bar of titles on a wide page, one button with all of them as submenus on a narrow one.
import { useEffect, useRef, useState } from 'preact/hooks';
import { act, call, complain } from '../actions';
import { Icon } from '../base/Icon';
import { useStore } from '../base/Store';
import type { MenuItemModel } from '../protocol';
import { host } from '../state';
import { MenuLayer } from './MenuLayer';
import { MenuList } from './MenuList';
import { step, typeAhead } from './menuModel';

// What is enabled changes with the selection; the menu is drawn with what is known and corrected when the answer comes.
function validate(): void {
  call('menu.validate', {}).catch(complain);
}

function choose(item: MenuItemModel): void {
  act('menu.choose', { item: item.id, menu: 'main' });
}

export function MenuBar() {
  const menu = useStore(host, (model) => model.menu);
  const bar = useRef<HTMLDivElement>(null);
  const [active, setActive] = useState(0);
  const [open, setOpen] = useState(false);
  const [byKey, setByKey] = useState(false);
  const before = useRef<Element | null>(null);

  const titleAt = (index: number): HTMLElement | null => {
    const child = bar.current?.children[index];
    return child instanceof HTMLElement ? child : null;
  };
  const show = (index: number, keyboard: boolean): void => {
    if (!open) validate();
    setByKey(keyboard);
    setActive(index);
    setOpen(true);
  };
  const leave = (): void => {
    setOpen(false);
    if (before.current instanceof HTMLElement && before.current.isConnected) before.current.focus({ preventScroll: true });
    before.current = null;
  };
  const go = (direction: 1 | -1): void => {
    const next = step(menu, active, direction);
    setActive(next);
    setByKey(true);
    if (!open) titleAt(next)?.focus();
  };
  useEffect(() => {
    if (!open) return undefined;
    const close = (): void => setOpen(false);
    window.addEventListener('blur', close);
    window.addEventListener('resize', close);
    return () => {
      window.removeEventListener('blur', close);
      window.removeEventListener('resize', close);
    };
  }, [open]);

  const onKeyDown = (event: KeyboardEvent): void => {
    if (open) return; // the menu itself listens
    if (event.key === 'ArrowRight') go(1);
    else if (event.key === 'ArrowLeft') go(-1);
    else if (event.key === 'ArrowDown' || event.key === 'Enter' || event.key === ' ') show(active, true);
    else if (event.key === 'Escape') leave();
    else if (event.key.length === 1 && !event.ctrlKey && !event.altKey && !event.metaKey) {
      const found = typeAhead(menu, event.key, active);
      if (found < 0) return;
      setActive(found);
      titleAt(found)?.focus();
    } else return;
    event.preventDefault();
    event.stopPropagation();
  };
  const remember = (event: FocusEvent): void => {
    const from = event.relatedTarget;
    if (from instanceof Element && !bar.current?.contains(from) && !from.closest('.menu')) before.current = from;
  };

  const current = menu[active];
  const anchor = titleAt(active);
  return (
    <>
      {open && <div class="menu-backdrop" onPointerDown={leave} />}
      <div ref={bar} class={`menubar${open ? ' open' : ''}`} role="menubar" aria-label="Main menu" data-part onKeyDown={onKeyDown} onFocusIn={remember}>
        {menu.map((item, index) => (
          <button
            key={item.id} type="button" class={`menubar-title${open && index === active ? ' open' : ''}`} role="menuitem"
            aria-haspopup="menu" aria-expanded={open && index === active} tabIndex={index === active ? 0 : -1}
            data-anchor={`menu:${item.title}`}
            onPointerDown={(event) => {
              event.preventDefault(); // the focus stays where it was until an item needs it
              before.current ??= document.activeElement;
              if (open && index === active) leave();
              else show(index, false);
            }}
            onPointerEnter={() => open && setActive(index)}
            onClick={(event) => event.detail === 0 && show(index, true)}
          >
            {item.title}
          </button>
        ))}
      </div>
      {open && current?.submenu && anchor && (
        <div class="menu-layer">
          <MenuList
            key={current.id} items={current.submenu} label={current.title} anchor={anchor.getBoundingClientRect()}
            focusFirst={byKey} onSideways={go}
            onChoose={(item) => {
              leave();
              choose(item);
            }}
            onClose={leave}
          />
        </div>
      )}
    </>
  );
}

export function MenuButton() {
  const menu = useStore(host, (model) => model.menu);
  const button = useRef<HTMLButtonElement>(null);
  const [open, setOpen] = useState(false);
  return (
    <>
      <button
        ref={button} type="button" class="plain-button menu-button" aria-label="Menu" aria-haspopup="menu" aria-expanded={open}
        onClick={() => {
          validate();
          setOpen(true);
        }}
      >
        <Icon name="menu" />
      </button>
      {open && button.current && (
        <MenuLayer
          items={menu} label="Main menu" anchor={button.current.getBoundingClientRect()} focusFirst
          onClose={() => setOpen(false)}
          onChoose={(item) => {
            setOpen(false);
            choose(item);
          }}
        />
      )}
    </>
  );
}
