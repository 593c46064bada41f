// The alert that waits for an answer, of one window or (with an empty name) of the whole program. The newest comes first:
// the host asks it while the older ones still wait.
import { useId, useRef, useState } from 'preact/hooks';
import { act } from '../actions';
import { Icon } from '../base/Icon';
import { useStore } from '../base/Store';
import type { AlertModel } from '../protocol';
import { host } from '../state';
import { useFocusTrap } from './focusTrap';

/** Alerts of windows that are not drawn (any more) belong to the program. */
export function alertsOf(alerts: AlertModel[], owner: string, windows: string[]): AlertModel[] {
  return alerts.filter((alert) => (windows.includes(alert.window) ? alert.window : '') === owner);
}

export function Alerts({ window: owner }: { window: string }) {
  const all = useStore(host, (model) => model.alerts);
  const compose = useStore(host, (model) => model.compose);
  const mine = alertsOf(all, owner, ['viewer', ...compose.map((each) => each.window)]);
  const newest = mine.at(-1);
  return newest ? <Alert key={newest.id} alert={newest} isOfWindow={owner !== ''} /> : null;
}

function Alert({ alert, isOfWindow }: { alert: AlertModel; isOfWindow: boolean }) {
  const box = useRef<HTMLDivElement>(null);
  const title = useId();
  const text = useId();
  const [suppression, setSuppression] = useState(alert.suppression === true);
  const [answered, setAnswered] = useState(false);
  useFocusTrap(box);
  const buttons = alert.buttons.length ? alert.buttons : ['OK'];
  const answer = (button: number): void => {
    if (answered) return;
    setAnswered(true);
    act('alert.answer', { id: alert.id, button, suppression });
  };
  const onKeyDown = (event: KeyboardEvent): void => {
    event.stopPropagation();
    if (event.key === 'Escape') answer(alert.cancel);
    else if (event.key === 'Enter' && !(event.target instanceof HTMLButtonElement)) answer(0);
    else return;
    event.preventDefault();
  };
  return (
    <div class={isOfWindow ? 'overlay of-window' : 'overlay over-all'}>
      <div
        ref={box} class="alert" role="alertdialog" aria-modal="true" aria-labelledby={title} aria-describedby={text}
        data-blocks={isOfWindow ? 'window' : 'page'} tabIndex={-1} onKeyDown={onKeyDown}
      >
        <span class="alert-icon">
          <Icon name={alert.icon || 'mark'} size={30} />
        </span>
        <div>
          <h2 id={title}>{alert.title}</h2>
          <p id={text} class="alert-text">{alert.text}</p>
          {alert.suppression !== undefined && (
            <label class="check">
              <input
                type="checkbox" checked={suppression} onChange={(event) => setSuppression(event.currentTarget.checked)}
              />
              Do not show this message again
            </label>
          )}
        </div>
        <p class="form-buttons">
          {/* The default comes last to the eye, as in other dialogs, and first to the focus. */}
          {buttons.map((label, index) => ({ label, index })).reverse().map(({ label, index }) => (
            <button
              key={index} type="button" class={`button${index === 0 ? ' default' : ''}`} disabled={answered}
              data-autofocus={index === 0 ? true : undefined} onClick={() => answer(index)}
            >
              {label}
            </button>
          ))}
        </p>
      </div>
    </div>
  );
}
