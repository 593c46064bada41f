// What the page shows outside of itself: the tab's title, with the number of unread messages, and its icon.
import { host } from '../state';

export function followAppearance(): void {
  let shown = '';
  let icon = '';
  host.subscribe(() => {
    const { app, accounts } = host.get();
    const inboxes = accounts.flatMap((account) => account.mailboxes).filter((mailbox) => mailbox.kind === 'inbox');
    const unread = inboxes.reduce((sum, mailbox) => sum + mailbox.unread, 0);
    const title = `${unread > 0 ? `(${unread}) ` : ''}${app.title || 'Mail'}`;
    if (title !== shown) document.title = shown = title;
    if (app.icon !== icon) showIcon((icon = app.icon));
  });
}

function showIcon(icon: string): void {
  const link = document.querySelector<HTMLLinkElement>('link[rel="icon"]');
  if (!link) return;
  if (!icon) link.href = 'favicon.svg';
  else link.href = icon.startsWith('data:image/') ? icon : `data:image/svg+xml,${encodeURIComponent(icon)}`;
}
