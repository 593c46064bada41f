// Draws any form: groups of labelled controls and a row of buttons. Values go to the owner as they change.
import { useEffect, useId, useRef } from 'preact/hooks';
import type { FormControlModel, FormModel, Value } from '../protocol';
import { Control } from './Control';
import { ListBox } from './ListBox';
import { RadioLines } from './RadioLines';

interface Props {
  form: FormModel;
  anchors: string; // what the controls' anchors begin with
  onChange(control: string, value: Value): void;
  onButton(index: number): void;
  isSettled?(title: string): boolean; // whether a button stands there long enough to be pressed
}

export function Form({ form, anchors, onChange, onButton, isSettled }: Props) {
  const box = useRef<HTMLFormElement>(null);
  useEffect(() => {
    if (!form.shownGroup) return;
    const groups = [...(box.current?.querySelectorAll<HTMLElement>('.group') ?? [])];
    const group = groups.find((each) => each.querySelector('.group-title')?.textContent === form.shownGroup);
    group?.scrollIntoView();
    group?.querySelector<HTMLElement>('input, select, button, [tabindex="0"]')?.focus({ preventScroll: true });
  }, [form.shownGroup]);
  const stands = useRef(false);
  useEffect(() => {
    stands.current = true;
  }, []);
  const defaultButton = form.buttons.findIndex((button) => button.isDefault);
  return (
    <form
      ref={box} class="form" autocomplete="off"
      onSubmit={(event) => {
        event.preventDefault();
        if (form.buttons[defaultButton] && form.buttons[defaultButton]?.enabled !== false) onButton(defaultButton);
      }}
    >
      {form.groups.map((group, index) => (
        <Group key={`${index} ${group.title}`} group={group} anchors={anchors} isNews={stands.current} onChange={onChange} />
      ))}
      {form.buttons.length > 0 && (
        <p class="form-buttons">
          {form.buttons.map((button, index) => (
            <button
              key={`${index} ${button.title}`} type={button.isDefault ? 'submit' : 'button'}
              class={`button${button.isDefault ? ' default' : ''}`} disabled={button.enabled === false}
              aria-disabled={isSettled?.(button.title) === false ? true : undefined}
              onClick={() => {
                if (button.isDefault) return; // the form's submission
                onButton(index);
              }}
            >
              {button.title}
            </button>
          ))}
        </p>
      )}
    </form>
  );
}

/** Controls that hold others of their group. */
interface CompositeProps {
  control: FormControlModel;
  others: FormControlModel[]; // among them those that it names
  anchors: string;
  isNews: boolean;
  onChange(control: string, value: Value): void;
}

const Composite = (props: CompositeProps) => (props.control.kind === 'radio' ? <RadioLines {...props} /> : <ListBox {...props} />);

interface GroupProps {
  group: FormModel['groups'][number];
  anchors: string;
  isNews: boolean; // the form stands already: what comes to it now is news to the person
  onChange(control: string, value: Value): void;
}

function Group({ group, anchors, isNews, onChange }: GroupProps) {
  const title = useId();
  const inLines = new Set(
    group.controls.flatMap((control) => [control, ...(control.options ?? [])]).flatMap((holder) => holder.controls ?? []),
  );
  const shown = group.controls.filter((control) => !control.hidden && !inLines.has(control.id));
  if (shown.length === 0 && !group.note && !group.title) return null;
  return (
    <div class="group" role="group" aria-labelledby={group.title ? title : undefined}>
      {group.title && <h3 id={title} class="group-title">{group.title}</h3>}
      {shown.map((control) =>
        control.kind === 'radio' || control.kind === 'list' ? (
          <Composite
            key={control.id} control={control} others={group.controls} anchors={anchors} isNews={isNews} onChange={onChange}
          />
        ) : (
          <Control
            key={control.id} control={control} anchor={`${anchors}:${control.id}`} isNews={isNews}
            onChange={(value) => onChange(control.id, value)}
          />
        ),
      )}
      {group.note && <p class="group-note">{group.note}</p>}
    </div>
  );
}
