// Above the list: where one is, how much there is, and the search field.
import { Icon } from '../base/Icon';
import type { ListModel } from '../protocol';
import { ui } from '../state';
import { SearchField } from './SearchField';

export function ListHeader({ list, selectedCount }: { list: ListModel; selectedCount: number }) {
  const number = list.conversations ?? list.total;
  const total = number.toLocaleString('en-GB');
  const one = list.conversations === undefined ? 'message' : 'conversation';
  const count = number === 1 ? `1 ${one}` : list.more ? `more than ${total} ${one}s` : `${total} ${one}s`;
  return (
    <div class="list-header">
      <button
        type="button" class="plain-button list-back" aria-label="Mailboxes"
        onClick={() => ui.set({ pane: 'mailboxes', drawer: true })}
      >
        <Icon name="back" />
      </button>
      <div class="list-heading">
        <h1>{list.title || 'Messages'}</h1>
        <p>{selectedCount > 1 ? `${selectedCount} of ${count} selected` : count}</p>
      </div>
      <SearchField list={list} />
    </div>
  );
}
