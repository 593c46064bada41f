/** Gives the keys to the first of these that is shown; answers whether there is one. */
export function focusOn(selector: string): boolean {
  const shown = [...document.querySelectorAll<HTMLElement>(selector)].find((each) => each.offsetParent !== null);
  shown?.focus({ preventScroll: true });
  return shown !== undefined;
}
