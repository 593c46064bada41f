// Pictures in the text of a message. In the host's HTML each carries its attachment's id as data-cid, and its content as a
// data URL unless that would be too large; then it is fetched here with the session's token and shown from a blob.
import { request } from '../session';

const mark = 'data-cid';

const fetched = new Map<string, Promise<string>>();

function pictureAddress(window: string, id: string): Promise<string> {
  const key = `${window}/${id}`;
  let address = fetched.get(key);
  if (!address) {
    address = request(`/compose/${encodeURIComponent(window)}/attachments/${encodeURIComponent(id)}`)
      .then((answer) => answer.blob())
      .then((blob) => URL.createObjectURL(blob));
    address.catch(() => fetched.delete(key));
    fetched.set(key, address);
  }
  return address;
}

/**
 * In a fragment that is about to enter the editor. Pictures arrive later than the text; `quietly` makes such a change
 * without the editor taking it for one of the person's.
 */
export function showPictures(fragment: DocumentFragment, window: string, quietly: (change: () => void) => void): void {
  for (const picture of fragment.querySelectorAll(`img[${mark}]`)) {
    if (picture.getAttribute('src')?.startsWith('data:')) continue;
    pictureAddress(window, picture.getAttribute(mark) ?? '')
      .then((address) => quietly(() => picture.setAttribute('src', address)))
      .catch(() => undefined); // an empty place; a word about it would leave with the message
  }
}

/** In the editor's HTML on its way to the host: a marked picture's content is there already. */
export function namePictures(html: string): string {
  if (!html.includes(mark)) return html;
  const parsed = new DOMParser().parseFromString(html, 'text/html');
  for (const picture of parsed.querySelectorAll(`img[${mark}]`)) picture.removeAttribute('src');
  return parsed.body.innerHTML;
}

export function forgetPictures(window: string): void {
  for (const [key, address] of fetched) {
    if (!key.startsWith(`${window}/`)) continue;
    fetched.delete(key);
    address.then((found) => URL.revokeObjectURL(found)).catch(() => undefined);
  }
}
