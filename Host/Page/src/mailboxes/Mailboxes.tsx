// The list of accounts and their mailboxes, a tree for each, through which the arrow keys walk. Messages and mailboxes can
// be dropped on it. What else can be done with a mailbox is in its menu, whose keys work without opening it.
import { useId, useRef, useState } from 'preact/hooks';
import { act, call, complain } from '../actions';
import { useStore } from '../base/Store';
import { isMac } from '../keys/platform';
import { itemForPress } from '../keys/shortcuts';
import { HostMenu, pointAt } from '../menus/HostMenu';
import type { AccountModel, MenuItemModel } from '../protocol';
import { host, ui } from '../state';
import { useFolded, type Folded } from './folded';
import { MailboxRow } from './MailboxRow';
import { NewMailbox } from './NewMailbox';
import { SyncLine } from './SyncLine';
import { treeRows } from './tree';

function choose(id: string): void {
  act('mailbox.select', { id });
  ui.set({ pane: 'list', drawer: false });
}

/** What the mailbox's menu does at that key. */
async function pressInMenu(id: string, press: Pick<KeyboardEvent, 'key' | 'code' | 'shiftKey' | 'ctrlKey' | 'altKey' | 'metaKey'>): Promise<void> {
  const answer = await call('mailbox.menu', { id });
  const items = (answer as unknown as { items: MenuItemModel[] } | null)?.items ?? [];
  const item = itemForPress(items, press, isMac, false);
  if (item) await call('menu.choose', { item: item.id, menu: 'context' });
}

export function Mailboxes() {
  const accounts = useStore(host, (model) => model.accounts);
  const current = useStore(host, (model) => model.list.mailbox);
  const trees = useRef<HTMLDivElement>(null);
  const folded = useFolded();
  const [menu, setMenu] = useState<{ id: string; x: number; y: number } | null>(null);
  const all = accounts.flatMap((account) => treeRows(account.mailboxes, folded.has).map(({ mailbox }) => mailbox));
  const focusable = all.some((mailbox) => mailbox.id === current) ? current : all[0]?.id;

  const onKeyDown = (event: KeyboardEvent): void => {
    const rows = [...(trees.current?.querySelectorAll<HTMLElement>('[role="treeitem"][data-mailbox]') ?? [])];
    const at = rows.indexOf(document.activeElement as HTMLElement);
    if (at < 0) return;
    const id = rows[at]?.dataset['mailbox'] ?? '';
    const open = rows[at]?.getAttribute('aria-expanded');
    const isGroup = all.find((mailbox) => mailbox.id === id)?.kind === 'group';
    let next = at;
    if (event.key === 'ArrowDown') next = Math.min(at + 1, rows.length - 1);
    else if (event.key === 'ArrowUp') next = Math.max(at - 1, 0);
    else if (event.key === 'Home') next = 0;
    else if (event.key === 'End') next = rows.length - 1;
    else if (event.key === 'ArrowRight' && open === 'false') folded.set(id, false);
    else if (event.key === 'ArrowRight' && open === 'true') next = at + 1;
    else if (event.key === 'ArrowLeft' && open === 'true') folded.set(id, true);
    else if (event.key === 'ArrowLeft') next = parentOf(rows, at);
    else if (event.key === 'Enter' || event.key === ' ') {
      if (isGroup) folded.set(id, open === 'true');
      else choose(id);
    } else if (event.key === 'F2' || event.key === 'Delete') {
      const { key, code, shiftKey, ctrlKey, altKey, metaKey } = event;
      if (!isGroup) pressInMenu(id, { key, code, shiftKey, ctrlKey, altKey, metaKey }).catch(complain);
    } else return;
    rows[next]?.focus();
    event.preventDefault();
  };

  return (
    <nav class="pane mailboxes" aria-label="Mailboxes" data-pane="mailboxes" data-part>
      <div ref={trees} class="trees" onKeyDown={onKeyDown}>
        {accounts.map((account) => (
          <Account
            key={account.id} account={account} current={current} focusable={focusable} single={accounts.length === 1}
            folded={folded} onMenu={(id, x, y) => setMenu({ id, x, y })}
          />
        ))}
      </div>
      {accounts.length > 0 && <NewMailbox accounts={accounts} />}
      {menu && (
        <HostMenu
          key={`${menu.x} ${menu.y} ${menu.id}`} ask={() => call('mailbox.menu', { id: menu.id })}
          place={{ menu: 'context' }} label="Actions for the mailbox" anchor={pointAt(menu.x, menu.y)} onClose={() => setMenu(null)}
        />
      )}
    </nav>
  );
}

function parentOf(rows: HTMLElement[], at: number): number {
  const level = Number(rows[at]?.getAttribute('aria-level'));
  for (let row = at - 1; row >= 0; --row) {
    const other = Number(rows[row]?.getAttribute('aria-level'));
    if (other < level) return row;
  }
  return at;
}

interface AccountProps {
  account: AccountModel;
  current: string;
  focusable: string | undefined;
  single: boolean;
  folded: Folded;
  onMenu(id: string, x: number, y: number): void;
}

function Account({ account, current, focusable, single, folded, onMenu }: AccountProps) {
  const name = useId();
  const isNested = account.mailboxes.some((mailbox) => mailbox.depth > 0);
  return (
    <div class="account">
      <h2 id={name} class={`account-name${single ? ' visually-hidden' : ''}`} title={account.address}>{account.name}</h2>
      {account.sync && <SyncLine account={account.id} sync={account.sync} />}
      <div role="tree" aria-labelledby={name}>
        {treeRows(account.mailboxes, folded.has).map((row) => (
          <MailboxRow
            key={row.mailbox.id} row={row} account={account.id} isNested={isNested} current={row.mailbox.id === current}
            focusable={row.mailbox.id === focusable} onChoose={choose} onFold={folded.set} onMenu={onMenu}
          />
        ))}
      </div>
    </div>
  );
}
