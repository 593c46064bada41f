// Prints a message. A frame of another origin cannot be printed from here, so the message is put into a second frame for
// that moment: it has our origin but runs no scripts, and its policy is the same as that of the displayed one.
import { signals } from '../actions';
import type { Body, MessageModel } from '../protocol';
import { frameDocument } from './frameDocument';

function escaped(text: string): string {
  const element = document.createElement('span');
  element.textContent = text;
  return element.innerHTML;
}

function heading(message: MessageModel): string {
  const lines: [string, string][] = [
    ['From', message.fromAddress && message.from !== message.fromAddress ? `${message.from} <${message.fromAddress}>` : message.from],
    ['To', message.to.join(', ')],
    ['Cc', message.cc.join(', ')],
    ['Date', message.date],
    ['Attachments', message.attachments.map((attachment) => attachment.name).join(', ')],
  ];
  const rows = lines
    .filter(([, value]) => value)
    .map(([name, value]) => `<div><b>${name}:</b> ${escaped(value)}</div>`)
    .join('');
  return `<h1 style="font-size:18px;margin:0 0 8px">${escaped(message.subject)}</h1>
<div style="border-bottom:1px solid #999;padding-bottom:8px;margin-bottom:14px;font-size:12px">${rows}</div>`;
}

export function printMessage(message: MessageModel, body: Body): void {
  const frame = document.createElement('iframe');
  frame.setAttribute('sandbox', 'allow-same-origin allow-modals');
  frame.className = 'print-frame';
  frame.title = 'Message to print';
  frame.onload = () => {
    frame.contentWindow?.print();
    // The dialog is over or has taken its copy by then.
    window.setTimeout(() => frame.remove(), 1000);
  };
  frame.srcdoc = frameDocument(body.html, { plain: body.plain, heading: heading(message) });
  document.body.append(frame);
}

const printers = new Map<string, () => void>();

/** What printing means for a window; null when it has nothing to print. */
export function onPrint(window: string, print: (() => void) | null): void {
  if (print) printers.set(window, print);
  else printers.delete(window);
}

signals.print = (window) => printers.get(window)?.();
