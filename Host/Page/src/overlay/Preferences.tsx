// The preferences: a list of modules and the form of the chosen one. Every change is carried out at once.
import { useId, useLayoutEffect, useRef } from 'preact/hooks';
import { act, call, complain } from '../actions';
import { Icon } from '../base/Icon';
import { useStore } from '../base/Store';
import { Form } from '../forms/Form';
import { host } from '../state';
import { useFocusTrap } from './focusTrap';
import { Sheet } from './Sheet';

export function Preferences() {
  const visible = useStore(host, (model) => model.preferences.visible);
  return visible ? <Panel /> : null;
}

function Panel() {
  const { modules, selected, form, sheet } = useStore(host, (model) => model.preferences);
  const panel = useRef<HTMLDivElement>(null);
  const title = useId();
  useFocusTrap(panel);
  const close = (): void => act('preferences.close', {});
  // Arrow keys may be pressed faster than the host answers: these are the modules asked for and not shown yet.
  const asked = useRef<string[]>([]);
  useLayoutEffect(() => {
    const at = asked.current.indexOf(selected);
    asked.current = at < 0 ? [] : asked.current.slice(at + 1);
  }, [selected]);
  const show = (module: string): void => {
    asked.current.push(module);
    call('preferences.show', { module }).catch((error: unknown) => {
      asked.current = [];
      complain(error);
    });
  };
  const onTabKey = (event: KeyboardEvent): void => {
    const direction = { ArrowDown: 1, ArrowRight: 1, ArrowUp: -1, ArrowLeft: -1 }[event.key];
    if (!direction) return;
    const from = asked.current.at(-1) ?? selected;
    const at = modules.findIndex((module) => module.name === from);
    const next = modules[(at + direction + modules.length) % modules.length];
    if (next) show(next.name);
    event.preventDefault();
  };
  return (
    <div class="overlay">
      <div
        ref={panel} class="preferences" role="dialog" aria-modal="true" aria-labelledby={title} data-blocks="page" tabIndex={-1}
        onKeyDown={(event) => {
          if (event.key !== 'Escape' || event.defaultPrevented) return;
          event.preventDefault();
          close();
        }}
      >
        <div class="dialog-header" data-anchor="title:preferences">
          <h2 id={title}>Preferences</h2>
          <button type="button" class="plain-button" aria-label="Close the preferences" onClick={close}>
            <Icon name="close" size={16} />
          </button>
        </div>
        <div class="preferences-body">
          <div class="modules" role="tablist" aria-label="Parts of the preferences" aria-orientation="vertical" onKeyDown={onTabKey}>
            {modules.map((module) => (
              <ModuleTab key={module.name} {...module} selected={module.name === selected} onShow={() => show(module.name)} />
            ))}
          </div>
          <div class="module" role="tabpanel" aria-label={selected} tabIndex={0}>
            {form ? (
              <Form
                key={form.identifier} form={form} anchors="preferences"
                onChange={(control, value) => act('preferences.set', { control, value })}
                onButton={(button) =>
                  act('sheet.button', {
                    window: 'preferences', form: form.identifier, button, title: form.buttons[button]?.title ?? '',
                  })
                }
              />
            ) : (
              <p class="quiet">There is nothing to set here.</p>
            )}
          </div>
        </div>
        {sheet && <Sheet window="preferences" form={sheet} />}
      </div>
    </div>
  );
}

interface TabProps {
  name: string;
  image: string;
  selected: boolean;
  onShow(): void;
}

function ModuleTab({ name, image, selected, onShow }: TabProps) {
  const tab = useRef<HTMLButtonElement>(null);
  useLayoutEffect(() => {
    // Arrow keys take the focus along.
    if (selected && document.activeElement?.getAttribute('role') === 'tab') tab.current?.focus();
  }, [selected]);
  return (
    <button
      ref={tab} type="button" role="tab" aria-selected={selected} tabIndex={selected ? 0 : -1}
      class={`module-tab${selected ? ' selected' : ''}`} data-anchor={`preferences:${name}`}
      data-autofocus={selected ? true : undefined} onClick={onShow}
    >
      <Icon name={image || 'preferences'} />
      <span>{name}</span>
    </button>
  );
}
