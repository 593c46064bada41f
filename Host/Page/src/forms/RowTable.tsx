// Rows to read, each with a title, some words with pictures, a detail, and perhaps a button.
import { Icon } from '../base/Icon';
import type { FormControlModel, FormOptionModel, Value } from '../protocol';

interface Props {
  control: FormControlModel;
  anchor: string;
  onChange(value: Value): void;
}

export function RowTable({ control, anchor, onChange }: Props) {
  const rows = control.options ?? [];
  if (rows.length === 0) return <p class="quiet">{control.placeholder ?? ''}</p>;
  return (
    <ul class="row-table" aria-label={control.label || undefined} data-anchor={anchor} tabIndex={0}>
      {rows.map((row, index) => (
        <Row key={index} row={row} button={control.rowButton} onPress={() => onChange(row.value)} />
      ))}
    </ul>
  );
}

interface RowProps {
  row: FormOptionModel;
  button: FormControlModel['rowButton'];
  onPress(): void;
}

function Row({ row, button, onPress }: RowProps) {
  return (
    <li>
      <div class="row-table-texts">
        <span class="row-table-title">{row.title}</span>
        {row.facts?.map((fact) => (
          <span key={fact.text} class="row-table-fact">
            {fact.image && <Icon name={fact.image} size={16} />}
            {fact.text}
          </span>
        ))}
        {row.detail && <span class="row-table-detail">{row.detail}</span>}
      </div>
      {button && (
        <button type="button" class="plain-button" title={button.title} aria-label={`${button.title}: ${row.title}`} onClick={onPress}>
          <Icon name={button.image} />
        </button>
      )}
    </li>
  );
}
