// Above the outbox's list: messages that a delivery has taken out of it. One whose outcome nobody knows waits here for the
// person's word; it is never sent again unasked.
import { act } from '../actions';
import { useStore } from '../base/Store';
import type { TakenMessage } from '../protocol';
import { host } from '../state';
import { describeDelivery } from './describeDelivery';

export function Taken() {
  const taken = useStore(host, (model) => model.taken);
  if (taken.length === 0) return null;
  return (
    <ul class="taken" aria-label="Messages that are being sent">
      {taken.map((message) => (
        <TakenRow key={message.uniqueID} message={message} />
      ))}
    </ul>
  );
}

function TakenRow({ message: { uniqueID, subject, to, delivery } }: { message: TakenMessage }) {
  const resolve = (choice: 'sendAgain' | 'markSent'): void => act('message.resolveDoubt', { uniqueID, choice });
  return (
    <li class={`taken-row delivery-${delivery.state}`}>
      <p class="taken-to">{to}</p>
      <p class="taken-subject">{subject || '(No subject)'}</p>
      <p class="delivery-text">{describeDelivery(delivery)}</p>
      {delivery.state === 'inDoubt' && (
        <p class="taken-choice">
          <button type="button" class="small-button" onClick={() => resolve('sendAgain')}>Send again</button>
          <button type="button" class="small-button" onClick={() => resolve('markSent')}>It was sent</button>
        </p>
      )}
    </li>
  );
}
