// How far a waiting message has come: always shown, since it is the only place where a person sees that mail has not left.
import type { Delivery } from '../protocol';
import { describeDelivery } from './describeDelivery';

export function DeliveryLine({ delivery }: { delivery: Delivery }) {
  const text = describeDelivery(delivery);
  return <div class={`delivery-text delivery-${delivery.state}`} title={text}>{text}</div>;
}
