// The page's own wall around displayed mail, behind the host's sanitizer and in front of the frame's sandbox and policy:
// it lets through nothing that acts, and rewrites links so that they show where they go.
import DOMPurify from 'dompurify';
import { factsOfLink } from './links';

const forbiddenTags = [
  'script', 'object', 'embed', 'form', 'base', 'meta', 'link', 'svg', 'math', 'template', 'iframe', 'frame', 'frameset',
  'input', 'button', 'select', 'option', 'textarea', 'dialog', 'audio', 'video', 'source', 'track', 'portal', 'noscript',
];
// The expression is held against the values of nearly all attributes, so besides the schemes it must let through what is
// no address at all: the last two alternatives.
const frameValues = /^(?:(?:https?|mailto):|data:image\/|[^a-z]|[a-z+.-]+(?:[^a-z+.:-]|$))/i;
const editorValues = /^(?:(?:https?|mailto|blob):|data:image\/|[^a-z]|[a-z+.-]+(?:[^a-z+.:-]|$))/i;

const forbiddenAttributes = ['srcset', 'ping', 'download', 'formaction', 'autofocus', 'contenteditable', 'accesskey'];

/** Markup for the frame of a displayed message. */
export function forFrame(html: string): string {
  const body = DOMPurify.sanitize(html, {
    USE_PROFILES: { html: true },
    FORBID_TAGS: forbiddenTags,
    FORBID_ATTR: forbiddenAttributes,
    ALLOW_DATA_ATTR: false,
    ALLOWED_URI_REGEXP: frameValues,
    FORCE_BODY: true, // keeps style elements at the start
    RETURN_DOM: true,
  }) as HTMLElement;
  // Names of ours are ours alone: a mail must not dress its words as our remarks.
  for (const each of body.querySelectorAll('[class*="qs-" i], [id^="qs-" i]')) {
    if (/^qs-/i.test(each.id)) each.removeAttribute('id');
    for (const name of [...each.classList]) if (/^qs-/i.test(name)) each.classList.remove(name);
  }
  for (const link of body.querySelectorAll('a, area')) rewriteLink(link);
  // The host has put every picture that may be seen into the markup itself.
  for (const picture of body.querySelectorAll('img[src]'))
    if (!/^data:image\//i.test(picture.getAttribute('src') ?? '')) picture.removeAttribute('src');
  for (const each of body.querySelectorAll('[background]')) each.removeAttribute('background');
  return body.innerHTML;
}

function rewriteLink(link: Element): void {
  const href = link.getAttribute('href');
  if (href === null) return;
  if (href.startsWith('#')) return; // within the message
  const text = link.textContent ?? '';
  const facts = factsOfLink(href, text);
  if (!facts) {
    link.removeAttribute('href');
    return;
  }
  link.setAttribute('href', facts.href);
  link.setAttribute('title', facts.title);
  link.setAttribute('data-qs-place', facts.title);
  link.setAttribute('target', '_blank');
  link.setAttribute('rel', 'noopener noreferrer');
  if (!facts.hint) return;
  const hint = link.ownerDocument.createElement('span');
  hint.className = 'qs-real-host';
  hint.title = `This link leads to ${facts.hint}, not where its text says`;
  hint.textContent = `[${facts.hint}]`;
  link.append(hint);
}

/** A fragment for the message editor: quoted mail keeps its looks, everything that acts goes. */
export function forEditor(html: string): DocumentFragment {
  const fragment = DOMPurify.sanitize(html, {
    USE_PROFILES: { html: true },
    FORBID_TAGS: [...forbiddenTags, 'style'],
    FORBID_ATTR: [...forbiddenAttributes, 'id', 'name'],
    ALLOW_DATA_ATTR: true, // marks that plug-ins left in the text
    ALLOWED_URI_REGEXP: editorValues,
    RETURN_DOM_FRAGMENT: true,
  });
  for (const picture of fragment.querySelectorAll('img')) {
    if (!picture.hasAttribute('alt')) picture.setAttribute('alt', '');
    // An address without a scheme would be one of ours.
    if (!/^(?:https?|blob|data):/i.test(picture.getAttribute('src') ?? '')) picture.removeAttribute('src');
  }
  for (const link of fragment.querySelectorAll('a[href]'))
    if (!/^(?:https?:|mailto:|#)/i.test(link.getAttribute('href') ?? '')) link.removeAttribute('href');
  return fragment;
}
