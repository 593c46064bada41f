// The session with the host: a single-use ticket from the start link is traded for a cookie and a token. The token stays
// in this tab's session storage and goes along with every request as a header; it never stands in an address.

const storageKey = 'quillstead.token';
let token = '';

export type SessionState = 'ready' | 'none' | 'unreachable';

/** Takes the ticket out of the address, or the token that an earlier load of this tab left. */
export async function openSession(): Promise<SessionState> {
  const ticket = /^#start=(.+)$/.exec(location.hash)?.[1];
  // At once and whatever comes of it: a ticket must not stay in the history.
  if (location.hash) history.replaceState(null, '', location.pathname);
  if (ticket) {
    try {
      const answer = await fetch('/session', {
        method: 'POST',
        headers: { 'Content-Type': 'application/json' },
        body: JSON.stringify({ ticket: decodeURIComponent(ticket) }),
      });
      if (answer.ok) {
        const { token: fresh } = (await answer.json()) as { token: string };
        token = fresh;
        sessionStorage.setItem(storageKey, token);
        return 'ready';
      }
    } catch {
      return 'unreachable';
    }
  }
  token = sessionStorage.getItem(storageKey) ?? '';
  return token ? 'ready' : 'none';
}

export function forgetSession(): void {
  token = '';
  sessionStorage.removeItem(storageKey);
}

export function socketProtocol(): string {
  return `qs.${token}`;
}

/** A request with the session's token; fails with a sentence for the person. */
export async function request(path: string, init: RequestInit = {}): Promise<Response> {
  const headers = new Headers(init.headers);
  headers.set('X-Quillstead-Token', token);
  let answer: Response;
  try {
    answer = await fetch(path, { ...init, headers });
  } catch {
    throw new Error('The mail program does not answer.');
  }
  if (!answer.ok)
    throw new Error(complaint(answer.status, answer.headers.get('Content-Type') ?? '', await answer.text()));
  return answer;
}

/** Posts a file and tells how many of its bytes have left; answers what the host says. Fails as request() does. */
export function sendFile(
  path: string, headers: Record<string, string>, file: File, onProgress: (sent: number) => void, signal: AbortSignal,
): Promise<string> {
  return new Promise((done, fail) => {
    // Of all ways to send something only this one tells how far it is.
    const sending = new XMLHttpRequest();
    sending.open('POST', path);
    for (const [name, value] of Object.entries(headers)) sending.setRequestHeader(name, value);
    sending.setRequestHeader('X-Quillstead-Token', token);
    sending.upload.onprogress = (event) => onProgress(event.loaded);
    sending.onload = () => {
      if (sending.status >= 200 && sending.status < 300) done(sending.responseText);
      else fail(new Error(complaint(sending.status, sending.getResponseHeader('Content-Type') ?? '', sending.responseText)));
    };
    sending.onerror = () => fail(new Error('The mail program does not answer.'));
    sending.onabort = () => fail(new Error('It was stopped.'));
    signal.addEventListener('abort', () => sending.abort());
    sending.send(file);
  });
}

function complaint(status: number, type: string, answer: string): string {
  const text = answer.trim();
  if (type.startsWith('application/json')) {
    try {
      const told = (JSON.parse(text) as { error?: unknown }).error;
      if (typeof told === 'string') return told;
    } catch {
      // not JSON after all
    }
  }
  if (type.startsWith('text/plain') && text && text.length < 300) return text;
  return `The mail program refused this (${status}).`;
}

/** Whether the host still knows this session: the answer to a lost WebSocket tells nothing about why. */
export async function sessionIsKnown(): Promise<'yes' | 'no' | 'unreachable'> {
  try {
    const answer = await fetch('/images/mail', { headers: { 'X-Quillstead-Token': token }, cache: 'no-store' });
    return answer.status === 401 || answer.status === 403 ? 'no' : 'yes';
  } catch {
    return 'unreachable';
  }
}
