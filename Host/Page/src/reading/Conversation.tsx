// The conversation that the message stands in: a row for each of its messages, the shown one marked.
import { useLayoutEffect, useRef } from 'preact/hooks';
import { act } from '../actions';
import { Icon } from '../base/Icon';
import { Face } from '../people/Face';
import type { ConversationRow, Id } from '../protocol';

export function Conversation({ rows, shown }: { rows: ConversationRow[]; shown: Id }) {
  const list = useRef<HTMLOListElement>(null);
  useLayoutEffect(() => {
    const here = list.current?.querySelector<HTMLElement>('[aria-current]');
    if (list.current && here) list.current.scrollTop = here.offsetTop - list.current.clientHeight / 2 + here.offsetHeight / 2;
  }, [shown, rows.length]);
  return (
    <nav class="conversation" aria-label={`Conversation of ${rows.length} messages`}>
      <ol ref={list}>
        {rows.map((row) => (
          <li key={row.id}>
            <button
              type="button" class={`conversation-row${row.unread ? ' unread' : ''}`}
              aria-current={row.id === shown ? 'true' : undefined}
              onClick={() => row.id !== shown && act('message.showInConversation', { id: row.id })}
            >
              {row.person && <Face person={row.person} />}
              <span class="conversation-from" dir="auto">{row.from || 'Unknown sender'}</span>
              <span class="conversation-snippet" dir="auto">{row.snippet}</span>
              {row.mailbox && <span class="conversation-place">{row.mailbox}</span>}
              {row.attachments > 0 && <Icon name="attach" size={12} />}
              {row.unread && <span class="visually-hidden">unread</span>}
              <time title={row.dateLong}>{row.date}</time>
            </button>
          </li>
        ))}
      </ol>
    </nav>
  );
}
