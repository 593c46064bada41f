// One message being written.
import { useEffect, useMemo, useRef, useState } from 'preact/hooks';
import { act, call, complain, registerEdits } from '../actions';
import { ConnectionLost } from '../connection';
import { Toolbar } from '../layout/Toolbar';
import { Alerts } from '../overlay/Alerts';
import { Sheet } from '../overlay/Sheet';
import type { AttachmentModel, ComposeModel, Id } from '../protocol';
import { attachmentType } from '../reading/Attachments';
import { onPrint, printMessage } from '../reading/print';
import type { ComposeShape } from '../state';
import { AddressField } from './AddressField';
import { ComposeAttachments } from './ComposeAttachments';
import { bringToFront } from './ComposeDock';
import { ComposeRows } from './ComposeRows';
import { ComposeTitle } from './ComposeTitle';
import { Editor, type EditorHandle } from './Editor';
import { focusEditor } from './editors';
import { type Edit, Outgoing } from './Outgoing';
import { attachCopy, filesOf, uploadAll } from './uploads';
import { useSynced } from './useSynced';

interface Props {
  model: ComposeModel;
  shape: ComposeShape;
  front: boolean;
}

export function ComposeWindow({ model, shape, front }: Props) {
  const { window: owner, busy } = model;
  const editor = useRef<EditorHandle | null>(null);
  const outgoing = useMemo(
    () =>
      new Outgoing(
        (edit) => sendUpdate(owner, edit),
        () => editor.current?.body() ?? null,
      ),
    [owner],
  );
  useEffect(() => registerEdits({ flush: () => outgoing.flush(), unsent: () => outgoing.hasPending() }), [outgoing]);
  useEffect(() => {
    onPrint(owner, () => printDraft(model, editor.current));
    return () => onPrint(owner, null);
  });
  const [over, setOver] = useState(false);

  const onKeyDown = (event: KeyboardEvent): void => {
    if (event.key !== 'Enter' || !(event.ctrlKey || event.metaKey) || event.altKey || event.shiftKey) return;
    event.preventDefault();
    if (!busy) act('compose.send', { window: owner });
  };
  const onDrop = (event: DragEvent): void => {
    setOver(false);
    const files = filesOf(event.dataTransfer);
    const attachment = event.dataTransfer?.getData(attachmentType);
    if (files.length === 0 && !attachment) return;
    event.preventDefault();
    event.stopPropagation();
    if (attachment) void attachCopy(owner, JSON.parse(attachment) as AttachmentModel & { message: Id });
    else void uploadAll(owner, files);
  };
  const carriesFiles = (event: DragEvent): boolean =>
    event.dataTransfer?.types.some((type) => type === 'Files' || type === attachmentType) ?? false;

  return (
    <section
      class={`compose ${shape}${front ? ' front' : ''}${over ? ' over' : ''}`} aria-label={`${model.title || 'New message'}, being written`}
      aria-busy={busy} data-window={owner} data-part={shape === 'minimised' ? undefined : true} onFocusIn={() => bringToFront(owner)}
      onPointerDown={() => bringToFront(owner)} onKeyDown={onKeyDown}
      onDragOverCapture={(event) => {
        if (!carriesFiles(event)) return;
        event.preventDefault();
        setOver(true);
      }}
      onDragLeave={(event) => event.target === event.currentTarget && setOver(false)} onDropCapture={onDrop}
    >
      <ComposeTitle model={model} shape={shape} />
      <div class="compose-body" hidden={shape === 'minimised'}>
        <Toolbar window={owner} label="Message being written" items={model.toolbar} prominent="send" />
        <div class="compose-scroll">
          <Fields model={model} outgoing={outgoing} />
          <ComposeRows model={model} place="content" />
          <Editor model={model} outgoing={outgoing} handle={editor} />
          <ComposeAttachments window={owner} attachments={model.attachments} disabled={busy} />
        </div>
        <div class="compose-status">
          <ComposeRows model={model} place="status" />
          <label class="check plain-toggle">
            <input
              type="checkbox" checked={model.plainText} disabled={busy}
              onChange={(event) => outgoing.stage({ plainText: event.currentTarget.checked })}
            />
            Plain text
          </label>
          <span class="status-text" role="status">{busy ? 'Sending…' : model.status}</span>
        </div>
        {over && <p class="drop-hint">Drop files here to attach them</p>}
        {model.sheet && <Sheet window={owner} form={model.sheet} />}
        <Alerts window={owner} />
      </div>
    </section>
  );
}

