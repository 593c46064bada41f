// Where a card that belongs to something else on the page goes, so that it stays in view.

export interface Box {
  left: number;
  top: number;
  width: number;
  height: number;
}
export interface Size {
  width: number;
  height: number;
}
export enum Edge {
  Left = 0,
  Below = 1,
  Right = 2,
  Above = 3,
}
export interface Placed {
  left: number;
  top: number;
  edge: Edge;
  arrow: number; // pixels from the card's left, or top where it stands beside, to the arrow's tip
}

const margin = 8;
const clamp = (value: number, low: number, high: number): number => Math.max(low, Math.min(value, high));

const opposite: Record<Edge, Edge> = {
  [Edge.Left]: Edge.Right,
  [Edge.Right]: Edge.Left,
  [Edge.Above]: Edge.Below,
  [Edge.Below]: Edge.Above,
};

function room(edge: Edge, anchor: Box, view: Size): number {
  switch (edge) {
    case Edge.Left: return anchor.left;
    case Edge.Right: return view.width - anchor.left - anchor.width;
    case Edge.Above: return anchor.top;
    case Edge.Below: return view.height - anchor.top - anchor.height;
  }
}

/** Beside `anchor` at the edge that was asked for, else the opposite, else the roomiest. `gap` is for the arrow. */
export function placeBeside(anchor: Box, card: Size, wanted: Edge, view: Size, gap = 10): Placed {
  const fits = (edge: Edge): boolean =>
    room(edge, anchor, view) >= (edge === Edge.Left || edge === Edge.Right ? card.width : card.height) + gap + margin;
  const byRoom = [Edge.Below, Edge.Above, Edge.Right, Edge.Left].sort(
    (a, b) => room(b, anchor, view) - room(a, anchor, view),
  );
  const edge = [wanted, opposite[wanted], ...byRoom].find(fits) ?? Edge.Below;
  const middleX = anchor.left + anchor.width / 2;
  const middleY = anchor.top + anchor.height / 2;
  const beside = edge === Edge.Left || edge === Edge.Right;
  let left = middleX - card.width / 2;
  let top = middleY - card.height / 2;
  if (edge === Edge.Left) left = anchor.left - card.width - gap;
  if (edge === Edge.Right) left = anchor.left + anchor.width + gap;
  if (edge === Edge.Above) top = anchor.top - card.height - gap;
  if (edge === Edge.Below) top = anchor.top + anchor.height + gap;
  left = clamp(left, margin, Math.max(margin, view.width - card.width - margin));
  top = clamp(top, margin, Math.max(margin, view.height - card.height - margin));
  const arrow = beside ? clamp(middleY - top, 16, card.height - 16) : clamp(middleX - left, 16, card.width - 16);
  return { left, top, edge, arrow };
}

/** A menu: below and flush left with its button, or beside its parent item; moved only as far as needed. */
export function placeMenu(anchor: Box, card: Size, view: Size, beside: boolean): { left: number; top: number } {
  let left = beside ? anchor.left + anchor.width - 4 : anchor.left;
  let top = beside ? anchor.top - 5 : anchor.top + anchor.height + 2;
  if (left + card.width > view.width - margin)
    left = beside ? anchor.left - card.width + 4 : anchor.left + anchor.width - card.width;
  if (top + card.height > view.height - margin && !beside && anchor.top - card.height > margin)
    top = anchor.top - card.height - 2;
  return {
    left: clamp(left, margin, Math.max(margin, view.width - card.width - margin)),
    top: clamp(top, margin, Math.max(margin, view.height - card.height - margin)),
  };
}
