// Records a key combination: press the button, then the keys.
import { useState } from 'preact/hooks';
import { Icon } from '../base/Icon';
import { isMac } from '../keys/platform';
import { describe, modifiersFromFlags, recorded } from '../keys/shortcuts';
import type { Value } from '../protocol';
import { type ControlProps, nameOf } from './Control';

function describeValue(value: Value): string {
  if (value === null || typeof value !== 'object' || Array.isArray(value)) return '';
  const { characters, modifierFlags } = value;
  if (typeof characters !== 'string' || typeof modifierFlags !== 'number') return '';
  return describe(characters, modifiersFromFlags(modifierFlags), isMac);
}

export function ShortcutField({ control, id, onChange }: ControlProps) {
  const [recording, setRecording] = useState(false);
  const shown = describeValue(control.value);
  const onKeyDown = (event: KeyboardEvent): void => {
    if (!recording) return;
    if (event.key === 'Tab') {
      setRecording(false);
      return;
    }
    event.preventDefault();
    event.stopPropagation();
    if (event.key === 'Escape') {
      setRecording(false);
      return;
    }
    const found = recorded(event, isMac);
    if (!found) return;
    setRecording(false);
    onChange(found);
  };
  return (
    <span class="shortcut-field">
      <button
        id={id} type="button" class={`shortcut-button${recording ? ' recording' : ''}`} disabled={!control.enabled}
        aria-label={`${control.label || nameOf(control) || 'Shortcut'}: ${recording ? 'press the keys' : shown || 'none'}`}
        onClick={() => setRecording(!recording)} onKeyDown={onKeyDown} onBlur={() => setRecording(false)}
      >
        {recording ? 'Press the keys…' : shown || 'Record shortcut'}
      </button>
      {shown && control.enabled && (
        <button type="button" class="plain-button" aria-label="Remove the shortcut" onClick={() => onChange(null)}>
          <Icon name="close" size={12} />
        </button>
      )}
    </span>
  );
}
