// One of several options, one below the other, each with the controls that belong to it in its line.
import { useId } from 'preact/hooks';
import type { FormControlModel, Value } from '../protocol';
import { Control, nameOf } from './Control';
import { sameValue } from './values';

interface Props {
  control: FormControlModel;
  others: FormControlModel[]; // among them those that the options name
  anchors: string;
  isNews: boolean;
  onChange(control: string, value: Value): void;
}

export function RadioLines({ control, others, anchors, isNews, onChange }: Props) {
  const id = useId();
  return (
    <div
      class="radio-lines" role="radiogroup" title={control.toolTip} data-anchor={`${anchors}:${control.id}`}
      aria-labelledby={control.label ? `${id}-label` : undefined} aria-label={nameOf(control)}
    >
      {control.label && <span id={`${id}-label`} class="radio-heading">{control.label}</span>}
      {(control.options ?? []).map((option, index) => (
        <div class="radio-line" key={index}>
          <label>
            <input
              type="radio" name={id} checked={sameValue(option.value, control.value)} disabled={!control.enabled}
              onChange={() => onChange(control.id, option.value)}
            />
            {option.title}
          </label>
          <div class="radio-controls">
            {(option.controls ?? []).map((name) => {
              const own = others.find((other) => other.id === name && !other.hidden);
              return own && (
                <Control
                  key={name} compact control={own} anchor={`${anchors}:${name}`} isNews={isNews}
                  onChange={(value) => onChange(name, value)}
                />
              );
            })}
          </div>
        </div>
      ))}
    </div>
  );
}
