// A field for rich text: buttons for the looks, and the text. What the text is, and where it goes, is its owner's business.
import type { JSX } from 'preact';
import Squire from 'squire-rte';
import { useEffect, useRef, useState } from 'preact/hooks';
import { forEditor } from '../reading/sanitize';
import { FormatBar } from './FormatBar';

interface Props {
  label: string;
  anchor?: string;
  disabled: boolean;
  plain?: boolean; // without looks
  area?: JSX.HTMLAttributes<HTMLDivElement>; // more handlers of the text's element
  prepare?(fragment: DocumentFragment, editor: Squire): void; // markup that is about to enter the text
  onReady(editor: Squire, root: HTMLElement): () => void; // answers what is to be done at the end
}

export function RichTextArea({ label, anchor, disabled, plain, area, prepare, onReady }: Props) {
  const root = useRef<HTMLDivElement>(null);
  const [ready, setReady] = useState<Squire | null>(null);
  useEffect(() => {
    if (!root.current) return undefined;
    const editor = makeEditor(root.current, prepare);
    setReady(editor);
    const end = onReady(editor, root.current);
    return () => {
      end();
      editor.destroy();
    };
  }, []);
  return (
    <>
      {ready && !plain && <FormatBar editor={ready} disabled={disabled} />}
      <div
        ref={root} class={`editor${plain ? ' plain' : ''}`} role="textbox" aria-multiline="true" aria-label={label}
        contenteditable={!disabled} data-anchor={anchor} dir="auto" spellcheck {...area}
      />
    </>
  );
}

function makeEditor(root: HTMLElement, prepare: Props['prepare']): Squire {
  return new Squire(root, {
    blockTag: 'DIV',
    sanitizeToDOMFragment: (html: string, editor: Squire) => {
      const fragment = document.importNode(forEditor(html), true);
      prepare?.(fragment, editor);
      return fragment;
    },
    didError: (error: unknown) => console.error('editor', error),
  });
}

/** Replaces the text and keeps the cursor at about the same place. */
export function replaceContent(editor: Squire, root: HTMLElement, html: string): void {
  const focused = root.contains(document.activeElement);
  const scroller = root.closest('.compose-scroll');
  const top = scroller?.scrollTop ?? 0;
  const offset = focused ? textOffset(root, editor.getSelection()) : 0;
  editor.setHTML(html);
  if (focused) {
    editor.setSelection(rangeAt(root, offset));
    editor.focus();
  } else editor.moveCursorToStart();
  if (scroller) scroller.scrollTop = top;
}

function textOffset(root: HTMLElement, selection: Range): number {
  const before = document.createRange();
  before.selectNodeContents(root);
  before.setEnd(selection.startContainer, selection.startOffset);
  return before.toString().length;
}

function rangeAt(root: HTMLElement, offset: number): Range {
  const range = document.createRange();
  const texts = document.createTreeWalker(root, NodeFilter.SHOW_TEXT);
  let left = offset;
  for (let node = texts.nextNode(); node; node = texts.nextNode()) {
    const length = node.textContent?.length ?? 0;
    if (left <= length) {
      range.setStart(node, left);
      range.collapse(true);
      return range;
    }
    left -= length;
  }
  range.selectNodeContents(root);
  range.collapse(false);
  return range;
}
