// Small cards that point at something on the page. What they point at is marked with data-anchor; a card whose anchor is
// not on the page stands under the bars.
//
// They never take the focus by themselves, but for a list that was opened from what it points at: F6 leads to them, and Escape closes them from anywhere. What they say is
// announced once; a countdown ticks in silence.
import { useEffect, useLayoutEffect, useRef, useState } from 'preact/hooks';
import { act } from '../actions';
import { Icon } from '../base/Icon';
import { Edge, placeBeside, type Placed } from '../base/place';
import { useStore } from '../base/Store';
import { Form } from '../forms/Form';
import { RowListView } from '../rows/RowListView';
import type { PopoverModel } from '../protocol';
import { announce, host } from '../state';
import { isBehindModal } from './focusTrap';

export function Popovers() {
  const popovers = useStore(host, (model) => model.popovers);
  const announced = useRef<string[]>([]);
  useEffect(() => {
    const fresh = popovers.filter((each) => !announced.current.includes(each.identifier)).at(-1);
    if (fresh) announce(`${nameOf(fresh)} (Shift+F6 leads there.)`);
    // So that the same words are news the next time.
    else if (popovers.length < announced.current.length) announce('');
    announced.current = popovers.map((each) => each.identifier);
  }, [popovers]);
  return (
    <>
      {popovers.map((popover) => (
        <Popover key={popover.identifier} popover={popover} />
      ))}
    </>
  );
}

const nameOf = (popover: PopoverModel): string => popover.text || popover.form?.title || popover.list?.title || 'Hint';

/** By the whole name, else by what stands after the last colon within the named window. */
function findAnchor(name: string): Element | null {
  const exact = document.querySelector(`[data-anchor="${CSS.escape(name)}"]`);
  if (exact && exact.getClientRects().length) return exact;
  const [, owner = ''] = name.split(':');
  return document.querySelector(`[data-anchor="title:${CSS.escape(owner)}"]`);
}

/** Whoever was in the card when it went is brought back to where he came from. */
function useWayBack(card: { current: HTMLElement | null }): (event: FocusEvent) => void {
  const before = useRef<EventTarget | null>(null);
  useLayoutEffect(() => () => {
    const target = before.current;
    const isInside = card.current?.contains(document.activeElement);
    if (isInside && target instanceof HTMLElement && target.isConnected) target.focus({ preventScroll: true });
  }, []);
  return ({ relatedTarget }) => {
    if (!(relatedTarget instanceof Node) || !card.current?.contains(relatedTarget)) before.current = relatedTarget;
  };
}

function Popover({ popover }: { popover: PopoverModel }) {
  const card = useRef<HTMLDivElement>(null);
  const onFocusIn = useWayBack(card);
  // As wide as it was when it had most digits, so that nothing moves.
  const digits = useRef(0);
  digits.current = Math.max(digits.current, popover.countdown?.length ?? 0);
  const [placed, setPlaced] = useState<Placed | null>(null);
  useLayoutEffect(() => {
    const follow = (): void => {
      const size = card.current?.getBoundingClientRect();
      if (!size) return;
      const target = findAnchor(popover.anchor);
      // A hint about what a sheet covers would lie in the way of that. Countdowns do not wait.
      if (target && !popover.countdown && isBehindModal(target)) return setPlaced(null);
      const box = target?.getBoundingClientRect();
      const anchor = box ?? { left: innerWidth / 2, top: 76, width: 0, height: 0 };
      const next = placeBeside(anchor, size, box ? popover.edge : Edge.Below, { width: innerWidth, height: innerHeight });
      setPlaced((before) => (before && JSON.stringify(before) === JSON.stringify(next) ? before : next));
    };
    follow();
    // Anchors move with windows, panes and lists; no event tells of all of that.
    const timer = window.setInterval(follow, 250);
    window.addEventListener('resize', follow);
    return () => {
      window.clearInterval(timer);
      window.removeEventListener('resize', follow);
    };
  }, [popover.anchor, popover.edge]);

  // The person pressed what it points at, and goes on in it.
  const isPlaced = placed !== null;
  useEffect(() => {
    if (!popover.list || !isPlaced || !findAnchor(popover.anchor)?.contains(document.activeElement)) return;
    const inside = card.current;
    (inside?.querySelector<HTMLElement>('.row-focus[tabindex="0"]') ?? inside?.querySelector('button'))?.focus();
  }, [isPlaced]);

  const close = (): void => act('popover.close', { identifier: popover.identifier });
  const edge = placed ? Edge[placed.edge].toLowerCase() : 'below';
  const style = placed
    ? { left: placed.left, top: placed.top, '--arrow': `${placed.arrow}px` }
    : { left: -9999, top: 0 };
  return (
    <div
      ref={card} class={`popover ${edge}${popover.list ? ' with-list' : ''}`} role="dialog" aria-label={nameOf(popover)} style={style}
      data-part tabIndex={-1} inert={!placed} onFocusIn={onFocusIn}
      onKeyDown={(event) => {
        if (event.key !== 'Escape') return;
        event.preventDefault();
        close();
      }}
    >
      {(popover.image || popover.text || !popover.list) && (
        <div class="popover-content">
          {popover.image && <Icon name={popover.image} size={40} />}
          {popover.text && <p class="popover-text">{popover.text}</p>}
        </div>
      )}
      {popover.list && <RowListView popover={popover.identifier} list={popover.list} />}
      {popover.form && (
        <Form
          form={popover.form} anchors={`popover:${popover.identifier}`}
          onChange={(control, value) =>
            act('sheet.set', {
              window: `popover:${popover.identifier}`, form: popover.form?.identifier ?? '', control, value,
            })
          }
          onButton={(button) =>
            act('sheet.button', {
              window: `popover:${popover.identifier}`, form: popover.form?.identifier ?? '', button,
              title: popover.form?.buttons[button]?.title ?? '',
            })
          }
        />
      )}
      {(popover.buttons.length > 0 || popover.countdown) && (
        <div class="popover-buttons">
          {popover.countdown && (
            <span class="popover-countdown" role="timer" style={{ minWidth: `max(40px, ${digits.current}ch)` }}>
              {popover.countdown}
            </span>
          )}
          {popover.buttons.map((label, index) => (
            <button
              key={index} type="button" class="small-button"
              onClick={() => act('popover.button', { identifier: popover.identifier, button: index })}
            >
              {popover.buttonIcons[index] && <Icon name={popover.buttonIcons[index]} />}
              {label}
            </button>
          ))}
        </div>
      )}
      <button type="button" class="plain-button popover-close" aria-label="Close" onClick={close}>
        <Icon name="close" size={12} />
      </button>
    </div>
  );
}
