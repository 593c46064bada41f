// The menu of the selected messages: the host makes it afresh each time, plug-ins add to it.
import { useEffect, useState } from 'preact/hooks';
import { act, call, complain } from '../actions';
import { MenuLayer } from '../menus/MenuLayer';
import type { Id, MenuItemModel } from '../protocol';

export interface ContextRequest {
  ids: Id[];
  x: number;
  y: number;
}

export function ContextMenu({ request, onClose }: { request: ContextRequest; onClose(): void }) {
  const [items, setItems] = useState<MenuItemModel[] | null>(null);
  useEffect(() => {
    let wanted = true;
    call('context.open', { ids: request.ids })
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
  }, [request]);
  if (!items) return null;
  return (
    <MenuLayer
      items={items} label="Actions for the selected messages" focusFirst
      anchor={{ left: request.x, top: request.y, width: 0, height: 0 }}
      onClose={onClose}
      onChoose={(item) => {
        onClose();
        act('menu.choose', { item: item.id, menu: 'context' });
      }}
    />
  );
}
