import { useState } from 'preact/hooks';
import { act } from '../actions';
import { Icon } from '../base/Icon';
import { messagesType } from '../list/MessageRowView';
import type { Id, MailboxModel } from '../protocol';

interface Props {
  mailbox: MailboxModel;
  current: boolean;
  focusable: boolean;
  onChoose(id: string): void;
}

const pictures: Record<MailboxModel['kind'], string> = {
  inbox: 'inbox', drafts: 'drafts', outbox: 'outbox', sent: 'sent', archive: 'archive', junk: 'junk', trash: 'trash',
  user: 'folder',
};
export function MailboxRow({ mailbox, current, focusable, onChoose }: Props) {
  const [over, setOver] = useState(false);
  const badge = mailbox.badge > 0 ? String(mailbox.badge) : '';
  const meaning = mailbox.badge === mailbox.unread ? `${badge} unread` : `${badge} messages`;
  const accepts = (event: DragEvent): boolean => mailbox.takesDrops && (event.dataTransfer?.types.includes(messagesType) ?? false);
  return (
    <div
      class={`mailbox${current ? ' current' : ''}${over ? ' over' : ''}`} role="treeitem" aria-level={1 + mailbox.depth}
      aria-selected={current} aria-current={current ? 'true' : undefined} tabIndex={focusable ? 0 : -1}
      data-mailbox={mailbox.id} data-anchor={`mailbox:${mailbox.id}`} style={{ paddingInlineStart: 12 + mailbox.depth * 16 }}
      onClick={() => onChoose(mailbox.id)}
      onDragOver={(event) => {
        if (!accepts(event)) return;
        event.preventDefault();
        if (event.dataTransfer) event.dataTransfer.dropEffect = 'move';
        setOver(true);
      }}
      onDragLeave={() => setOver(false)}
      onDrop={(event) => {
        setOver(false);
        const dragged = accepts(event) && event.dataTransfer?.getData(messagesType);
        if (!dragged) return;
        event.preventDefault();
        act('message.move', { ids: JSON.parse(dragged) as Id[], mailbox: mailbox.id });
      }}
    >
      <Icon name={mailbox.image || pictures[mailbox.kind]} />
      <span class="mailbox-name">{mailbox.name}</span>
      {badge && <span class={`mailbox-badge${mailbox.kind === 'inbox' ? ' strong' : ''}`} aria-hidden="true">{badge}</span>}
      {badge && <span class="visually-hidden">{meaning}</span>}
    </div>
  );
}
