import { useRef, useState } from 'preact/hooks';
import { act } from '../actions';
import { Icon } from '../base/Icon';
import { useLongPress } from '../list/longPress';
import { messagesType } from '../list/MessageRowView';
import type { Id, MailboxModel } from '../protocol';
import type { TreeRow } from './tree';

/** The type of data that a dragged mailbox carries: its account, id and name. */
const mailboxType = 'application/x-quillstead-mailbox';

interface Props {
  row: TreeRow;
  account: string;
  isNested: boolean; // some mailbox of the account has others in it
  current: boolean;
  focusable: boolean;
  onChoose(id: string): void;
  onFold(id: string, folded: boolean): void;
  onMenu(id: string, x: number, y: number): void;
}

const pictures: Record<MailboxModel['kind'], string> = {
  inbox: 'inbox', drafts: 'drafts', outbox: 'outbox', sent: 'sent', archive: 'archive', junk: 'junk', trash: 'trash',
  user: 'folder', group: 'folder',
};

function badgeOf({ mailbox, folded, unreadBelow }: TreeRow): { text: string; meaning: string } {
  const number = mailbox.badge + (folded ? unreadBelow : 0);
  const isUnread = mailbox.badge === mailbox.unread;
  return { text: number > 0 ? String(number) : '', meaning: isUnread ? `${number} unread` : `${number} messages` };
}

interface DraggedMailbox {
  account: string;
  id: string;
  name: string;
}

export function MailboxRow({ row, account, isNested, current, focusable, onChoose, onFold, onMenu }: Props) {
  const { mailbox, hasChildren, folded } = row;
  const [over, setOver] = useState(false);
  const element = useRef<HTMLDivElement>(null);
  const isGroup = mailbox.kind === 'group';
  const { text: badge, meaning } = badgeOf(row);
  const longPress = useLongPress((x, y) => !isGroup && onMenu(mailbox.id, x, y));
  const accepts = (event: DragEvent): boolean => {
    const types = event.dataTransfer?.types ?? [];
    return (types.includes(messagesType) && mailbox.takesDrops) || (types.includes(mailboxType) && (isGroup || (mailbox.kind === 'user' && mailbox.takesDrops)));
  };
  const drop = (event: DragEvent): void => {
    setOver(false);
    if (!accepts(event)) return;
    const messages = event.dataTransfer?.getData(messagesType);
    const moved = event.dataTransfer?.getData(mailboxType);
    if (!messages && !moved) return;
    event.preventDefault();
    if (messages) return act('message.move', { ids: JSON.parse(messages) as Id[], mailbox: mailbox.id });
    const dragged = JSON.parse(moved ?? '') as DraggedMailbox;
    if (dragged.account === account && dragged.id !== mailbox.id)
      act('mailbox.rename', { id: dragged.id, name: `${mailbox.path}/${dragged.name}` });
  };
  return (
    <div
      ref={element} class={`mailbox${current ? ' current' : ''}${over ? ' over' : ''}${isGroup ? ' level' : ''}`} role="treeitem"
      aria-level={1 + mailbox.depth} aria-selected={current} aria-current={current ? 'true' : undefined}
      aria-expanded={hasChildren ? !folded : undefined} tabIndex={focusable ? 0 : -1} data-mailbox={mailbox.id}
      data-anchor={`mailbox:${mailbox.id}`} style={{ paddingInlineStart: (isNested ? 4 : 12) + mailbox.depth * 16 }}
      draggable={mailbox.kind === 'user'}
      onDragStart={(event) => {
        const dragged: DraggedMailbox = { account, id: mailbox.id, name: mailbox.name };
        event.dataTransfer?.setData(mailboxType, JSON.stringify(dragged));
      }}
      onClick={() => {
        if (longPress.fired()) return;
        if (isGroup) onFold(mailbox.id, !folded);
        else onChoose(mailbox.id);
      }}
      onPointerDown={longPress.onPointerDown} onPointerMove={longPress.onPointerMove} onPointerUp={longPress.cancel}
      onPointerCancel={longPress.cancel}
      onContextMenu={(event) => {
        event.preventDefault();
        if (isGroup || longPress.fired()) return;
        // From the keyboard the browser tells a place of its own liking.
        const box = element.current?.getBoundingClientRect();
        const isKey = event.button !== 2 && box !== undefined;
        onMenu(mailbox.id, isKey ? box.left + 40 : event.clientX, isKey ? box.bottom - 4 : event.clientY);
      }}
      onDragOver={(event) => {
        if (!accepts(event)) return;
        event.preventDefault();
        if (event.dataTransfer) event.dataTransfer.dropEffect = 'move';
        setOver(true);
      }}
      onDragLeave={() => setOver(false)}
      onDrop={drop}
    >
      {isNested && (
        <span
          class={`mailbox-fold${hasChildren ? '' : ' none'}${folded ? '' : ' open'}`} aria-hidden="true"
          onClick={(event) => {
            if (!hasChildren) return;
            event.stopPropagation();
            onFold(mailbox.id, !folded);
          }}
        >
          {hasChildren && <Icon name="chevron" size={12} />}
        </span>
      )}
      <Icon name={mailbox.image || pictures[mailbox.kind]} />
      <span class="mailbox-name" title={mailbox.path} dir="auto">{mailbox.name}</span>
      {badge && <span class={`mailbox-badge${mailbox.kind === 'inbox' ? ' strong' : ''}`} aria-hidden="true">{badge}</span>}
      {badge && <span class="visually-hidden">{meaning}</span>}
    </div>
  );
}
