// What the page shows outside of itself: the tab's title and icon.
import { host } from '../state';

export function followAppearance(): void {
  let shown = host.get().app;
  const follow = (): void => {
    const { app } = host.get();
    if (app === shown) return;
    shown = app;
    document.title = app.title || 'Mail';
    const link = document.querySelector<HTMLLinkElement>('link[rel="icon"]');
    if (link && app.icon) link.href = iconAddress(app.icon);
  };
  host.subscribe(follow);
}

function iconAddress(icon: string): string {
  return icon.startsWith('data:image/') ? icon : `data:image/svg+xml,${encodeURIComponent(icon)}`;
}
