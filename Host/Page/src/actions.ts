// What the page asks of the host. Everything goes through call() or act(), so that edits in compose windows that were not
// sent yet always arrive before an action that may depend on them.
import { Connection } from './connection';
import { host, toast, ui } from './state';
import type { Calls } from './calls';
import type { Id, ServerMessage, Value } from './protocol';

// Calls that no pending edit can matter to.
const unrelated = new Set<keyof Calls>([
  'app.active',
  'app.modifiers',
  'list.window',
  'menu.validate',
  'message.selectText',
  'compose.update',
  'compose.uploads',
  'compose.front',
  'addresses.complete',
  'people.pictures',
]);

let connection: Connection | null = null;
interface Holder {
  flush(): void; // sends what is held back
  unsent?(): boolean; // whether there is anything that the host does not have
}
const holders = new Set<Holder>();

export function setConnection(live: Connection): void {
  connection = live;
}

/** Answers the function that ends it. */
export function registerEdits(holder: Holder): () => void {
  holders.add(holder);
  return () => holders.delete(holder);
}

export function flushEdits(): void {
  for (const holder of holders) holder.flush();
}

export function hasUnsentEdits(): boolean {
  return [...holders].some((holder) => holder.unsent?.());
}

export function call<K extends keyof Calls>(name: K, args: Calls[K]): Promise<Value> {
  if (!connection) return Promise.reject(new Error('Not connected yet.'));
  if (!unrelated.has(name)) flushEdits();
  return connection.call(name, args);
}

/** For calls whose result is an update: a refusal is told to the person. */
export function act<K extends keyof Calls>(name: K, args: Calls[K]): void {
  call(name, args).catch(complain);
}

export function complain(error: unknown): void {
  toast(error instanceof Error ? error.message : String(error), 'error');
}

export function retryConnection(): void {
  connection?.connect();
}

export type NewMail = Extract<ServerMessage, { type: 'newMail' }>;

/** Messages of the host that are neither answers nor models are passed to these, set by who draws the thing. */
export const signals = {
  chooseFile: (_window: string): void => undefined,
  focusWindow: (_window: string): void => undefined,
  find: (): void => undefined,
  print: (_window: string): void => undefined,
  newMail: (_mail: NewMail): void => undefined,
  picture: (_address: string): void => undefined,
};

export function receive(message: ServerMessage): void {
  switch (message.type) {
    case 'update':
      host.set(message.sections);
      if (!ui.get().loaded) ui.set({ loaded: true });
      break;
    case 'beep':
      ui.set({ beeps: ui.get().beeps + 1 });
      break;
    case 'chooseFile':
      signals.chooseFile(message.window);
      break;
    case 'characterPalette':
      ui.set({ palette: message.window });
      break;
    case 'focus':
      signals.focusWindow(message.window);
      break;
    case 'find':
      signals.find();
      break;
    case 'print':
      signals.print(message.window);
      break;
    case 'read':
      ui.set({ pane: 'message', drawer: false });
      break;
    case 'source':
      ui.set({ source: host.get().message?.id ?? null });
      break;
    case 'newMail':
      signals.newMail(message);
      break;
    case 'picture':
      signals.picture(message.address);
      break;
    case 'goodbye':
      ui.set({ link: 'goodbye', linkText: message.text });
      break;
    case 'reply':
    case 'error':
      break; // the connection has dealt with them
  }
}

let selecting = false;

/** Shows the selection at once and tells the host; while one call is under way only the last selection waits. */
export function select(ids: Id[]): void {
  ui.set({ selection: ids });
  if (selecting) return;
  selecting = true;
  void (async () => {
    let sent: Id[] | null = null;
    while (sent !== ui.get().selection) {
      sent = ui.get().selection;
      try {
        await call('list.select', { ids: sent ?? [] });
      } catch (error) {
        complain(error);
        break;
      }
    }
    selecting = false;
    ui.set({ selection: null });
  })();
}

export function selectedIds(): Id[] {
  return ui.get().selection ?? host.get().list.selected;
}
