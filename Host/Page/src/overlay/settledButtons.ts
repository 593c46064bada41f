// Buttons of a dialogue may change under the pointer: where "Stop" stood, "Cancel" may stand a moment later.
import { useRef } from 'preact/hooks';

const momentMs = 500; // a click or key that was aimed at the button before has come by then

/** Tells whether a button stands there long enough to be meant; those of the first moment do. */
export function useSettledButtons(titles: string[]): (title: string) => boolean {
  const since = useRef<Map<string, number>>();
  const before = since.current;
  since.current = new Map(titles.map((title) => [title, before ? (before.get(title) ?? performance.now()) : -momentMs]));
  return (title) => performance.now() - (since.current?.get(title) ?? 0) >= momentMs;
}
