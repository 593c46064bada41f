// A row that is pulled aside uncovers buttons at its edge; pulled far, it does what the first of them does.
import { useEffect, useRef, useState } from 'preact/hooks';

const slack = 10; // pixels before a press is a pull
const openWidth = 112; // of the uncovered buttons
const farAway = 0.55; // of the row's width

export interface Swipe {
  offset: number; // pixels; above 0: the leading edge is uncovered
  pulling: boolean;
  onPointerDown(event: PointerEvent): void;
  onPointerMove(event: PointerEvent): void;
  onPointerUp(event: PointerEvent): void;
  onPointerCancel(): void;
}

interface Sides {
  leading: boolean; // whether there is anything at that edge
  trailing: boolean;
  act(side: 'leading' | 'trailing'): void;
}

/** Where a row that was pulled to `offset` rests when it is let go. */
export function restingPlace(offset: number, width: number): { rest: number; acts: boolean } {
  const distance = Math.abs(offset);
  if (distance > width * farAway) return { rest: 0, acts: true };
  return { rest: distance > openWidth / 2 ? Math.sign(offset) * openWidth : 0, acts: false };
}

export function useSwipe({ leading, trailing, act }: Sides): Swipe {
  const [offset, setOffset] = useState(0);
  const [pulling, setPulling] = useState(false);
  const start = useRef({ id: -1, x: 0, y: 0, offset: 0, pulls: false });
  useEffect(() => {
    if ((offset > 0 && !leading) || (offset < 0 && !trailing)) setOffset(0);
  }, [leading, trailing, offset]);
  const end = (rest: number): void => {
    start.current.id = -1;
    setPulling(false);
    setOffset(rest);
  };
  return {
    offset,
    pulling,
    onPointerDown(event) {
      if (event.button !== 0 || (event.target instanceof Element && event.target.closest('button'))) return;
      start.current = { id: event.pointerId, x: event.clientX, y: event.clientY, offset, pulls: false };
    },
    onPointerMove(event) {
      const from = start.current;
      if (from.id !== event.pointerId) return;
      const x = event.clientX - from.x;
      const y = event.clientY - from.y;
      if (!from.pulls) {
        if (Math.abs(y) > slack) from.id = -1; // the list is scrolled
        if (Math.abs(x) <= slack || Math.abs(x) <= Math.abs(y)) return;
        from.pulls = true;
        setPulling(true);
        (event.currentTarget as Element).setPointerCapture(event.pointerId);
      }
      const wanted = from.offset + x;
      setOffset(Math.max(trailing ? -Infinity : 0, Math.min(wanted, leading ? Infinity : 0)));
    },
    onPointerUp(event) {
      const from = start.current;
      if (from.id !== event.pointerId) return;
      if (!from.pulls) return end(0); // a press closes what is uncovered
      const { rest, acts } = restingPlace(offset, (event.currentTarget as Element).clientWidth);
      end(rest);
      if (acts) act(offset > 0 ? 'leading' : 'trailing');
    },
    onPointerCancel() {
      end(0);
    },
  };
}
