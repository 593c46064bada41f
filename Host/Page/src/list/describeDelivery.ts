import type { Delivery } from '../protocol';

const states: Record<Delivery['state'], string> = {
  waiting: 'Waiting to be sent',
  sending: 'Sending',
  failed: 'Not sent',
  inDoubt: 'Perhaps sent',
};

/** One line: the state, until when it lasts, how often it was tried, what was answered last. */
export function describeDelivery({ state, attempts, lastAnswer, until, reachedSome }: Delivery): string {
  const tries = attempts === 0 ? '' : attempts === 1 ? '1 attempt' : `${attempts} attempts`;
  if (state === 'waiting' && until) return [`Waiting until ${until}`, tries, lastAnswer].filter(Boolean).join(' · ');
  const name = state === 'failed' && reachedSome ? 'Sent to some' : states[state];
  return [name, tries, until && `next attempt ${until}`, lastAnswer].filter(Boolean).join(' · ');
}
