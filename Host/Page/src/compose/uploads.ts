// Files on their way from the person to the host: those of one window one after the other, so that they keep their order.
import { call, complain, flushEdits, registerEdits } from '../actions';
import { Store } from '../base/Store';
import type { AttachmentModel, Id } from '../protocol';
import { request, sendFile } from '../session';
import { host, onConnected, ui } from '../state';

/** Drawn among the attachments until the host has it. */
export interface Upload {
  id: number;
  window: string;
  name: string;
  sent: number; // bytes
  total: number;
  stop(): void;
}

interface Source {
  name: string;
  size: number;
  inline: boolean;
  open(signal: AbortSignal): Promise<File>;
}

export const uploads = new Store<{ all: Upload[] }>({ all: [] });
// Who leaves the page now is asked: what is not there yet would be missing.
registerEdits({ flush: () => undefined, unsent: () => uploads.get().all.length > 0 });

let made = 0;
const last = new Map<string, Promise<unknown>>(); // by window

const uploadsOf = (window: string): Upload[] => uploads.get().all.filter((each) => each.window === window);

/** Nothing of a file that waits for its turn has reached the host: only this keeps the message from leaving without it. */
function tellHost(window: string): void {
  const names = uploadsOf(window).map((each) => each.name);
  call('compose.uploads', { window, names }).catch(() => undefined); // told anew when the host is back
}

function showProgress(id: number, sent: number): void {
  uploads.set({ all: uploads.get().all.map((each) => (each.id === id ? { ...each, sent } : each)) });
}

function remove({ id, window }: Upload): void {
  const all = uploads.get().all;
  const others = all.filter((each) => each.id !== id);
  if (others.length === all.length) return;
  uploads.set({ all: others });
  tellHost(window);
}

/** Answers the attachment's id; null when it failed, which the person was told, or was stopped. */
export function upload(window: string, file: File, inline: boolean): Promise<string | null> {
  const name = file.name || (inline ? 'picture.png' : 'attachment');
  return enqueue(window, { name, size: file.size, inline, open: () => Promise.resolve(file) });
}

function enqueue(window: string, source: Source): Promise<string | null> {
  flushEdits();
  const stopped = new AbortController();
  const stop = (): void => {
    stopped.abort();
    remove(entry);
  };
  const entry: Upload = { id: ++made, window, name: source.name, sent: 0, total: source.size, stop };
  uploads.set({ all: [...uploads.get().all, entry] });
  tellHost(window);
  const before = last.get(window) ?? Promise.resolve();
  const turn = before.then(async () => {
    try {
      return stopped.signal.aborted ? null : await send(entry, source, stopped.signal);
    } catch (error) {
      if (!stopped.signal.aborted)
        complain(new Error(`“${source.name}” was not attached. ${error instanceof Error ? error.message : ''}`));
      return null;
    } finally {
      remove(entry);
      if (last.get(window) === turn) last.delete(window);
    }
  });
  last.set(window, turn);
  return turn;
}

async function send({ id, window }: Upload, { name, inline, open }: Source, signal: AbortSignal): Promise<string> {
  const file = await open(signal);
  signal.throwIfAborted();
  const headers: Record<string, string> = {
    'Content-Type': file.type || 'application/octet-stream',
    'X-File-Name': encodeURIComponent(name),
  };
  if (inline) headers['X-Inline'] = '1';
  const path = `/compose/${encodeURIComponent(window)}/attachments`;
  const answer = await sendFile(path, headers, file, (sent) => showProgress(id, sent), signal);
  if (!inline) ui.set({ announcement: `“${name}” is attached.` });
  return (JSON.parse(answer) as { id: string }).id;
}

export async function uploadAll(window: string, files: Iterable<File>): Promise<void> {
  await Promise.all([...files].map((file) => upload(window, file, false)));
}

/** Attaches what another message carries. */
export async function attachCopy(window: string, attachment: AttachmentModel & { message: Id }): Promise<void> {
  const { message, part, name, type, size } = attachment;
  const open = async (signal: AbortSignal): Promise<File> => {
    const answer = await request(`/messages/${message}/parts/${encodeURIComponent(part)}`, { signal });
    return new File([await answer.blob()], name, { type });
  };
  await enqueue(window, { name, size, inline: false, open });
}

export function filesOf(transfer: DataTransfer | null): File[] {
  return transfer?.types.includes('Files') ? [...transfer.files] : [];
}

// What a window was to have goes with it.
host.subscribe(() => {
  const open = new Set(host.get().compose.map((each) => each.window));
  for (const each of uploads.get().all) if (!open.has(each.window)) each.stop();
});

// A host that comes back knows of none of them.
onConnected(() => new Set(uploads.get().all.map((each) => each.window)).forEach(tellHost));
