import { type ControlProps, faultOf, nameOf } from './Control';
import { useDraft } from './useDraft';

export function TextField(props: ControlProps) {
  const { control, id, onChange } = props;
  const secret = control.kind === 'secret';
  const draft = useDraft(typeof control.value === 'string' ? control.value : '', onChange);
  return (
    <input
      id={id} type={secret ? 'password' : 'text'} value={draft.value} placeholder={control.placeholder}
      disabled={!control.enabled} aria-label={nameOf(control)} spellcheck={false}
      autocomplete={secret ? 'new-password' : 'off'} onInput={(event) => draft.change(event.currentTarget.value)}
      onBlur={draft.leave} {...faultOf(props)}
    />
  );
}

export function NumberField(props: ControlProps) {
  const { control, id, onChange } = props;
  const told = typeof control.value === 'number' ? String(control.value) : '';
  const draft = useDraft(told, (text) => {
    const value = Number(text);
    if (text.trim() !== '' && Number.isFinite(value)) onChange(within(value, control.minimum, control.maximum));
  });
  return (
    <input
      id={id} type="number" value={draft.value} min={control.minimum} max={control.maximum || undefined}
      step={control.step || 'any'} placeholder={control.placeholder} disabled={!control.enabled} aria-label={nameOf(control)}
      onInput={(event) => draft.change(event.currentTarget.value)} onBlur={draft.leave}
      {...faultOf(props)}
    />
  );
}

/** A maximum of 0 is none. */
export function within(value: number, minimum = -Infinity, maximum = 0): number {
  return Math.max(minimum, maximum ? Math.min(maximum, value) : value);
}
