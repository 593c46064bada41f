// A list to choose rows from, each with a picture, two lines and its state, and below it the buttons that act on them.
// A state is told by its word; the colour beside it only helps to find it.
import { useEffect, useId, useRef, useState } from 'preact/hooks';
import { Icon } from '../base/Icon';
import type { FormControlModel, FormOptionModel, Value } from '../protocol';
import { Control, nameOf } from './Control';
import { chosenRows, type RowStep, stepOfKey } from './listRows';

interface Props {
  control: FormControlModel;
  others: FormControlModel[]; // among them the buttons
  anchors: string;
  isNews: boolean;
  onChange(control: string, value: Value): void;
}

export function ListBox({ control, others, anchors, isNews, onChange }: Props) {
  const id = useId();
  const list = useRef<HTMLUListElement>(null);
  const rows = control.options ?? [];
  const keys = rows.map((row) => JSON.stringify(row.value));
  const told = JSON.stringify(control.value ?? []);
  // What the person chose counts at once; the host's word when it comes.
  const [own, setOwn] = useState(told);
  useEffect(() => setOwn(told), [told]);
  const chosen = new Set((JSON.parse(own) as Value[]).map((value) => JSON.stringify(value)));
  const [active, setActive] = useState('');
  const anchor = useRef('');
  const at = Math.max(keys.indexOf(active), keys.findIndex((key) => chosen.has(key)), 0);

  const go = (step: RowStep): void => {
    if (!control.enabled) return;
    const next = chosenRows(keys, { chosen, active: at, anchor: keys.indexOf(anchor.current) }, step);
    anchor.current = keys[next.anchor] ?? '';
    setActive(keys[next.active] ?? '');
    const values = rows.filter((_, index) => next.chosen.has(keys[index] ?? '')).map((row) => row.value);
    if (JSON.stringify(values) === own) return;
    setOwn(JSON.stringify(values));
    onChange(control.id, values);
  };
  useEffect(() => {
    if (active) list.current?.children[at]?.scrollIntoView({ block: 'nearest' });
  }, [active, at]);

  return (
    <div class="list-box" title={control.toolTip} data-anchor={`${anchors}:${control.id}`}>
      {control.label && <span id={`${id}-label`} class="list-box-label">{control.label}</span>}
      <ul
        ref={list} class="list-box-rows" role="listbox" aria-multiselectable="true" tabIndex={0} aria-disabled={!control.enabled}
        aria-labelledby={control.label ? `${id}-label` : undefined} aria-label={nameOf(control)}
        aria-activedescendant={rows.length > 0 ? `${id}-${at}` : undefined}
        onKeyDown={(event) => {
          const step = stepOfKey(event);
          if (!step) return;
          event.preventDefault();
          go(step);
        }}
      >
        {rows.map((row, index) => (
          <Row
            key={keys[index]} id={`${id}-${index}`} row={row} chosen={chosen.has(keys[index] ?? '')} active={index === at}
            onPress={(event) => go({ to: index, extend: event.shiftKey, toggle: event.ctrlKey || event.metaKey })}
          />
        ))}
      </ul>
      {rows.length === 0 && <p class="quiet">{control.placeholder ?? ''}</p>}
      <div class="list-box-buttons">
        {(control.controls ?? []).map((name) => {
          const other = others.find((each) => each.id === name && !each.hidden);
          return other && (
            <Control
              key={name} compact control={other} anchor={`${anchors}:${name}`} isNews={isNews} onChange={(value) => onChange(name, value)}
            />
          );
        })}
      </div>
    </div>
  );
}

interface RowProps {
  id: string;
  row: FormOptionModel;
  chosen: boolean;
  active: boolean;
  onPress(event: MouseEvent): void;
}

function Row({ id, row, chosen, active, onPress }: RowProps) {
  return (
    <li id={id} role="option" aria-selected={chosen} class={active ? 'active' : ''} onClick={onPress}>
      {row.image && <Icon name={row.image} size={24} />}
      <span class="list-box-texts">
        <span class="list-box-title">{row.title}</span>
        {row.detail && <span class="list-box-detail">{row.detail}</span>}
      </span>
      {row.state && (
        <span class="list-box-state">
          {row.stateColor && <span class="list-box-dot" aria-hidden="true" style={{ background: row.stateColor }} />}
          {row.state}
        </span>
      )}
    </li>
  );
}