async function sendUpdate(window: string, edit: Edit): Promise<boolean> {
  try {
    await call('compose.update', { window, ...edit });
  } catch (error) {
    if (error instanceof ConnectionLost) return false; // the bar says so; the edit leaves when the host is back
    complain(error);
  }
  return true;
}

function printDraft(model: ComposeModel, editor: EditorHandle | null): void {
  const body = editor?.body();
  printMessage(
    {
      id: 0, subject: model.subject, from: model.accounts.find((each) => each.id === model.account)?.label ?? '',
      fromAddress: '', sender: '', to: model.to, cc: model.cc, bcc: model.bcc, date: '',
      flags: { unread: false, flagged: false, colour: 0 }, icons: [], attachments: [], banners: [], canEditDraft: true,
    },
    { html: body?.bodyHtml ?? model.bodyHtml, remoteBlocked: 0, remote: 'never', plain: model.plainText },
  );
}

function Fields({ model, outgoing }: { model: ComposeModel; outgoing: Outgoing }) {
  const { window: owner, busy } = model;
  const [to, setTo] = useSynced(model.to, outgoing, (value) => outgoing.stage({ to: value }));
  const [cc, setCc] = useSynced(model.cc, outgoing, (value) => outgoing.stage({ cc: value }));
  const [bcc, setBcc] = useSynced(model.bcc, outgoing, (value) => outgoing.stage({ bcc: value }));
  const [subject, setSubject] = useSynced(model.subject, outgoing, (value) => outgoing.stage({ subject: value }));
  const [copies, setCopies] = useState(false);
  const showCopies = copies || cc.length > 0 || bcc.length > 0;
  const empty = model.to.length === 0;
  const field = { window: owner, disabled: busy };
  return (
    <div class="compose-fields">
      <div class="to-line">
        <AddressField {...field} label="To" name="to" addresses={to} autofocus={empty} onChange={setTo} />
        {!showCopies && (
          <button type="button" class="plain-button copies" onClick={() => setCopies(true)}>Cc Bcc</button>
        )}
      </div>
      {showCopies && <AddressField {...field} label="Cc" name="cc" addresses={cc} autofocus={copies} onChange={setCc} />}
      {showCopies && <AddressField {...field} label="Bcc" name="bcc" addresses={bcc} onChange={setBcc} />}
      {model.accounts.length > 1 && (
        <div class="field-row">
          <label class="row-label" for={`${owner}-from`}>From</label>
          <select
            id={`${owner}-from`} value={model.account} disabled={busy} data-anchor={`from:${owner}`}
            onChange={(event) => outgoing.stage({ account: event.currentTarget.value })}
          >
            {model.accounts.map((account) => (
              <option key={account.id} value={account.id}>{account.label}</option>
            ))}
          </select>
        </div>
      )}
      <div class="field-row">
        <label class="row-label" for={`${owner}-subject`}>Subject</label>
        <input
          id={`${owner}-subject`} class="subject-input" type="text" dir="auto" value={subject} disabled={busy} data-anchor={`subject:${owner}`}
          onInput={(event) => setSubject(event.currentTarget.value)}
          onKeyDown={(event) => {
            if (event.key !== 'Enter' || event.ctrlKey || event.metaKey) return;
            event.preventDefault();
            focusEditor(owner);
          }}
        />
        <ComposeRows model={model} place="subject" />
      </div>
    </div>
  );
}
