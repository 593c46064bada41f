// Keeps the focus inside of a dialog while it is open and gives it back afterwards.
import { useLayoutEffect, type MutableRef } from 'preact/hooks';

const focusable =
  'button:not(:disabled):not([tabindex="-1"]), input:not(:disabled), select:not(:disabled), textarea:not(:disabled), ' +
  'a[href], [tabindex="0"], [contenteditable="true"]';

export function focusableIn(element: HTMLElement): HTMLElement[] {
  return [...element.querySelectorAll<HTMLElement>(focusable)].filter((each) => each.offsetParent !== null);
}

/** Behind a sheet of its window, or a dialog over the page. */
export function isBehindModal(element: Element): boolean {
  return [...document.querySelectorAll('[aria-modal="true"][data-blocks]')].some((modal) => {
    const blocked = modal.getAttribute('data-blocks') === 'page' ? document.body : modal.closest('.overlay')?.parentElement;
    return blocked?.contains(element) && !modal.contains(element);
  });
}

/**
 * The first focus goes to the element marked data-autofocus, else to the first that can take it, else to the dialog. It is
 * there before the dialog is seen: who presses a key at once must not press it into what lies below.
 */
export function useFocusTrap(dialog: MutableRef<HTMLElement | null>): void {
  useLayoutEffect(() => {
    const element = dialog.current;
    if (!element) return undefined;
    const before = document.activeElement;
    const focusFirst = (): void => {
      const marked = element.querySelector<HTMLElement>('[data-autofocus]');
      (marked ?? focusableIn(element)[0] ?? element).focus({ preventScroll: true });
    };
    focusFirst();
    const onKeyDown = (event: KeyboardEvent): void => {
      if (event.key !== 'Tab') return;
      const all = focusableIn(element);
      const first = all[0];
      const last = all.at(-1);
      const here = document.activeElement;
      if (!first || !last) event.preventDefault();
      else if (event.shiftKey && (here === first || here === element)) {
        last.focus();
        event.preventDefault();
      } else if (!event.shiftKey && here === last) {
        first.focus();
        event.preventDefault();
      }
    };
    // A press on the veil must not take the keys to what lies below.
    const veil = element.parentElement;
    const onVeil = (event: MouseEvent): void => {
      if (event.target !== veil) return;
      event.preventDefault();
      if (!element.contains(document.activeElement)) focusFirst();
    };
    element.addEventListener('keydown', onKeyDown);
    veil?.addEventListener('mousedown', onVeil);
    return () => {
      element.removeEventListener('keydown', onKeyDown);
      veil?.removeEventListener('mousedown', onVeil);
      // Another dialog may have taken over meanwhile; it knows better where the focus belongs.
      const free = document.activeElement === document.body || element.contains(document.activeElement);
      if (free && before instanceof HTMLElement && before.isConnected) before.focus({ preventScroll: true });
    };
  }, []);
}
