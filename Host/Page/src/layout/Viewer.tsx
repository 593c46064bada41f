// The viewer: menu bar, toolbar and the three panes. A page of middling width lays the mailboxes over the list, a narrow
// one shows one pane at a time (the sizes at which that happens are in layout.css).
import { useState } from 'preact/hooks';
import { act } from '../actions';
import { Icon } from '../base/Icon';
import { saveNumber, savedNumber } from '../base/savedNumber';
import { useStore } from '../base/Store';
import { MessageList } from '../list/MessageList';
import { Mailboxes } from '../mailboxes/Mailboxes';
import { MenuBar, MenuButton } from '../menus/MenuBar';
import { Alerts } from '../overlay/Alerts';
import { Sheet } from '../overlay/Sheet';
import { ReadingPane } from '../reading/ReadingPane';
import { host, ui } from '../state';
import { Divider } from './Divider';
import { StatusItems } from './StatusItems';
import { Toolbar } from './Toolbar';

export function Viewer() {
  const viewer = useStore(host, (model) => model.viewer);
  const pane = useStore(ui, (value) => value.pane);
  const drawer = useStore(ui, (value) => value.drawer);
  const [mailboxWidth, setMailboxWidth] = usePaneWidth('mailboxes', 216);
  const [listWidth, setListWidth] = usePaneWidth('list', 392);
  const widths = { '--mailboxes-width': `${mailboxWidth}px`, '--list-width': `${listWidth}px` };
  return (
    <div
      class={`viewer show-${pane}${drawer ? ' drawer-open' : ''}`} style={widths}
      onFocusIn={({ target }) => {
        // The menus are those of the program: they mean what was in front before one went there.
        if (ui.get().front === '' || (target as Element).closest('[role="menubar"], .menu-button, .menu')) return;
        ui.set({ front: '' });
        act('compose.front', { window: '' });
      }}
    >
      <header class="bars">
        <TitleBar />
        <Toolbar window="viewer" label="Mail" items={viewer.toolbar} prominent="compose" />
      </header>
      <main class="panes">
        <div id="pane-mailboxes" class="pane-box mailboxes-box">
          <Mailboxes />
        </div>
        <div class="drawer-backdrop" onClick={() => ui.set({ drawer: false })} />
        <Divider
          label="Width of the mailboxes" controls="pane-mailboxes" size={mailboxWidth} minimum={150} maximum={400}
          onResize={setMailboxWidth}
        />
        <div id="pane-list" class="pane-box list-box">
          <MessageList />
        </div>
        <Divider
          label="Width of the list" controls="pane-list" size={listWidth} minimum={260} maximum={800} onResize={setListWidth}
        />
        <div class="pane-box reading-box">
          <ReadingPane />
        </div>
      </main>
      {viewer.sheet && <Sheet window="viewer" form={viewer.sheet} />}
      <Alerts window="viewer" />
    </div>
  );
}

function TitleBar() {
  const title = useStore(host, (model) => model.app.title);
  const waiting = useStore(host, (model) => model.app.waiting);
  return (
    <div class="titlebar">
      <span class="wordmark" title={title}>
        <Icon name="mark" size={18} />
      </span>
      <MenuButton />
      <MenuBar />
      <span class="titlebar-gap" data-anchor="title:viewer" />
      <Doubts />
      {waiting > 0 && (
        <span class="waiting" role="status">
          <Icon name="clock" size={14} /> {waiting}
          <span class="waiting-words">{waiting === 1 ? 'message waits' : 'messages wait'} to be sent</span>
        </span>
      )}
      <StatusItems />
    </div>
  );
}

/** Leads to the outbox, where messages wait that were perhaps sent. */
function Doubts() {
  const taken = useStore(host, (model) => model.taken);
  const outbox = useStore(
    host,
    (model) => model.accounts.flatMap((account) => account.mailboxes).find((mailbox) => mailbox.kind === 'outbox')?.id,
  );
  const count = taken.filter((each) => each.delivery.state === 'inDoubt').length;
  if (count === 0) return null;
  const show = (): void => {
    if (outbox) act('mailbox.select', { id: outbox });
    ui.set({ pane: 'list', drawer: false });
  };
  return (
    <button type="button" class="small-button doubts" onClick={show}>
      <Icon name="warning" size={14} /> {count === 1 ? '1 message was' : `${count} messages were`} perhaps sent
    </button>
  );
}

function usePaneWidth(name: string, initial: number): [number, (width: number) => void] {
  const [width, setWidth] = useState(() => savedNumber(`width.${name}`, initial));
  const keep = (next: number): void => {
    setWidth(next);
    saveNumber(`width.${name}`, next);
  };
  return [width, keep];
}
