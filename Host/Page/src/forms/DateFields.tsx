// Fields for a date and for a time of day. What is being typed is left alone while the host answers.
import { dateOf } from '../state';
import { type ControlProps, nameOf } from './Control';
import { useDraft } from './useDraft';
import { fromLocalInput, fromTimeInput, toLocalInput, toTimeInput } from './values';

export function DateField({ control, id, onChange }: ControlProps) {
  const date = dateOf(control.value);
  const earliest = dateOf(control.earliest ?? null);
  const first = earliest ? toLocalInput(earliest) : '';
  // A year that is not typed to its end is long ago.
  const draft = useDraft(date ? toLocalInput(date) : '', (text) => {
    const value = fromLocalInput(text);
    if (value !== null && text >= first) onChange(value);
  });
  return (
    <input
      id={id} type="datetime-local" value={draft.value} min={first || undefined} disabled={!control.enabled}
      aria-label={nameOf(control)} onInput={(event) => draft.change(event.currentTarget.value)}
      onBlur={() => {
        if (draft.value && draft.value < first) draft.change(first);
        draft.leave();
      }}
    />
  );
}

export function TimeField({ control, id, onChange }: ControlProps) {
  const date = dateOf(control.value);
  const draft = useDraft(date ? toTimeInput(date) : '', (text) => {
    const value = fromTimeInput(text, date ?? new Date());
    if (value !== null) onChange(value);
  });
  return (
    <input
      id={id} type="time" value={draft.value} disabled={!control.enabled} aria-label={nameOf(control)}
      onInput={(event) => draft.change(event.currentTarget.value)} onBlur={draft.leave}
    />
  );
}
