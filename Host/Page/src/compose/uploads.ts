// Files on their way from the person to the host.
import { complain, flushEdits } from '../actions';
import type { AttachmentModel, Id } from '../protocol';
import { request } from '../session';

/** Answers the attachment's id; null when it failed, which the person was told. */
export async function upload(window: string, file: File, inline: boolean): Promise<string | null> {
  flushEdits();
  const headers: Record<string, string> = {
    'Content-Type': file.type || 'application/octet-stream',
    'X-File-Name': encodeURIComponent(file.name || (inline ? 'picture.png' : 'attachment')),
  };
  if (inline) headers['X-Inline'] = '1';
  try {
    const answer = await request(`/compose/${encodeURIComponent(window)}/attachments`, { method: 'POST', headers, body: file });
    return ((await answer.json()) as { id: string }).id;
  } catch (error) {
    complain(new Error(`“${file.name}” was not attached. ${error instanceof Error ? error.message : ''}`));
    return null;
  }
}

export async function uploadAll(window: string, files: Iterable<File>): Promise<void> {
  // One after the other, so that they keep their order.
  for (const file of files) await upload(window, file, false);
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
