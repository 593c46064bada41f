// Pictures of people, by mail address. They are asked for when somebody is drawn, many at a time, and kept for a while;
// whoever has scrolled by before the question goes out is not asked for.
import { useEffect, useReducer } from 'preact/hooks';
import { call, signals } from '../actions';
import { ConnectionLost } from '../connection';
import { onConnected } from '../state';

const pause = 80; // milliseconds, in which questions gather
const fresh = 60_000; // milliseconds, after which a picture is asked for again when it is drawn anew
const most = 100; // in one question
const mostKept = 500;

interface Known {
  picture: string;
  asked: number;
}
const known = new Map<string, Known>();
const drawn = new Map<string, Set<() => void>>();
const wanted = new Set<string>();
let timer = 0;

/** A data URL; empty for none, or none yet. */
export function usePicture(address: string): string {
  const [, redraw] = useReducer((count: number) => count + 1, 0);
  useEffect(() => {
    if (!address) return undefined;
    const listener = (): void => redraw(0);
    const listeners = drawn.get(address) ?? new Set();
    drawn.set(address, listeners.add(listener));
    want(address);
    return () => {
      listeners.delete(listener);
      if (listeners.size === 0) drawn.delete(address);
    };
  }, [address]);
  return known.get(address)?.picture ?? '';
}

function want(address: string): void {
  const last = known.get(address);
  if (last && performance.now() - last.asked < fresh) return;
  wanted.add(address);
  askSoon();
}

function askSoon(): void {
  if (wanted.size > 0) timer ||= window.setTimeout(ask, pause);
}

function ask(): void {
  timer = 0;
  const now = [...wanted].filter((address) => drawn.has(address)).slice(0, most);
  for (const address of [...wanted]) if (!drawn.has(address) || now.includes(address)) wanted.delete(address);
  askSoon();
  if (now.length === 0) return;
  call('people.pictures', { addresses: now }).then(
    (answer) => keep(now, (answer as { pictures: Record<string, string> }).pictures),
    (error: unknown) => {
      // The initials stand until the host is back. What it refuses is asked again by the next one who is drawn.
      if (error instanceof ConnectionLost) for (const address of now) wanted.add(address);
    },
  );
}

function keep(addresses: string[], pictures: Record<string, string>): void {
  for (const address of addresses) {
    const picture = pictures[address] ?? '';
    const isNews = picture !== (known.get(address)?.picture ?? '');
    known.delete(address); // to the end of the order
    known.set(address, { picture, asked: performance.now() });
    if (isNews) for (const listener of drawn.get(address) ?? []) listener();
  }
  for (const address of known.keys()) {
    if (known.size <= mostKept) break;
    if (!drawn.has(address)) known.delete(address);
  }
}

onConnected(askSoon);

signals.picture = (address) => {
  const last = known.get(address);
  if (last) last.asked = -fresh;
  if (drawn.has(address)) want(address);
};
