// The panel of symbols for a compose window. The picker is a web component of its own, loaded when it is first wanted; its
// list of symbols comes from the page's own files.
import { useEffect, useRef } from 'preact/hooks';
import { complain } from '../actions';
import { useStore } from '../base/Store';
import { insertIntoEditor } from '../compose/editors';
import { ui } from '../state';
import { Dialog } from './Dialog';

export function EmojiPanel() {
  const target = useStore(ui, (value) => value.palette);
  const place = useRef<HTMLDivElement>(null);
  useEffect(() => {
    if (!target) return undefined;
    let wanted = true;
    import('emoji-picker-element')
      .then(({ Picker }) => {
        if (!wanted || !place.current) return;
        const picker = new Picker({ dataSource: '/emoji.json', locale: 'en' });
        picker.addEventListener('emoji-click', (event) => {
          insertIntoEditor(target, event.detail.unicode ?? '');
          ui.set({ palette: '' });
        });
        place.current.replaceChildren(picker);
        picker.shadowRoot?.querySelector<HTMLElement>('input')?.focus();
      })
      .catch(complain);
    return () => {
      wanted = false;
    };
  }, [target]);
  if (!target) return null;
  return (
    <Dialog title="Symbols" onClose={() => ui.set({ palette: '' })}>
      <div ref={place} class="emoji-place" />
    </Dialog>
  );
}
