// A list of short texts: one field for each, a button to remove it, one to add another.
import { useEffect, useRef, useState } from 'preact/hooks';
import { Icon } from '../base/Icon';
import { type ControlProps, nameOf } from './Control';
import { useDraft } from './useDraft';
import { textsOf } from './values';

export function TextListField({ control, id, onChange }: ControlProps) {
  const texts = textsOf(control.value);
  const [adding, setAdding] = useState('');
  const list = useRef<HTMLUListElement>(null);
  const grown = useRef(texts.length);
  useEffect(() => {
    // New texts stand at the end of a list that may be long.
    if (texts.length > grown.current) list.current?.lastElementChild?.scrollIntoView({ block: 'nearest' });
    grown.current = texts.length;
  }, [texts.length]);
  const replace = (index: number, text: string): void =>
    onChange(text.trim() ? texts.map((each, at) => (at === index ? text : each)) : texts.filter((_, at) => at !== index));
  const add = (): void => {
    const text = adding.trim();
    if (!text) return;
    setAdding('');
    if (!texts.includes(text)) onChange([...texts, text]);
  };
  const name = control.label || nameOf(control) || 'Entry';
  return (
    <div class="text-list">
      <ul ref={list} aria-label={name}>
        {texts.map((text, index) => (
          <li key={index}>
            <Entry
              text={text} name={`${name}, entry ${index + 1}`} enabled={control.enabled}
              onChange={(next) => replace(index, next)}
            />
            <button
              type="button" class="plain-button" aria-label={`Remove “${text}”`} disabled={!control.enabled}
              onClick={() => {
                onChange(texts.filter((_, at) => at !== index));
                document.getElementById(id)?.focus(); // the button goes, and the keyboard needs a place
              }}
            >
              <Icon name="minus" size={14} />
            </button>
          </li>
        ))}
      </ul>
      <div class="text-list-add">
        <input
          id={id} type="text" value={adding} placeholder={control.placeholder || 'Add…'} disabled={!control.enabled}
          aria-label={`Add to ${name}`} onInput={(event) => setAdding(event.currentTarget.value)}
          onKeyDown={(event) => {
            if (event.key !== 'Enter') return;
            event.preventDefault();
            add();
          }}
          onBlur={add}
        />
        <button type="button" class="plain-button" aria-label={`Add to ${name}`} disabled={!control.enabled} onClick={add}>
          <Icon name="plus" size={14} />
        </button>
      </div>
    </div>
  );
}

interface EntryProps {
  text: string;
  name: string;
  enabled: boolean;
  onChange(text: string): void;
}

function Entry({ text, name, enabled, onChange }: EntryProps) {
  // Emptied to be typed anew, a text must not vanish under the fingers.
  const draft = useDraft(text, onChange, Infinity);
  return (
    <input
      type="text" value={draft.value} aria-label={name} disabled={!enabled}
      onInput={(event) => draft.change(event.currentTarget.value)} onBlur={draft.leave}
    />
  );
}
