// A narrow page shows one pane at a time, and there the browser's own way back leads from a message to its list.
import { ui } from '../state';

const narrow = matchMedia('(max-width: 640px)'); // as in layout.css
const isOurs = (): boolean => (history.state as { pane?: string } | null)?.pane === 'message';

export function keepPaneHistory(): void {
  let shown = ui.get().pane;
  ui.subscribe(() => {
    const { pane } = ui.get();
    if (pane === shown) return;
    shown = pane;
    if (pane === 'message' && narrow.matches && !isOurs()) history.pushState({ pane }, '');
    else if (pane !== 'message' && isOurs()) history.back(); // by a button of the page: nothing is left to go back to
  });
  addEventListener('popstate', () => {
    if (ui.get().pane === 'message' && narrow.matches && !isOurs()) ui.set({ pane: 'list' });
  });
}
