// All keys at a glance: those of the page, the single keys, and those of the menus.
import { useStore } from '../base/Store';
import { isMac } from '../keys/platform';
import { pageKeys, plainKeys, singleKeys } from '../keys/plainKeys';
import { describe } from '../keys/shortcuts';
import type { MenuItemModel } from '../protocol';
import { host, ui } from '../state';
import { Dialog } from './Dialog';

export function ShortcutSheet() {
  const open = useStore(ui, (value) => value.shortcutSheet);
  const menu = useStore(host, (model) => model.menu);
  if (!open) return null;
  const single = plainKeys.filter((each) => each.key !== 'Backspace').map((each): [string, string] => [each.key, each.means]);
  return (
    <Dialog title="Keyboard" wide onClose={() => ui.set({ shortcutSheet: false })}>
      <label class="check">
        <input
          type="checkbox" defaultChecked={singleKeys.areOn()}
          onChange={(event) => singleKeys.set(event.currentTarget.checked)}
        />
        Single keys act while you read
      </label>
      <div class="shortcut-columns" role="region" aria-label="Keys and what they do" tabIndex={0}>
        <Keys title="While you read" keys={single} />
        <Keys title="Everywhere" keys={pageKeys} />
        {menu.map((item) => (
          <Keys key={item.id} title={item.title} keys={keysOf(item.submenu ?? [])} />
        ))}
      </div>
    </Dialog>
  );
}

function keysOf(items: MenuItemModel[]): [string, string][] {
  return items.flatMap((item): [string, string][] => {
    if (item.submenu) return keysOf(item.submenu);
    const keys = describe(item.key, item.modifiers ?? [], isMac);
    return keys ? [[keys, item.title]] : [];
  });
}

function Keys({ title, keys }: { title: string; keys: [string, string][] }) {
  if (keys.length === 0) return null;
  return (
    <section class="shortcut-group">
      <h3>{title}</h3>
      <dl>
        {keys.map(([key, means]) => (
          <div key={key + means}>
            <dt><kbd>{key}</kbd></dt>
            <dd>{means}</dd>
          </div>
        ))}
      </dl>
    </section>
  );
}
