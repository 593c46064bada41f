// Short notes at the lower left: the host's stay until they are dismissed, the page's own go by themselves.
import type { ComponentChildren } from 'preact';
import { useEffect, useRef, useState } from 'preact/hooks';
import { act } from '../actions';
import { Icon } from '../base/Icon';
import { useStore } from '../base/Store';
import { dropToast, host, ui } from '../state';

export function Notices() {
  const notices = useStore(host, (model) => model.app.notices);
  const toasts = useStore(ui, (value) => value.toasts);
  const announcement = useStore(ui, (value) => value.announcement);
  const element = useRef<HTMLElement>(null);
  // Where there is not room for all, the newest is what is seen.
  useEffect(() => {
    if (element.current) element.current.scrollTop = element.current.scrollHeight;
  }, [notices.length, toasts.length]);
  return (
    <section ref={element} class="notices" aria-label="Notices" aria-live="polite" aria-relevant="additions">
      {notices.map((notice) => (
        <Notice
          key={`host-${notice.id}`} kind="notice" text={notice.text}
          onDismiss={() => act('app.dismissNotice', { id: notice.id })}
        />
      ))}
      {toasts.map((toast) => (
        <Notice key={`page-${toast.id}`} kind={toast.kind} text={toast.text} onDismiss={() => dropToast(toast.id)} />
      ))}
      <MoveNotice />
      <span class="visually-hidden">{announcement}</span>
    </section>
  );
}

const moveShown = 10_000; // milliseconds

/** What was just moved, for a while; it stays as long as the pointer or the focus is on it. */
function MoveNotice() {
  const move = useStore(host, (model) => model.viewer.lastMove);
  const number = move?.number ?? 0;
  const [seen, setSeen] = useState(number); // what was moved before the page came is no news
  const [held, setHeld] = useState(false);
  const fresh = move !== undefined && number > seen;
  useEffect(() => {
    if (!fresh || held) return undefined;
    const timer = window.setTimeout(() => setSeen(number), moveShown);
    return () => window.clearTimeout(timer);
  }, [number, fresh, held]);
  if (!fresh) return null;
  return (
    <div
      onPointerEnter={() => setHeld(true)} onPointerLeave={() => setHeld(false)}
      onFocusIn={() => setHeld(true)} onFocusOut={() => setHeld(false)}
    >
      <Notice kind="notice" text={move.text} onDismiss={() => setSeen(number)}>
        <button
          type="button" class="small-button" title="Ctrl+Z does the same"
          onClick={() => {
            setSeen(number);
            act('message.undoMove', { number });
          }}
        >
          Undo
        </button>
      </Notice>
    </div>
  );
}

interface NoticeProps {
  kind: 'notice' | 'error';
  text: string;
  children?: ComponentChildren;
  onDismiss(): void;
}

function Notice({ kind, text, children, onDismiss }: NoticeProps) {
  return (
    <div class={`notice ${kind}`}>
      <Icon name={kind === 'error' ? 'warning' : 'info'} />
      <p>{text}</p>
      {children}
      <button type="button" class="plain-button" aria-label="Dismiss" onClick={onDismiss}>
        <Icon name="close" size={14} />
      </button>
    </div>
  );
}
