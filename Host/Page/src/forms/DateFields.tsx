import { dateOf } from '../state';
import { type ControlProps, nameOf } from './Control';
import { fromLocalInput, fromTimeInput, toLocalInput, toTimeInput } from './values';

export function DateField({ control, id, onChange }: ControlProps) {
  const date = dateOf(control.value);
  return (
    <input
      id={id} type="datetime-local" value={date ? toLocalInput(date) : ''} disabled={!control.enabled}
      aria-label={nameOf(control)}
      onChange={(event) => {
        const value = fromLocalInput(event.currentTarget.value);
        if (value !== null) onChange(value);
      }}
    />
  );
}

export function TimeField({ control, id, onChange }: ControlProps) {
  const date = dateOf(control.value);
  return (
    <input
      id={id} type="time" value={date ? toTimeInput(date) : ''} disabled={!control.enabled} aria-label={nameOf(control)}
      onChange={(event) => {
        const value = fromTimeInput(event.currentTarget.value, date ?? new Date());
        if (value !== null) onChange(value);
      }}
    />
  );
}
