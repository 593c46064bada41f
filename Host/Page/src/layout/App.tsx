// The whole page: bars, panes, compose windows, and what lies over them.
import { useStore } from '../base/Store';
import { ComposeDock } from '../compose/ComposeDock';
import { Alerts } from '../overlay/Alerts';
import { Beep } from '../overlay/Beep';
import { ConnectionBar } from '../overlay/ConnectionBar';
import { EmojiPanel } from '../overlay/EmojiPanel';
import { Notices } from '../overlay/Notices';
import { Popovers } from '../overlay/Popovers';
import { Preferences } from '../overlay/Preferences';
import { ShortcutSheet } from '../overlay/ShortcutSheet';
import { SourceView } from '../reading/SourceView';
import { ui } from '../state';
import { Viewer } from './Viewer';
import { Welcome } from './Welcome';

export function App() {
  const link = useStore(ui, (value) => value.link);
  const loaded = useStore(ui, (value) => value.loaded);
  if (link === 'noSession' || !loaded) return <Welcome link={link} />;
  return (
    <>
      <ConnectionBar />
      <Viewer />
      <ComposeDock />
      <SourceView />
      <Preferences />
      <Popovers />
      <Alerts window="" />
      <ShortcutSheet />
      <EmojiPanel />
      <Notices />
      <Beep />
    </>
  );
}
