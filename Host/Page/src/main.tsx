// The page's entry: opens the session, keeps the connection, draws.
import { render } from 'preact';
import { act, complain, flushEdits, hasUnsentEdits, receive, setConnection } from './actions';
import { Connection } from './connection';
import { followAppearance } from './base/appearance';
import { listenForKeys } from './keys/keyboard';
import { watchModifiers } from './keys/modifiers';
import { keepPaneHistory } from './layout/paneHistory';
import { watchNewMail } from './notifications';
import { App } from './layout/App';
import { forgetSession, openSession } from './session';
import { ui } from './state';
import './styles/main.css';

function reportActivity(): void {
  const active = document.visibilityState === 'visible' && document.hasFocus();
  if (ui.get().link === 'open') act('app.active', { active });
}

const connection = new Connection({
  opened() {
    ui.set({ link: 'open', linkText: '', selection: null });
    reportActivity();
    flushEdits();
  },
  received: receive,
  lost() {
    if (ui.get().link !== 'goodbye') ui.set({ link: ui.get().loaded ? 'lost' : 'connecting' });
  },
  sessionEnded() {
    forgetSession();
    // What is still in a window and never arrived can at least be copied.
    ui.set({ link: ui.get().loaded ? 'ended' : 'noSession' });
  },
});

async function start(): Promise<void> {
  setConnection(connection);
  const root = document.getElementById('page');
  if (!root) throw new Error('index.html has no element "page"');
  render(<App />, root);
  listenForKeys();
  watchModifiers();
  keepPaneHistory();
  followAppearance();
  watchNewMail();
  const state = await openSession();
  if (state !== 'ready') {
    ui.set({ link: 'noSession' });
    return;
  }
  connection.connect();
  window.addEventListener('focus', reportActivity);
  window.addEventListener('blur', reportActivity);
  document.addEventListener('visibilitychange', reportActivity);
  window.addEventListener('pagehide', flushEdits);
  window.addEventListener('beforeunload', (event) => {
    flushEdits();
    if (hasUnsentEdits()) event.preventDefault();
  });
  // A file that misses its target must not replace the page.
  for (const type of ['dragover', 'drop'] as const)
    window.addEventListener(type, (event) => {
      if (!event.defaultPrevented && event.dataTransfer?.types.includes('Files')) event.preventDefault();
    });
}

start().catch(complain);
