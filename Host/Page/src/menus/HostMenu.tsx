// A menu that the host makes afresh each time it is asked for; what its items do is not known here.
import { useEffect, useState } from 'preact/hooks';
import { act, complain } from '../actions';
import type { MenuItemModel, Value } from '../protocol';
import { MenuLayer } from './MenuLayer';

interface Props {
  ask(): Promise<Value>; // answers {items: MenuItemModel[]}
  label: string;
  x: number;
  y: number;
  onClose(): void;
}

export function HostMenu({ ask, label, x, y, onClose }: Props) {
  const [items, setItems] = useState<MenuItemModel[] | null>(null);
  useEffect(() => {
    let wanted = true;
    ask()
      .then((answer) => {
        const menu = (answer as unknown as { items: MenuItemModel[] } | null)?.items ?? [];
        if (wanted) setItems(menu);
      })
      .catch((error: unknown) => {
        complain(error);
        onClose();
      });
    return () => {
      wanted = false;
    };
  }, []);
  if (!items) return null;
  return (
    <MenuLayer
      items={items} label={label} focusFirst anchor={{ left: x, top: y, width: 0, height: 0 }} onClose={onClose}
      onChoose={(item) => {
        onClose();
        act('menu.choose', { item: item.id, menu: 'context' });
      }}
    />
  );
}
