// The right pane: one message, or a word about why there is none.
import { useStore } from '../base/Store';
import { host, ui } from '../state';
import { Icon } from '../base/Icon';
import { Message } from './Message';

export function ReadingPane() {
  const message = useStore(host, (model) => model.message);
  const told = useStore(host, (model) => model.viewer.selectedCount);
  const selection = useStore(ui, (value) => value.selection);
  const count = selection?.length ?? told;
  return (
    <section class="pane reading" aria-label="Message" data-pane="message" data-part tabIndex={-1}>
      <button type="button" class="plain-button reading-back" onClick={() => ui.set({ pane: 'list' })}>
        <Icon name="back" /> Back to the list
      </button>
      {count > 1 ? (
        <p class="reading-empty">{count} messages selected</p>
      ) : message ? (
        <Message key={message.id} message={message} />
      ) : (
        <p class="reading-empty">No message selected</p>
      )}
    </section>
  );
}
