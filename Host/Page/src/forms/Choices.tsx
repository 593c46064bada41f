// One of several options: a pop-up, or buttons side by side.
import { Icon } from '../base/Icon';
import type { Value } from '../protocol';
import { type ControlProps, faultOf, nameOf } from './Control';
import { sameValue } from './values';

export function PopUp(props: ControlProps) {
  const { control, id, onChange } = props;
  const options = control.options ?? [];
  const selected = options.findIndex((option) => !option.separator && sameValue(option.value, control.value));
  return (
    <select
      id={id} value={String(selected)} disabled={!control.enabled} aria-label={nameOf(control)} {...faultOf(props)}
      onChange={(event) => {
        const option = options[Number(event.currentTarget.value)];
        if (option) onChange(option.value);
      }}
    >
      {selected < 0 && <option value="-1">{control.placeholder ?? ''}</option>}
      {options.map((option, index) =>
        option.separator ? <hr key={index} /> : <option key={index} value={String(index)}>{option.title}</option>,
      )}
    </select>
  );
}

export function Segmented({ control, id, onChange }: ControlProps) {
  const options = (control.options ?? []).filter((option) => !option.separator);
  const selected = options.findIndex((option) => sameValue(option.value, control.value));
  const onKeyDown = (event: KeyboardEvent): void => {
    const direction = { ArrowRight: 1, ArrowDown: 1, ArrowLeft: -1, ArrowUp: -1 }[event.key];
    if (!direction || options.length === 0) return;
    const next = (Math.max(selected, 0) + direction + options.length) % options.length;
    choose(options[next]?.value ?? null);
    const group = event.currentTarget as HTMLElement;
    group.querySelectorAll<HTMLElement>('button')[next]?.focus();
    event.preventDefault();
  };
  const choose = (value: Value): void => onChange(value);
  return (
    <div
      id={id} class="segments" role="radiogroup" aria-labelledby={control.label ? `${id}-label` : undefined}
      aria-label={nameOf(control)} onKeyDown={onKeyDown}
    >
      {options.map((option, index) => (
        <button
          key={index} type="button" role="radio" aria-checked={index === selected} disabled={!control.enabled}
          tabIndex={index === Math.max(selected, 0) ? 0 : -1} onClick={() => choose(option.value)}
          title={option.image ? option.title : undefined} aria-label={option.title}
        >
          {option.image ? <Icon name={option.image} /> : option.title}
        </button>
      ))}
    </div>
  );
}
