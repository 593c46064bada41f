// The editor of a message's body.
//
// The page never counts revisions itself: bodyRevision is the last one seen from the host, and goes along with every
// update. A higher one means that the host (or a plug-in) changed the text, which then replaces what is shown.
import { useEffect, useRef, useState } from 'preact/hooks';
import Squire from 'squire-rte';
import { forEditor } from '../reading/sanitize';
import type { ComposeModel } from '../protocol';
import { registerEditor } from './editors';
import { FormatBar } from './FormatBar';
import { forgetPictures, namePictures, showPictures } from './inlinePictures';
import type { BodyState, Outgoing } from './Outgoing';
import { upload, uploadAll } from './uploads';

export interface EditorHandle {
  body(): BodyState | null;
}

interface Props {
  model: ComposeModel;
  outgoing: Outgoing;
  handle: { current: EditorHandle | null };
}

/** The editor's own keys for looks, which a plain text has none of. */
function isFormattingKey(event: KeyboardEvent): boolean {
  if (!event.ctrlKey && !event.metaKey) return false;
  return event.shiftKey ? /^(Digit[5-9])$/.test(event.code) : /^[biud]$/i.test(event.key);
}

function makeEditor(root: HTMLElement, window: string): Squire {
  return new Squire(root, {
    blockTag: 'DIV',
    sanitizeToDOMFragment: (html: string, editor: Squire) => {
      const fragment = document.importNode(forEditor(html), true);
      showPictures(fragment, window, (change) => editor.modifyDocument(change));
      return fragment;
    },
    didError: (error: unknown) => console.error('editor', error),
  });
}

/** Replaces the text and keeps the cursor at about the same place. */
function replaceContent(editor: Squire, root: HTMLElement, html: string): void {
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

export function Editor({ model, outgoing, handle }: Props) {
  const root = useRef<HTMLDivElement>(null);
  const squire = useRef<Squire | null>(null);
  const revision = useRef(-1);
  const [ready, setReady] = useState<Squire | null>(null);
  const { window: owner, plainText, busy } = model;

  useEffect(() => {
    if (!root.current) return undefined;
    const editor = makeEditor(root.current, owner);
    squire.current = editor;
    setReady(editor);
    const onInput = (): void => {
      if (revision.current >= 0) outgoing.stageBody();
    };
    editor.addEventListener('input', onInput);
    editor.addEventListener('pasteImage', (event: Event) => {
      const items = (event as CustomEvent<{ clipboardData?: DataTransfer }>).detail?.clipboardData;
      void pastePictures(editor, owner, items?.files ?? []);
    });
    handle.current = {
      body: () => (revision.current < 0 ? null : { bodyHtml: namePictures(editor.getHTML()), bodyRevision: revision.current }),
    };
    const end = registerEditor(owner, {
      focus: () => editor.focus(),
      insertText: (text) => editor.insertPlainText(text, false),
    });
    return () => {
      end();
      outgoing.stop();
      handle.current = null;
      editor.destroy();
      forgetPictures(owner);
    };
  }, []);

  useEffect(() => {
    const editor = squire.current;
    if (!editor || !root.current || model.bodyRevision <= revision.current) return;
    outgoing.dropBody();
    revision.current = -1; // what follows is no edit of the person
    replaceContent(editor, root.current, model.bodyHtml);
    revision.current = model.bodyRevision;
  }, [model.bodyRevision]);

  return (
    <>
      {ready && !plainText && <FormatBar editor={ready} disabled={busy} />}
      <div
        ref={root} class={`editor${plainText ? ' plain' : ''}`} role="textbox" aria-multiline="true" aria-label="Message text"
        contenteditable={!busy} data-anchor={`body:${owner}`} dir="auto" spellcheck
        onKeyDownCapture={(event) => {
          if (!plainText || !isFormattingKey(event)) return;
          event.preventDefault();
          event.stopImmediatePropagation();
        }}
        onPasteCapture={(event) => {
          const files = [...(event.clipboardData?.files ?? [])];
          const text = event.clipboardData?.types.includes('text/html') || event.clipboardData?.types.includes('text/plain');
          if (files.length === 0 || text) return;
          event.preventDefault();
          event.stopImmediatePropagation();
          if (squire.current && !plainText) void pastePictures(squire.current, owner, files);
          else void uploadAll(owner, files);
        }}
      />
    </>
  );
}

/** Pictures go into the text, other files to the attachments. */
async function pastePictures(editor: Squire, owner: string, files: Iterable<File>): Promise<void> {
  for (const file of files) {
    if (!file.type.startsWith('image/')) {
      await upload(owner, file, false);
      continue;
    }
    const id = await upload(owner, file, true);
    if (id === null) continue;
    const picture = document.createElement('img');
    picture.setAttribute('data-cid', id);
    editor.insertHTML(picture.outerHTML);
  }
}
