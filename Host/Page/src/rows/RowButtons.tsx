// Buttons of a list in a popover: pressed, switched, or with a menu that drops down.
import { useRef, useState } from 'preact/hooks';
import { act, call } from '../actions';
import { Icon } from '../base/Icon';
import { HostMenu } from '../menus/HostMenu';
import type { RowButtonModel } from '../protocol';

export interface ButtonPlace {
  popover: string;
  row: string; // empty: the bar
}

interface ButtonProps {
  place: ButtonPlace;
  button: RowButtonModel;
  focusable: boolean;
}

export function RowButton({ place, button, focusable }: ButtonProps) {
  const element = useRef<HTMLButtonElement>(null);
  const [open, setOpen] = useState(false);
  const where = { identifier: place.popover, row: place.row, button: button.id };
  const press = (): void => (button.hasMenu ? setOpen(true) : act('popover.press', where));
  return (
    <>
      <button
        ref={element} type="button" class={`plain-button row-button${button.forPointedAt ? ' for-pointed-at' : ''}`} title={button.title}
        aria-label={button.title} aria-haspopup={button.hasMenu ? 'menu' : undefined}
        aria-expanded={button.hasMenu ? open : undefined} aria-pressed={place.row ? undefined : button.on} tabIndex={focusable ? 0 : -1}
        data-anchor={place.row ? undefined : `popover:${place.popover}:${button.id}`} data-button={button.id}
        data-on={button.on} style={button.colour ? { color: button.colour } : undefined} onClick={press}
      >
        <Icon name={button.image ?? ''} fallback={button.title} />
      </button>
      {open && element.current && (
        <HostMenu
          place={{ menu: 'popover', ...where }} ask={() => call('popover.menu', where)} label={button.title}
          anchor={element.current.getBoundingClientRect()} onClose={() => setOpen(false)}
        />
      )}
    </>
  );
}

interface UnderProps {
  place: ButtonPlace;
  buttons: RowButtonModel[];
  side: 'leading' | 'trailing';
  open: boolean;
}

/** What a swipe uncovers. */
export function UncoveredButtons({ place, buttons, side, open }: UnderProps) {
  return (
    <div class={`row-under ${side}`} inert={!open}>
      {buttons.map((button) => (
        <button
          key={button.id} type="button" class={`row-swipe${button.destructive ? ' destructive' : ''}`} tabIndex={-1}
          style={button.colour ? { background: button.colour } : undefined}
          onClick={() => act('popover.press', { identifier: place.popover, row: place.row, button: button.id })}
        >
          {button.title}
        </button>
      ))}
    </div>
  );
}
