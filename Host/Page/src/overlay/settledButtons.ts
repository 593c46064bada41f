// Buttons of a dialogue may change under the pointer: where "Stop" stood, "Cancel" may stand a moment later.
import { useEffect, useReducer, useRef } from 'preact/hooks';

const momentMs = 500; // a click or key that was aimed at the button before has come by then

/** Tells whether a button stands there long enough to be meant; those of the first moment do. */
export function useSettledButtons(titles: string[]): (title: string) => boolean {
  const [, redraw] = useReducer((count: number) => count + 1, 0);
  const since = useRef<Map<string, number>>();
  const before = since.current;
  since.current = new Map(titles.map((title) => [title, before ? (before.get(title) ?? performance.now()) : -momentMs]));
  const settledAt = Math.max(...since.current.values()) + momentMs;
  useEffect(() => {
    const left = settledAt - performance.now();
    if (!(left > 0)) return undefined;
    const timer = setTimeout(() => redraw(0), Math.ceil(left) + 1);
    return () => clearTimeout(timer);
  }, [settledAt]);
  return (title) => performance.now() - (since.current?.get(title) ?? 0) >= momentMs;
}
