import type { Delivery } from '../protocol';

const states: Record<Delivery['state'], string> = {
  waiting: 'Waiting to be sent',
  sending: 'Sending',
  failed: 'Not sent',
  inDoubt: 'Perhaps sent',
};

/** One line: the state, how often it was tried, what was answered last. */
export function describeDelivery(delivery: Delivery): string {
  const tries = delivery.attempts === 0 ? '' : delivery.attempts === 1 ? '1 attempt' : `${delivery.attempts} attempts`;
  return [states[delivery.state], tries, delivery.lastAnswer].filter(Boolean).join(' · ');
}
