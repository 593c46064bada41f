// Short notes at the lower left: the host's stay until they are dismissed, the page's own go by themselves.
import { act } from '../actions';
import { Icon } from '../base/Icon';
import { useStore } from '../base/Store';
import { dropToast, host, ui } from '../state';

export function Notices() {
  const notices = useStore(host, (model) => model.app.notices);
  const toasts = useStore(ui, (value) => value.toasts);
  const announcement = useStore(ui, (value) => value.announcement);
  return (
    <section class="notices" aria-label="Notices" aria-live="polite" aria-relevant="additions">
      {notices.map((notice) => (
        <Notice
          key={`host-${notice.id}`} kind="notice" text={notice.text}
          onDismiss={() => act('app.dismissNotice', { id: notice.id })}
        />
      ))}
      {toasts.map((toast) => (
        <Notice key={`page-${toast.id}`} kind={toast.kind} text={toast.text} onDismiss={() => dropToast(toast.id)} />
      ))}
      <span class="visually-hidden">{announcement}</span>
    </section>
  );
}

function Notice({ kind, text, onDismiss }: { kind: 'notice' | 'error'; text: string; onDismiss(): void }) {
  return (
    <div class={`notice ${kind}`}>
      <Icon name={kind === 'error' ? 'warning' : 'info'} />
      <p>{text}</p>
      <button type="button" class="plain-button" aria-label="Dismiss" onClick={onDismiss}>
        <Icon name="close" size={14} />
      </button>
    </div>
  );
}
