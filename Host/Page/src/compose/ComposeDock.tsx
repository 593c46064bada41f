// The open compose windows: side by side at the foot of a wide page, one over everything on a narrow one. Minimised ones
// are tabs at the foot.
import { useEffect, useRef, useState } from 'preact/hooks';
import { act, signals } from '../actions';
import { focusOn } from '../base/focus';
import { useStore } from '../base/Store';
import { type ComposeShape, host, ui } from '../state';
import { ComposeWindow } from './ComposeWindow';
import { focusEditor } from './editors';
import { uploadAll } from './uploads';

// Pixels that an open window takes at least. Those that find no room are shown minimised until they come to the front.
const narrowest = 292;

export function setShape(window: string, shape: ComposeShape): void {
  ui.set({ shapes: { ...ui.get().shapes, [window]: shape } });
}

export function bringToFront(window: string): void {
  if (ui.get().front === window || !host.get().compose.some((each) => each.window === window)) return;
  ui.set({ front: window });
  act('compose.front', { window });
}

/** Where the person goes on: at the recipients while there are none, else in the text. */
function focusWindow(window: string): void {
  const here = document.activeElement;
  // The person is there already, or is asked something first.
  if (here?.closest(`[data-window="${CSS.escape(window)}"], [aria-modal="true"]`)) return;
  const model = host.get().compose.find((each) => each.window === window);
  if (model && model.to.length > 0) focusEditor(window);
  else document.querySelector<HTMLElement>(`[data-anchor="${CSS.escape(`to:${window}`)}"] input`)?.focus();
}

/** Where the keys go once a window has gone with the focus in it: to another one, else to what was read before. */
function focusAfterClosing(): void {
  if (document.activeElement !== document.body || document.querySelector('[aria-modal="true"]')) return;
  const others = host.get().compose.filter(({ window }) => ui.get().shapes[window] !== 'minimised');
  const next = others.at(-1);
  if (next) return focusWindow(next.window);
  focusOn('.list-scroller, [data-pane="message"]');
}

export function ComposeDock() {
  const models = useStore(host, (model) => model.compose);
  // The host puts the one in front last; here each keeps its place.
  const windows = [...models].sort((a, b) => a.window.length - b.window.length || (a.window < b.window ? -1 : 1));
  const shapes = useStore(ui, (value) => value.shapes);
  const front = useStore(ui, (value) => value.front);
  const chooser = useRef<HTMLInputElement>(null);
  const chooserTarget = useRef('');
  const [wanted, setWanted] = useState('');
  const shownBefore = useRef(0);

  useEffect(() => {
    signals.chooseFile = (window) => {
      chooserTarget.current = window;
      chooser.current?.click();
    };
    signals.focusWindow = (window) => {
      if (window === 'viewer') {
        ui.set({ front: '' });
        focusOn('.list-scroller');
        return;
      }
      ui.set({ front: window, shapes: { ...ui.get().shapes, [window]: 'normal' } });
      setWanted(window);
    };
  }, []);
  useEffect(() => {
    // The update that opens the window comes after the word that it is in front.
    if (!wanted || !windows.some((each) => each.window === wanted)) return undefined;
    const frame = requestAnimationFrame(() => {
      focusWindow(wanted);
      setWanted('');
    });
    return () => cancelAnimationFrame(frame);
  }, [wanted, models]);
  useEffect(() => {
    // Windows that are gone leave nothing behind; what was behind them is in front.
    const names = new Set(windows.map((each) => each.window));
    if (front && front !== wanted && !names.has(front)) ui.set({ front: '' });
    const kept = Object.entries(shapes).filter(([name]) => names.has(name));
    if (kept.length < Object.keys(shapes).length) ui.set({ shapes: Object.fromEntries(kept) });
    if (windows.length < shownBefore.current) focusAfterClosing();
    shownBefore.current = windows.length;
  }, [models]);

  const [width, setWidth] = useState(innerWidth);
  useEffect(() => {
    const measure = (): void => setWidth(innerWidth);
    window.addEventListener('resize', measure);
    return () => window.removeEventListener('resize', measure);
  }, []);

  const anyMaximised = windows.some((each) => shapes[each.window] === 'maximised');
  const topmost = front || windows.findLast((each) => shapes[each.window] !== 'minimised')?.window;
  const roomFor = Math.max(1, Math.floor((width - 36) / narrowest));
  const open = windows.map((each) => each.window).filter((name) => (shapes[name] ?? 'normal') === 'normal');
  const kept = new Set([...(topmost ? [topmost] : []), ...open.filter((name) => name !== topmost).reverse()].slice(0, roomFor));
  const shapeOf = (name: string): ComposeShape => {
    const shape = shapes[name] ?? 'normal';
    return shape === 'normal' && !kept.has(name) ? 'minimised' : shape;
  };
  return (
    <>
      <div class={`compose-dock${anyMaximised ? ' maximised' : ''}`}>
        {windows.map((model) => (
          <ComposeWindow
            key={model.window} model={model} shape={shapeOf(model.window)} front={model.window === topmost}
          />
        ))}
      </div>
      <input
        ref={chooser} type="file" multiple hidden aria-hidden="true" tabIndex={-1}
        onChange={(event) => {
          const files = [...(event.currentTarget.files ?? [])];
          event.currentTarget.value = '';
          void uploadAll(chooserTarget.current, files);
        }}
      />
    </>
  );
}
