// One control of a form, with its label. Kinds that need more than a few lines have files of their own.
import { useEffect, useId, useRef } from 'preact/hooks';
import { Icon } from '../base/Icon';
import type { FormControlModel, Value } from '../protocol';
import { DateField, TimeField } from './DateFields';
import { PopUp, Segmented } from './Choices';
import { RichTextField } from './RichTextField';
import { RowTable } from './RowTable';
import { ShortcutField } from './ShortcutField';
import { NumberField, TextField } from './TextFields';
import { TextListField } from './TextListField';
import { TokenField } from './TokenField';

export interface ControlProps {
  control: FormControlModel;
  id: string; // of the element that the label belongs to
  onChange(value: Value): void;
}

interface Props {
  control: FormControlModel;
  anchor: string;
  compact?: boolean; // beside others in a row: the label goes into the control
  isNews?: boolean; // was not there when the form was opened
  onChange(value: Value): void;
}

function Told({ control, anchor, isNews }: Pick<Props, 'control' | 'anchor' | 'isNews'>) {
  const box = useRef<HTMLDivElement>(null);
  // What is told after a button was pressed, such as how far something is, may lie out of sight. Nobody who types is
  // taken away from there.
  useEffect(() => {
    if (isNews && !document.activeElement?.closest('.form .group')) box.current?.scrollIntoView({ block: 'nearest' });
  }, []);
  return (
    <div ref={box} class="control text" title={control.toolTip} data-anchor={anchor} aria-live="polite">
      {control.label && <span class="control-label">{control.label}</span>}
      <p>{String(control.value ?? '')}</p>
    </div>
  );
}

export function Control({ control, anchor, compact, isNews, onChange }: Props) {
  const id = useId();
  const props: ControlProps = { control, id, onChange };
  switch (control.kind) {
    case 'separator':
      return <hr class="control-line" />;
    case 'text':
      return <Told control={control} anchor={anchor} isNews={isNews} />;
    case 'checkBox':
      return (
        <label class="control check" title={control.toolTip} data-anchor={anchor}>
          <input
            type="checkbox" checked={control.value === true || control.value === 1} disabled={!control.enabled}
            onChange={(event) => onChange(event.currentTarget.checked)}
          />
          {control.label}
        </label>
      );
    case 'button':
      return (
        <div class="control action" data-anchor={anchor}>
          <button type="button" class="button" title={control.toolTip} disabled={!control.enabled} onClick={() => onChange(null)}>
            {control.options?.[0]?.image && <Icon name={control.options[0].image} />}
            {control.label}
          </button>
        </div>
      );
    case 'table':
      return <RowTable control={control} anchor={anchor} onChange={onChange} />;
    default:
      return (
        <div class={`control ${control.kind}${compact ? ' compact' : ''}`} title={control.toolTip} data-anchor={anchor}>
          {control.label && (
            <label id={`${id}-label`} class="control-label" for={id}>{control.label}</label>
          )}
          <div class="control-field">
            <Field {...props} />
            {control.unit && <span class="control-unit">{control.unit}</span>}
          </div>
          {control.error && <p id={`${id}-error`} class="control-error" role="alert">{control.error}</p>}
        </div>
      );
  }
}

function Field(props: ControlProps) {
  switch (props.control.kind) {
    case 'textField':
    case 'secret':
      return <TextField {...props} />;
    case 'number':
      return <NumberField {...props} />;
    case 'popUp':
      return <PopUp {...props} />;
    case 'segmented':
      return <Segmented {...props} />;
    case 'dateTime':
      return <DateField {...props} />;
    case 'timeOfDay':
      return <TimeField {...props} />;
    case 'shortcut':
      return <ShortcutField {...props} />;
    case 'textList':
      return <TextListField {...props} />;
    case 'tokens':
      return <TokenField {...props} />;
    case 'richText':
      return <RichTextField {...props} />;
    default:
      return null;
  }
}

/** Ties the words about what is wrong to the field. */
export function faultOf({ control, id }: ControlProps) {
  return control.error ? { 'aria-invalid': true, 'aria-describedby': `${id}-error` } : {};
}

/** For elements that a label cannot be given any other way. */
export function nameOf(control: FormControlModel): string | undefined {
  return control.label ? undefined : control.toolTip || control.placeholder || control.id;
}
