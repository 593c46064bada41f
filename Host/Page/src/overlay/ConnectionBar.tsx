// Says calmly that the mail program is not there, and what that means.
import { retryConnection } from '../actions';
import { useStore } from '../base/Store';
import { ui } from '../state';

export function ConnectionBar() {
  const link = useStore(ui, (value) => value.link);
  const told = useStore(ui, (value) => value.linkText);
  if (link !== 'lost' && link !== 'goodbye' && link !== 'ended') return null;
  const text = {
    goodbye: told || 'The mail program has stopped.',
    lost: 'The mail program does not answer. This page goes on as soon as it is back.',
    ended: 'The mail program was started anew. Please open the link that it printed; what you see here no longer changes.',
  }[link];
  return (
    <div class="connection-bar" role="status">
      <span>{text}</span>
      {link !== 'ended' && (
        <button type="button" class="small-button" onClick={retryConnection}>Try now</button>
      )}
    </div>
  );
}
