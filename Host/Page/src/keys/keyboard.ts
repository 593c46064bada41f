// Keys that work anywhere in the page: shortcuts of the menu items, single keys outside of text, and ways between the
// parts of the page. What has the focus sees a key first; what it took (preventDefault) is not looked at here.
import { act, flushEdits } from '../actions';
import { focusOn } from '../base/focus';
import { host, ui } from '../state';
import { isMac } from './platform';
import { focusableIn, isBehindModal } from '../overlay/focusTrap';
import { findForKey, opensWindow, singleKeys } from './plainKeys';
import { isTextEditing, itemForPress } from './shortcuts';

export function listenForKeys(): void {
  window.addEventListener('keydown', (event) => {
    if (event.defaultPrevented || event.isComposing || event.repeat) return;
    if (modalIsOpen(event.target)) return;
    if (pageKey(event) || keyForList(event) || (!isForRows(event) && (menuKey(event) || plainKey(event)))) event.preventDefault();
  });
}

function modalIsOpen(target: EventTarget | null): boolean {
  if (document.querySelector('[aria-modal="true"][data-blocks="page"]')) return true;
  if (!(target instanceof Element)) return false;
  if (target.closest('[aria-modal="true"], .menu, [role="menubar"]')) return true;
  // While nothing has the focus, keys mean the viewer.
  const viewer = document.querySelector('.viewer');
  return viewer !== null && (target === document.body || viewer.contains(target)) && isBehindModal(viewer);
}

/** A letter, or a key such as Delete, that is pressed in a list over the page is not meant for what lies below. */
function isForRows(event: KeyboardEvent): boolean {
  const isPlain = !event.ctrlKey && !event.metaKey && !event.altKey;
  return isPlain && event.target instanceof Element && event.target.closest('.row-list') !== null;
}

const listKeys = new Set(['ArrowDown', 'ArrowUp', 'PageDown', 'PageUp', 'Home', 'End', 'Enter', ' ']);

/** While nothing has the focus, as at the start, the keys of the list mean the list. */
function keyForList(event: KeyboardEvent): boolean {
  const { key, code, shiftKey, ctrlKey, altKey, metaKey } = event;
  if (event.target !== document.body || ctrlKey || altKey || metaKey || !listKeys.has(key)) return false;
  if (!focusOn('.list-scroller')) return false;
  document.activeElement?.dispatchEvent(new KeyboardEvent('keydown', { key, code, shiftKey, bubbles: true, cancelable: true }));
  return true;
}

export function isTextTarget(target: EventTarget | null): boolean {
  if (!(target instanceof HTMLElement)) return false;
  if (target.isContentEditable || target instanceof HTMLTextAreaElement) return true;
  if (target instanceof HTMLSelectElement) return true;
  return target instanceof HTMLInputElement && !['checkbox', 'radio', 'button', 'range'].includes(target.type);
}

function pageKey(event: KeyboardEvent): boolean {
  if (event.key === 'F6') return focusNextPart(event.shiftKey ? -1 : 1);
  if (event.key === 'F10' && !event.shiftKey) return focusOn('[role="menubar"] [tabindex="0"], .menu-button');
  if (event.key === 'Escape') return closeNewestHint(event.target);
  if (isTextTarget(event.target) || event.ctrlKey || event.metaKey || event.altKey) return false;
  if (event.key === '?') {
    ui.set({ shortcutSheet: true });
    return true;
  }
  return event.key === '/' && focusOn('.search input');
}

/** Not from a field: there Escape means the field. The text of a message has no use for it. */
function closeNewestHint(target: EventTarget | null): boolean {
  const inText = target instanceof HTMLElement && target.isContentEditable;
  const newest = host.get().popovers.at(-1);
  if (!newest || (isTextTarget(target) && !inText)) return false;
  act('popover.close', { identifier: newest.identifier });
  return true;
}

function menuKey(event: KeyboardEvent): boolean {
  const { key, code, shiftKey, ctrlKey, altKey, metaKey } = event;
  const press = { key, code, shiftKey, ctrlKey, altKey, metaKey, altGraph: event.getModifierState('AltGraph') };
  const editing = isTextTarget(event.target);
  if (editing && isTextEditing(press, isMac)) return false;
  const { menu } = host.get();
  // What was typed just now may be what enables it: the host, which sees that first, decides.
  const inCompose = event.target instanceof Element && event.target.closest('.compose') !== null;
  const item = itemForPress(menu, press, isMac, editing) ?? (inCompose ? itemForPress(menu, press, isMac, editing, 'all') : null);
  if (!item) return false;
  act('menu.choose', { item: item.id, menu: 'main' });
  return true;
}

// A person who presses "r" types on at once, before the window is there: these letters must not archive mail.
const handOver = 1500; // milliseconds
let quietUntil = 0;

function plainKey(event: KeyboardEvent): boolean {
  if (event.ctrlKey || event.metaKey || event.altKey || isTextTarget(event.target)) return false;
  if (performance.now() < quietUntil) return event.key.length === 1;
  const inCompose = event.target instanceof Element && event.target.closest('.compose') !== null;
  if (inCompose || !singleKeys.areOn()) return false;
  const { viewer, menu } = host.get();
  const found = findForKey(event.key, viewer.toolbar, menu);
  if (!found) return false;
  flushEdits();
  if (opensWindow(event.key)) quietUntil = performance.now() + handOver;
  if ('toolbar' in found) act('toolbar.choose', { window: 'viewer', identifier: found.toolbar.identifier });
  else act('menu.choose', { item: found.menu.id, menu: 'main' });
  return true;
}

/** The parts are marked with data-part and take the focus themselves or hand it on to the element inside. */
function focusNextPart(step: number): boolean {
  // A part that floats has no offset parent.
  const all = [...document.querySelectorAll<HTMLElement>('[data-part]:not([inert])')];
  const inReach = (part: HTMLElement): boolean => part.matches('[role="menubar"]') || !isBehindModal(part);
  const parts = all.filter((part) => part.getClientRects().length > 0 && inReach(part));
  if (parts.length === 0) return false;
  const current = parts.findIndex((part) => part.contains(document.activeElement));
  // Backwards, the newest hint comes first wherever one is: it was announced with these keys, and may not wait.
  const hint = parts[current]?.matches('.popover') || step > 0 ? undefined : parts.filter((part) => part.matches('.popover')).at(-1);
  const next = hint ?? parts[(current + step + parts.length) % parts.length];
  const within = next?.querySelector<HTMLElement>('[aria-modal="true"]') ?? next;
  (within?.tabIndex === 0 ? within : ((within && focusableIn(within)[0]) ?? within))?.focus();
  return true;
}
