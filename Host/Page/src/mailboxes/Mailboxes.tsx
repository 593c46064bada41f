// The list of accounts and their mailboxes, a tree for each, through which the arrow keys walk. Messages can be dropped on it.
import { useId, useRef } from 'preact/hooks';
import { act } from '../actions';
import { useStore } from '../base/Store';
import type { AccountModel } from '../protocol';
import { host, ui } from '../state';
import { MailboxRow } from './MailboxRow';
import { NewMailbox } from './NewMailbox';
import { SyncLine } from './SyncLine';

function choose(id: string): void {
  act('mailbox.select', { id });
  ui.set({ pane: 'list', drawer: false });
}

export function Mailboxes() {
  const accounts = useStore(host, (model) => model.accounts);
  const current = useStore(host, (model) => model.list.mailbox);
  const trees = useRef<HTMLDivElement>(null);
  const all = accounts.flatMap((account) => account.mailboxes);
  const focusable = all.some((mailbox) => mailbox.id === current) ? current : all[0]?.id;

  const onKeyDown = (event: KeyboardEvent): void => {
    const rows = [...(trees.current?.querySelectorAll<HTMLElement>('[role="treeitem"][data-mailbox]') ?? [])];
    const at = rows.indexOf(document.activeElement as HTMLElement);
    if (at < 0) return;
    let next = at;
    if (event.key === 'ArrowDown') next = Math.min(at + 1, rows.length - 1);
    else if (event.key === 'ArrowUp') next = Math.max(at - 1, 0);
    else if (event.key === 'Home') next = 0;
    else if (event.key === 'End') next = rows.length - 1;
    else if (event.key === 'Enter' || event.key === ' ') choose(rows[at]?.dataset['mailbox'] ?? '');
    else return;
    rows[next]?.focus();
    event.preventDefault();
  };

  return (
    <nav class="pane mailboxes" aria-label="Mailboxes" data-pane="mailboxes" data-part>
      <div ref={trees} class="trees" onKeyDown={onKeyDown}>
        {accounts.map((account) => (
          <Account key={account.id} account={account} current={current} focusable={focusable} single={accounts.length === 1} />
        ))}
      </div>
      {accounts.length > 0 && <NewMailbox accounts={accounts} />}
    </nav>
  );
}

interface AccountProps {
  account: AccountModel;
  current: string;
  focusable: string | undefined;
  single: boolean;
}

function Account({ account, current, focusable, single }: AccountProps) {
  const name = useId();
  return (
    <div class="account">
      <h2 id={name} class={`account-name${single ? ' visually-hidden' : ''}`} title={account.address}>{account.name}</h2>
      {account.sync && <SyncLine account={account.id} sync={account.sync} />}
      <div role="tree" aria-labelledby={name}>
        {account.mailboxes.map((mailbox) => (
          <MailboxRow
            key={mailbox.id} mailbox={mailbox} current={mailbox.id === current} focusable={mailbox.id === focusable}
            onChoose={choose}
          />
        ))}
      </div>
    </div>
  );
}
