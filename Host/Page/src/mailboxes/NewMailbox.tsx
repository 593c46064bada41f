// A small form at the foot of the mailboxes, hidden behind a button until it is wanted.
import { useLayoutEffect, useRef, useState } from 'preact/hooks';
import { call, complain } from '../actions';
import { Icon } from '../base/Icon';
import type { AccountModel } from '../protocol';

export function NewMailbox({ accounts }: { accounts: AccountModel[] }) {
  const [open, setOpen] = useState(false);
  const [name, setName] = useState('');
  const [account, setAccount] = useState(accounts[0]?.id ?? '');
  const field = useRef<HTMLInputElement>(null);
  useLayoutEffect(() => {
    if (open) field.current?.focus();
  }, [open]);
  const close = (): void => {
    setOpen(false);
    setName('');
  };
  const create = (): void => {
    if (!name.trim()) return;
    call('mailbox.create', { account, name: name.trim() }).then(close, complain);
  };
  if (!open)
    return (
      <button type="button" class="plain-button new-mailbox" onClick={() => setOpen(true)}>
        <Icon name="plus" size={14} /> New mailbox
      </button>
    );
  return (
    <form
      class="new-mailbox-form"
      onSubmit={(event) => {
        event.preventDefault();
        create();
      }}
      onKeyDown={(event) => event.key === 'Escape' && close()}
    >
      <label>
        <span class="field-label">Name of the new mailbox</span>
        <input
          type="text" value={name} onInput={(event) => setName(event.currentTarget.value)}
          ref={field}
        />
      </label>
      {accounts.length > 1 && (
        <select aria-label="Account" value={account} onChange={(event) => setAccount(event.currentTarget.value)}>
          {accounts.map((each) => (
            <option key={each.id} value={each.id}>{each.name}</option>
          ))}
        </select>
      )}
      <p class="form-buttons">
        <button type="button" class="button" onClick={close}>Cancel</button>
        <button type="submit" class="button default" disabled={!name.trim()}>Create</button>
      </p>
    </form>
  );
}
