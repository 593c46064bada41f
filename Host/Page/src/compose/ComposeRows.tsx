// The extra controls that the host and its plug-ins put into a compose window, drawn side by side.
import { act } from '../actions';
import { Control } from '../forms/Control';
import type { ComposeModel } from '../protocol';

type Place = ComposeModel['rows'][number]['place'];

export function ComposeRows({ model, place }: { model: ComposeModel; place: Place }) {
  const rows = model.rows.filter((row) => row.place === place && row.controls.some((control) => !control.hidden));
  return (
    <>
      {rows.map((row) => (
        <div key={row.identifier} class={`extra-row ${place}`} data-anchor={`row:${model.window}:${row.identifier}`}>
          {row.controls
            .filter((control) => !control.hidden)
            .map((control) => (
              <Control
                key={control.id} control={{ ...control, enabled: control.enabled && !model.busy }} compact
                anchor={`row:${model.window}:${control.id}`}
                onChange={(value) =>
                  act('compose.control', { window: model.window, row: row.identifier, control: control.id, value })
                }
              />
            ))}
        </div>
      ))}
    </>
  );
}
