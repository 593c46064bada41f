// Scrolling the message from the list: the frame runs no scripts and belongs to another origin, so the only way is to
// send it to one of the marks that frameDocument() put into it.
import { pageCount } from './frameDocument';

let frame: HTMLIFrameElement | null = null;
let page = 0;

export function setScrolledFrame(element: HTMLIFrameElement | null): void {
  frame = element;
  page = 0;
}

export function scrollFrameBy(pages: 1 | -1): void {
  page = Math.max(0, Math.min(pageCount - 1, page + pages));
  frame?.contentWindow?.location.replace(`about:srcdoc#qs-page-${page}`);
}
