// A menu that hangs on a button or a point: lies over the page, closes at a click elsewhere, gives the focus back.
import { createPortal } from 'preact/compat';
import { useEffect, useRef } from 'preact/hooks';
import type { MenuItemModel } from '../protocol';
import { MenuList, type MenuListProps } from './MenuList';

export function MenuLayer(props: MenuListProps) {
  const before = useRef(document.activeElement);
  const giveBack = (): void => {
    if (before.current instanceof HTMLElement && before.current.isConnected) before.current.focus({ preventScroll: true });
  };
  useEffect(() => {
    const close = (): void => props.onClose('outside');
    window.addEventListener('resize', close);
    window.addEventListener('blur', close);
    return () => {
      window.removeEventListener('resize', close);
      window.removeEventListener('blur', close);
    };
  });
  const choose = (item: MenuItemModel): void => {
    giveBack();
    props.onChoose(item);
  };
  const close = (reason: 'escape' | 'left' | 'outside'): void => {
    giveBack();
    props.onClose(reason);
  };
  return createPortal(
    <div class="menu-layer">
      <div
        class="menu-backdrop" onPointerDown={() => close('outside')}
        onContextMenu={(event) => {
          event.preventDefault();
          close('outside');
        }}
      />
      <MenuList {...props} onChoose={choose} onClose={close} />
    </div>,
    document.body,
  );
}
