// The rows of an account's tree of mailboxes, as far as its branches are open.
import type { MailboxModel } from '../protocol';

export interface TreeRow {
  mailbox: MailboxModel;
  hasChildren: boolean;
  folded: boolean;
  unreadBelow: number; // in what is folded away
}

export function treeRows(mailboxes: MailboxModel[], isFolded: (id: string) => boolean): TreeRow[] {
  const rows: TreeRow[] = [];
  let under: TreeRow | null = null; // the folded row that hides what follows
  mailboxes.forEach((mailbox, index) => {
    if (under && mailbox.depth > under.mailbox.depth) {
      under.unreadBelow += mailbox.unread;
      return;
    }
    const hasChildren = (mailboxes[index + 1]?.depth ?? 0) > mailbox.depth;
    const row = { mailbox, hasChildren, folded: hasChildren && isFolded(mailbox.id), unreadBelow: 0 };
    rows.push(row);
    under = row.folded ? row : null;
  });
  return rows;
}
