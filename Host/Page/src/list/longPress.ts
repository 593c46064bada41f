// A finger that rests on a row opens its menu.
import { useEffect, useRef } from 'preact/hooks';

const delay = 500; // milliseconds
const slack = 10; // pixels that a resting finger may wander

export interface LongPress {
  onPointerDown(event: PointerEvent): void;
  onPointerMove(event: PointerEvent): void;
  cancel(): void;
  /** Whether the press that ends now was a long one. */
  fired(): boolean;
}

export function useLongPress(open: (x: number, y: number) => void): LongPress {
  const state = useRef({ timer: 0, x: 0, y: 0, fired: false });
  const cancel = (): void => window.clearTimeout(state.current.timer);
  useEffect(() => cancel, []);
  return {
    onPointerDown(event) {
      cancel();
      state.current.fired = false;
      if (event.pointerType !== 'touch') return;
      const { clientX: x, clientY: y } = event;
      const timer = window.setTimeout(() => {
        state.current.fired = true;
        open(x, y);
      }, delay);
      state.current = { timer, x, y, fired: false };
    },
    onPointerMove(event) {
      const { x, y } = state.current;
      if (Math.hypot(event.clientX - x, event.clientY - y) > slack) cancel();
    },
    cancel,
    fired: () => state.current.fired,
  };
}
