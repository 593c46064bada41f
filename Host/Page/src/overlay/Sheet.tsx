// A form that hangs on a window and blocks that window only.
import { useId, useRef } from 'preact/hooks';
import { act } from '../actions';
import { Form } from '../forms/Form';
import type { FormModel } from '../protocol';
import { useFocusTrap } from './focusTrap';
import { useSettledButtons } from './settledButtons';

export function Sheet({ window: owner, form }: { window: string; form: FormModel }) {
  return <SheetBox key={form.identifier} window={owner} form={form} />;
}

function SheetBox({ window: owner, form }: { window: string; form: FormModel }) {
  const box = useRef<HTMLDivElement>(null);
  const title = useId();
  useFocusTrap(box);
  const isSettled = useSettledButtons(form.buttons.map((button) => button.title));
  const press = (button: number): void => {
    const pressed = form.buttons[button];
    // Some forget what was typed, others do something that was warned of: none of them is to be had by mistake.
    if (!pressed || !isSettled(pressed.title)) return;
    act('sheet.button', { window: owner, form: form.identifier, button, title: pressed.title });
  };
  return (
    <div class="overlay of-window">
      <div
        ref={box} class={`sheet${form.refusals ? ' refused' : ''}`} role="dialog" aria-modal="true" aria-labelledby={title} tabIndex={-1} data-blocks="window"
        data-anchor={`sheet:${owner}`}
        onKeyDown={(event) => {
          event.stopPropagation();
          if (event.key === 'Escape' && !event.defaultPrevented)
            press(form.buttons.findIndex((button) => button.isCancel));
        }}
      >
        <h2 id={title}>{form.title}</h2>
        {form.message && <p class="sheet-message">{form.message}</p>}
        <Form
          form={form} anchors={`sheet:${owner}`} onButton={press} isSettled={isSettled}
          onChange={(control, value) => act('sheet.set', { window: owner, form: form.identifier, control, value })}
        />
      </div>
    </div>
  );
}
