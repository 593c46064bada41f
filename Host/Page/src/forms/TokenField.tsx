// Short texts as tokens, with known ones to complete from. A comma or Return ends one, Backspace goes back into the list.
import { useId, useRef, useState } from 'preact/hooks';
import { Icon } from '../base/Icon';
import { type ControlProps, faultOf, nameOf } from './Control';
import { textsOf } from './values';

export function TokenField(props: ControlProps) {
  const { control, id, onChange } = props;
  const known = useId();
  const tokens = textsOf(control.value);
  const field = useRef<HTMLInputElement>(null);
  const list = useRef<HTMLSpanElement>(null);
  const [text, setText] = useState('');
  const name = control.label || nameOf(control) || 'Tokens';

  const add = (typed: string): void => {
    const added = typed.split(',').map((each) => each.trim()).filter((each) => each && !tokens.includes(each));
    if (added.length) onChange([...tokens, ...new Set(added)]);
  };
  const take = (): void => {
    add(text);
    setText('');
  };
  const remove = (index: number): void => {
    onChange(tokens.filter((_, at) => at !== index));
    field.current?.focus();
  };
  const focusToken = (index: number): void => {
    const all = list.current?.querySelectorAll<HTMLElement>('.token') ?? [];
    (all[Math.max(0, index)] ?? field.current)?.focus();
  };
  const onKeyDown = (event: KeyboardEvent): void => {
    const atStart = field.current?.selectionStart === 0 && field.current.selectionEnd === 0;
    if (event.key === 'Enter' && text.trim() && !event.ctrlKey && !event.metaKey) take();
    else if ((event.key === 'Backspace' || event.key === 'ArrowLeft') && atStart && tokens.length) focusToken(tokens.length - 1);
    else return;
    event.preventDefault();
    event.stopPropagation();
  };
  const onInput = (typed: string): void => {
    const isKnown = control.options?.some((option) => option.title === typed && !tokens.includes(typed));
    if (!typed.includes(',') && !(isKnown && typed.length - text.length > 1)) {
      setText(typed);
      return;
    }
    // Behind the last comma the next one begins; a completion that was picked ends its own.
    const end = isKnown ? typed.length : typed.lastIndexOf(',');
    add(typed.slice(0, end));
    const left = typed.slice(end + 1).trimStart();
    if (field.current) field.current.value = left; // also where the state stays what it was
    setText(left);
  };

  return (
    <span class="token-field" onClick={(event) => event.target === event.currentTarget && field.current?.focus()}>
      <span ref={list} class="token-list" role="list" aria-label={`${name}, entered`}>
        {tokens.map((token, index) => (
          <span
            key={`${index} ${token}`} class="token" role="listitem" tabIndex={-1}
            onKeyDown={(event) => {
              if (!control.enabled) return;
              if (event.key === 'Backspace' || event.key === 'Delete') remove(index);
              else if (event.key === 'ArrowLeft') focusToken(index - 1);
              else if (event.key === 'ArrowRight') focusToken(index + 1);
              else return;
              event.preventDefault();
              event.stopPropagation();
            }}
          >
            <span class="token-text">{token}</span>
            <button
              type="button" class="token-remove" tabIndex={-1} aria-label={`Remove ${token}`} disabled={!control.enabled}
              onClick={() => remove(index)}
            >
              <Icon name="close" size={9} />
            </button>
          </span>
        ))}
      </span>
      <input
        ref={field} id={id} type="text" list={known} value={text} placeholder={tokens.length ? '' : control.placeholder}
        disabled={!control.enabled} autocomplete="off" spellcheck={false} aria-label={nameOf(control)} {...faultOf(props)}
        onInput={(event) => onInput(event.currentTarget.value)} onKeyDown={onKeyDown} onBlur={take}
      />
      <datalist id={known}>
        {control.options?.filter((option) => !tokens.includes(option.title)).map((option) => <option key={option.title} value={option.title} />)}
      </datalist>
    </span>
  );
}
