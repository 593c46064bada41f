// Above the list: where one is, how much there is, and the search field.
import { useEffect, useRef, useState } from 'preact/hooks';
import { act, signals } from '../actions';
import { Icon } from '../base/Icon';
import type { ListModel } from '../protocol';
import { ui } from '../state';

const pause = 200; // milliseconds without typing before a search starts

export function ListHeader({ list, selectedCount }: { list: ListModel; selectedCount: number }) {
  const total = list.total.toLocaleString('en-GB');
  const count = list.total === 1 ? '1 message' : list.more ? `more than ${total} messages` : `${total} messages`;
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

function SearchField({ list }: { list: ListModel }) {
  const [text, setText] = useState(list.search);
  const timer = useRef(0);
  const sent = useRef(list.search);
  const field = useRef<HTMLInputElement>(null);
  const [focused, setFocused] = useState(false);
  useEffect(() => {
    signals.find = () => {
      ui.set({ pane: 'list' });
      field.current?.focus();
      field.current?.select();
    };
  }, []);
  useEffect(() => {
    // The host empties the search when another mailbox is chosen.
    if (list.search !== sent.current) {
      sent.current = list.search;
      setText(list.search);
    }
  }, [list.search, list.mailbox]);
  const search = (next: string, wait: number): void => {
    setText(next);
    window.clearTimeout(timer.current);
    timer.current = window.setTimeout(() => {
      sent.current = next;
      act('list.search', { text: next });
    }, wait);
  };
  return (
    <div class="search" role="search">
      <Icon name="search" />
      <input
        ref={field} type="search" aria-label="Search messages" placeholder="Search" value={text} spellcheck={false}
        aria-describedby={focused && !text ? 'search-hint' : undefined} onFocus={() => setFocused(true)} onBlur={() => setFocused(false)}
        onInput={(event) => search(event.currentTarget.value, pause)}
        onKeyDown={(event) => {
          if (event.key === 'Escape' && text) {
            search('', 0);
            event.preventDefault();
          } else if (event.key === 'Escape' || event.key === 'ArrowDown') {
            document.querySelector<HTMLElement>('.list-scroller')?.focus();
            event.preventDefault();
          } else if (event.key === 'Enter') search(text, 0);
        }}
      />
      {focused && !text && <SearchHint />}
      {text && (
        <button type="button" class="plain-button" aria-label="Clear the search" onClick={() => search('', 0)}>
          <Icon name="close" size={12} />
        </button>
      )}
    </div>
  );
}

const operators: [string, string][] = [
  ['from:ada  to:ben', 'who wrote it, who got it'],
  ['subject:plan  "two words"', 'in the subject; words side by side'],
  ['has:attachment', 'with files'],
  ['is:unread  is:flagged', 'not read yet; flagged'],
  ['after:2026-03  before:7d  on:yesterday', 'when it came'],
  ['in:sent  in:all', 'in another mailbox, or everywhere'],
  ['-word', 'not with that'],
];

function SearchHint() {
  return (
    <dl id="search-hint" class="search-hint">
      {operators.map(([example, meaning]) => (
        <div key={example}>
          <dt>{example}</dt>
          <dd>{meaning}</dd>
        </div>
      ))}
    </dl>
  );
}
