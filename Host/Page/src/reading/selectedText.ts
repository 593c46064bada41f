// The part of a message that the person has selected, for the host: what is done with the message may mean that part.
//
// Of a frame of another origin nothing can be known here. Only while the person wants to select something, the message
// stands in a frame of our origin; that runs no scripts either, and its policy is the same.
import { call, complain, registerEdits } from '../actions';
import type { Id } from '../protocol';

const largestPicture = 400_000; // characters of its address

/** As markup; empty when nothing is selected. What the page itself put into the frame stays out. */
export function selectedMarkup(frame: Document | null): string {
  const selection = frame?.getSelection();
  if (!frame || !selection || selection.rangeCount === 0 || selection.isCollapsed) return '';
  const box = frame.createElement('div');
  box.append(selection.getRangeAt(0).cloneContents());
  for (const each of box.querySelectorAll('#qs-pages, .qs-real-host, style')) each.remove();
  for (const link of box.querySelectorAll('[data-qs-place]')) link.removeAttribute('data-qs-place');
  for (const picture of box.querySelectorAll('img[src]'))
    if ((picture.getAttribute('src') ?? '').length > largestPicture) picture.remove();
  return box.textContent?.trim() || box.querySelector('img') ? box.innerHTML : '';
}

/** From now on the host knows, ahead of every action, what is selected. Answers the function that ends it. */
export function tellSelection(message: Id, selected: () => string): () => void {
  let told = '';
  const tell = (html: string): void => {
    if (html === told) return;
    told = html;
    call('message.selectText', { id: message, html }).catch(complain);
  };
  const end = registerEdits({ flush: () => tell(selected()) });
  return () => {
    end();
    tell('');
  };
}
