// Which rows are drawn and which the host is asked for.

export interface Range {
  first: number;
  count: number;
}

/** The rows that touch the visible part, with some more on each side so that a quick scroll shows no gap. */
export function rowsToDraw(scrollTop: number, height: number, rowHeight: number, total: number, extra = 6): Range {
  const first = Math.max(0, Math.floor(scrollTop / rowHeight) - extra);
  const end = Math.min(total, Math.ceil((scrollTop + height) / rowHeight) + extra);
  return { first, count: Math.max(0, end - first) };
}

/**
 * The window to ask for, or null while the loaded rows reach far enough. It is asked for before the edge is reached, and
 * is several times as long as the visible part, so that scrolling asks seldom.
 */
export function windowToAsk(visible: Range, loaded: Range, total: number): { offset: number; limit: number } | null {
  if (total === 0 || visible.count === 0) return null;
  const needFirst = Math.max(0, visible.first - visible.count);
  const needEnd = Math.min(total, visible.first + visible.count * 2);
  if (loaded.first <= needFirst && loaded.first + loaded.count >= needEnd) return null;
  const offset = Math.max(0, visible.first - visible.count * 3);
  const end = Math.min(total, visible.first + visible.count * 4);
  return { offset, limit: end - offset };
}

/** Where to scroll so that the row is in view; the present place when it is already. */
export function scrollToShow(index: number, scrollTop: number, height: number, rowHeight: number): number {
  const top = index * rowHeight;
  if (top < scrollTop) return top;
  if (top + rowHeight > scrollTop + height) return top + rowHeight - height;
  return scrollTop;
}

const tallest = 10_000_000; // pixels; browsers draw nothing much taller

/** The place in the list that a place of the scroller stands for, and back: the same until the list is very long. */
export interface ScrollScale {
  height: number; // of the scroller's content
  toList(scrollTop: number): number;
  toScroller(listTop: number): number;
}

export function scrollScale(total: number, rowHeight: number, viewHeight: number): ScrollScale {
  const whole = total * rowHeight;
  if (whole <= tallest) return { height: whole, toList: (top) => top, toScroller: (top) => top };
  const ratio = (whole - viewHeight) / (tallest - viewHeight);
  return { height: tallest, toList: (top) => Math.round(top * ratio), toScroller: (top) => top / ratio };
}
