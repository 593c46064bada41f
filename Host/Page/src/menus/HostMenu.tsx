// A menu that the host makes afresh each time it is asked for; what its items do is not known here.
import { useEffect, useState } from 'preact/hooks';
import { act, call, complain } from '../actions';
import type { Box } from '../base/place';
import type { MenuAnswer, MenuItemModel, MenuPlace, Value } from '../protocol';
import { MenuLayer } from './MenuLayer';

interface Props {
  ask(): Promise<Value>; // answers MenuAnswer
  place: MenuPlace;
  label: string;
  anchor: Box;
  onClose(): void;
}

/** Where the pointer is. */
export const pointAt = (x: number, y: number): Box => ({ left: x, top: y, width: 0, height: 0 });

export function HostMenu({ ask, place, label, anchor, onClose }: Props) {
  const [items, setItems] = useState<MenuItemModel[] | null>(null);
  const take = (answer: Value): void => {
    const { items: next, close } = answer as unknown as MenuAnswer;
    if (close) onClose();
    else setItems(next ?? []);
  };
  useEffect(() => {
    let wanted = true;
    ask()
      .then((answer) => wanted && take(answer))
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
      items={items} label={label} focusFirst anchor={anchor} onClose={onClose}
      onSet={(item, control, value) => {
        call('menu.set', { ...place, item: item.id, control, value }).then(take, complain);
      }}
      onPress={(item, button) => {
        call('menu.press', { ...place, item: item.id, press: button }).then(take, complain);
      }}
      onChoose={(item) => {
        onClose();
        act('menu.choose', { ...place, item: item.id });
      }}
    />
  );
}
