// A field's text while it is typed in. It is sent after a short rest, when the field is left, and before any button acts;
// what the host says is taken over unless the person is in the middle of typing.
import { useEffect, useRef, useState } from 'preact/hooks';
import { registerEdits } from '../actions';

const rest = 300; // milliseconds

const pending = new Set<() => void>();

registerEdits({
  flush() {
    for (const send of [...pending]) send();
  },
});

export interface Draft<T> {
  value: T;
  change(next: T): void;
  leave(): void; // the field lost the focus
}

/** `wait` is the rest in milliseconds; with Infinity nothing is sent before the field is left. */
export function useDraft<T>(told: T, send: (value: T) => void, wait = rest): Draft<T> {
  const [value, setValue] = useState(told);
  const state = useRef({ dirty: false, latest: told, timer: 0, send });
  state.current.send = send;

  const flush = useRef(() => {
    const now = state.current;
    window.clearTimeout(now.timer);
    pending.delete(flush.current);
    if (!now.dirty) return;
    now.dirty = false;
    now.send(now.latest);
  });
  useEffect(() => {
    if (state.current.dirty) return;
    state.current.latest = told;
    setValue(told);
  }, [told]);
  useEffect(() => () => flush.current(), []);

  return {
    value,
    change(next) {
      const now = state.current;
      now.latest = next;
      now.dirty = true;
      setValue(next);
      pending.add(flush.current);
      window.clearTimeout(now.timer);
      if (wait !== Infinity) now.timer = window.setTimeout(flush.current, wait);
    },
    leave: () => flush.current(),
  };
}
