// Says calmly that the mail program is not there, and what that means.
import { retryConnection } from '../actions';
import { useStore } from '../base/Store';
import { ui } from '../state';

export function ConnectionBar() {
  const link = useStore(ui, (value) => value.link);
  const told = useStore(ui, (value) => value.linkText);
  if (link !== 'lost' && link !== 'goodbye') return null;
  const text =
    link === 'goodbye'
      ? told || 'The mail program has stopped.'
      : 'The mail program does not answer. This page goes on as soon as it is back.';
  return (
    <div class="connection-bar" role="status">
      <span>{text}</span>
      <button type="button" class="small-button" onClick={retryConnection}>Try now</button>
    </div>
  );
}
