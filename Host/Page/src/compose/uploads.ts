// Files on their way from the person to the host, one after the other, so that they keep their order.
import { complain, flushEdits, registerEdits } from '../actions';
import { Store } from '../base/Store';
import type { AttachmentModel, Id } from '../protocol';
import { request, sendFile } from '../session';
import { ui } from '../state';

/** Drawn among the attachments until the host has it. */
export interface Upload {
  id: number;
  window: string;
  name: string;
  sent: number; // bytes
  total: number;
  stop(): void;
}

export const uploads = new Store<{ all: Upload[] }>({ all: [] });
// Who leaves the page now is asked: what is not there yet would be missing.
registerEdits({ flush: () => undefined, unsent: () => uploads.get().all.length > 0 });

let made = 0;
let last: Promise<unknown> = Promise.resolve();

function change(id: number, part: Partial<Upload> | null): void {
  const all = uploads.get().all;
  uploads.set({
    all: part ? all.map((each) => (each.id === id ? { ...each, ...part } : each)) : all.filter((each) => each.id !== id),
  });
}

/** Answers the attachment's id; null when it failed, which the person was told, or was stopped. */
export function upload(window: string, file: File, inline: boolean): Promise<string | null> {
  flushEdits();
  const id = ++made;
  const stopped = new AbortController();
  const entry = { id, window, name: file.name, sent: 0, total: file.size, stop: () => stopped.abort() };
  uploads.set({ all: [...uploads.get().all, entry] });
  const turn = last.then(async () => {
    try {
      return stopped.signal.aborted ? null : await send(entry, file, inline, stopped.signal);
    } catch (error) {
      if (!stopped.signal.aborted)
        complain(new Error(`“${file.name}” was not attached. ${error instanceof Error ? error.message : ''}`));
      return null;
    } finally {
      change(id, null);
    }
  });
  last = turn;
  return turn;
}

async function send({ id, window, name }: Upload, file: File, inline: boolean, signal: AbortSignal): Promise<string> {
  const headers: Record<string, string> = {
    'Content-Type': file.type || 'application/octet-stream',
    'X-File-Name': encodeURIComponent(name || (inline ? 'picture.png' : 'attachment')),
  };
  if (inline) headers['X-Inline'] = '1';
  const path = `/compose/${encodeURIComponent(window)}/attachments`;
  const answer = await sendFile(path, headers, file, (sent) => change(id, { sent }), signal);
  if (!inline) ui.set({ announcement: `“${name}” is attached.` });
  return (JSON.parse(answer) as { id: string }).id;
}

export async function uploadAll(window: string, files: Iterable<File>): Promise<void> {
  await Promise.all([...files].map((file) => upload(window, file, false)));
}

/** Attaches what another message carries. */
export async function attachCopy(window: string, attachment: AttachmentModel & { message: Id }): Promise<void> {
  const { message, part, name, type } = attachment;
  try {
    const answer = await request(`/messages/${message}/parts/${encodeURIComponent(part)}`);
    await upload(window, new File([await answer.blob()], name, { type }), false);
  } catch (error) {
    complain(new Error(`“${name}” was not attached. ${error instanceof Error ? error.message : ''}`));
  }
}

export function filesOf(transfer: DataTransfer | null): File[] {
  return transfer?.types.includes('Files') ? [...transfer.files] : [];
}
