// Saves something that only a request with the session's token can fetch.
import { complain } from '../actions';
import { request } from '../session';

export async function download(path: string, name: string): Promise<void> {
  try {
    const blob = await (await request(path)).blob();
    // As plain octets, so that no browser shows an attachment in this page's origin.
    const address = URL.createObjectURL(new Blob([blob], { type: 'application/octet-stream' }));
    const link = document.createElement('a');
    link.href = address;
    link.download = name || 'attachment';
    link.click();
    window.setTimeout(() => URL.revokeObjectURL(address), 60000);
  } catch (error) {
    complain(error);
  }
}
