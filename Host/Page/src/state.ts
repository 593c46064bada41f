// All that the page draws: `host` holds the models as the host sent them last, `ui` what only this page knows.
import { Store } from './base/Store';
import type { Id, Sections, Value } from './protocol';

const nothing: Sections = {
  app: { title: 'Mail', icon: '', notices: [], waiting: 0, version: '', watchesModifiers: false, notifies: false },
  menu: [],
  accounts: [],
  list: { mailbox: '', title: '', total: 0, offset: 0, rows: [], selected: [], search: '', emptyText: '' },
  message: null,
  viewer: { toolbar: [], selectedCount: 0 },
  compose: [],
  taken: [],
  alerts: [],
  popovers: [],
  status: [],
  preferences: { visible: false, modules: [], selected: '' },
};

export type Link =
  | 'connecting' // for the first time
  | 'open'
  | 'lost' // was open; the page tries again
  | 'noSession'
  | 'ended' // the host forgot the session while the page was in use
  | 'goodbye'; // the host said that it stops

export type Pane = 'mailboxes' | 'list' | 'message';
export type ComposeShape = 'normal' | 'minimised' | 'maximised';

export interface Toast {
  id: number;
  text: string;
  kind: 'notice' | 'error';
}

export interface Ui {
  link: Link;
  linkText: string;
  loaded: boolean; // the first update came
  pane: Pane; // which one a narrow page shows
  drawer: boolean; // the mailboxes lie over the list on a page of middling width
  selection: Id[] | null; // what was chosen here and not yet confirmed; null: as the host says
  shapes: Record<string, ComposeShape>; // by compose window
  front: string; // the compose window in front; empty: the viewer
  toasts: Toast[];
  beeps: number; // counts
  shortcutSheet: boolean;
  source: Id | null; // the message whose source is shown
  palette: string; // the compose window that wants a symbol; empty: none
  announcement: string; // for screen readers
}

export const host = new Store<Sections>(nothing);
export const ui = new Store<Ui>({
  link: 'connecting',
  linkText: '',
  loaded: false,
  pane: 'list',
  drawer: false,
  selection: null,
  shapes: {},
  front: '',
  toasts: [],
  beeps: 0,
  shortcutSheet: false,
  source: null,
  palette: '',
  announcement: '',
});

/** Does it each time the connection comes to stand. */
export function onConnected(action: () => void): void {
  let stood = false;
  ui.subscribe(() => {
    const stands = ui.get().link === 'open';
    const isNews = stands && !stood;
    stood = stands;
    if (isNews) action();
  });
}

let lastToast = 0;

export function toast(text: string, kind: Toast['kind'] = 'notice'): void {
  const id = ++lastToast;
  ui.set({ toasts: [...ui.get().toasts, { id, text, kind }] });
  setTimeout(() => dropToast(id), kind === 'error' ? 12000 : 6000);
}

export function dropToast(id: number): void {
  ui.set({ toasts: ui.get().toasts.filter((each) => each.id !== id) });
}

export function announce(text: string): void {
  ui.set({ announcement: text });
}

/** Dates travel as {"$date": seconds}; null for anything else. */
export function dateOf(value: Value): Date | null {
  if (value === null || typeof value !== 'object' || Array.isArray(value)) return null;
  const seconds = value['$date'];
  return typeof seconds === 'number' ? new Date(seconds * 1000) : null;
}
