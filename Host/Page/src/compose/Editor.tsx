// The editor of a message's body.
//
// The page never counts revisions itself: bodyRevision is the last one seen from the host, and goes along with every
// update. A higher one means that the host (or a plug-in) changed the text, which then replaces what is shown.
import { useEffect, useRef } from 'preact/hooks';
import type Squire from 'squire-rte';
import type { ComposeModel } from '../protocol';
import { replaceContent, RichTextArea } from '../richText/RichTextArea';
import { registerEditor } from './editors';
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

export function Editor({ model, outgoing, handle }: Props) {
  const shown = useRef<{ editor: Squire; root: HTMLElement } | null>(null);
  const revision = useRef(-1);
  const latest = useRef(model);
  latest.current = model;
  const { window: owner, plainText, busy } = model;

  // When the host has a newer text. The editor may stand sooner or later than that is known here.
  const takeBody = (): void => {
    const { bodyHtml, bodyRevision } = latest.current;
    if (!shown.current || bodyRevision <= revision.current) return;
    outgoing.dropBody();
    revision.current = -1; // what follows is no edit of the person
    replaceContent(shown.current.editor, shown.current.root, bodyHtml);
    revision.current = bodyRevision;
  };
  useEffect(takeBody, [model.bodyRevision]);

  const onReady = (editor: Squire, root: HTMLElement) => {
    shown.current = { editor, root };
    takeBody();
    editor.addEventListener('input', () => {
      if (revision.current >= 0) outgoing.stageBody();
    });
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
      forgetPictures(owner);
    };
  };

  const onKeyDownCapture = (event: KeyboardEvent): void => {
    if (!plainText || !isFormattingKey(event)) return;
    event.preventDefault();
    event.stopImmediatePropagation();
  };
  const onPasteCapture = (event: ClipboardEvent): void => {
    const files = [...(event.clipboardData?.files ?? [])];
    const text = event.clipboardData?.types.includes('text/html') || event.clipboardData?.types.includes('text/plain');
    if (files.length === 0 || text) return;
    event.preventDefault();
    event.stopImmediatePropagation();
    if (shown.current && !plainText) void pastePictures(shown.current.editor, owner, files);
    else void uploadAll(owner, files);
  };
  return (
    <RichTextArea
      label="Message text" anchor={`body:${owner}`} disabled={busy} plain={plainText} area={{ onKeyDownCapture, onPasteCapture }}
      prepare={(fragment, editor) => showPictures(fragment, owner, (change) => editor.modifyDocument(change))} onReady={onReady}
    />
  );
}

/** Pictures go into the text, other files to the attachments. */
async function pastePictures(editor: Squire, owner: string, files: Iterable<File>): Promise<void> {
  // All of them at once, so that the message waits for the last one as well.
  const sent = [...files].map((file) => {
    const inline = file.type.startsWith('image/');
    return { inline, arrived: upload(owner, file, inline) };
  });
  for (const { inline, arrived } of sent) {
    const id = await arrived;
    if (id === null || !inline) continue;
    const picture = document.createElement('img');
    picture.setAttribute('data-cid', id);
    editor.insertHTML(picture.outerHTML);
  }
}
