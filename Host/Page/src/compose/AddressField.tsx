// A field of addresses as tokens: typing completes from known addresses, tokens can be walked through, edited, removed and
// dragged to another field.
import { useEffect, useId, useLayoutEffect, useRef, useState } from 'preact/hooks';
import { call } from '../actions';
import { parseAddress, splitAddresses, takeFinished, withAdded } from './addresses';
import { AddressToken, addressesType } from './AddressToken';

// Where the address that is being dragged comes from: a drop there would change nothing.
let draggedFrom = '';

interface Props {
  label: string;
  name: string; // unique within the window, for drags
  window: string;
  addresses: string[];
  disabled: boolean;
  autofocus?: boolean;
  onChange(addresses: string[]): void;
}

export function AddressField({ label, name, window: owner, addresses, disabled, autofocus, onChange }: Props) {
  const id = useId();
  const field = useRef<HTMLInputElement>(null);
  const tokens = useRef<HTMLDivElement>(null);
  const [text, setText] = useState('');
  const [over, setOver] = useState(false);
  const completion = useCompletion(text);
  useLayoutEffect(() => {
    if (autofocus) field.current?.focus();
  }, []);

  const add = (added: string[]): void => {
    if (added.length) onChange(withAdded(addresses, added));
  };
  const take = (): void => {
    add(splitAddresses(text));
    setText('');
  };
  const complete = (address: string): void => {
    add([address]);
    setText('');
    completion.clear();
  };
  const remove = (index: number): void => {
    onChange(addresses.filter((_, at) => at !== index));
    field.current?.focus();
  };
  const focusToken = (index: number): void => {
    if (index >= addresses.length) field.current?.focus();
    else tokens.current?.querySelectorAll<HTMLElement>('.token')[Math.max(0, index)]?.focus();
  };
  const onInput = (typed: string): void => {
    const { finished, rest } = takeFinished(typed);
    add(finished);
    setText(rest);
  };
  const onKeyDown = (event: KeyboardEvent): void => {
    const atStart = field.current?.selectionStart === 0 && field.current.selectionEnd === 0;
    const chosen = completion.shown[completion.active];
    if (event.key === 'ArrowDown' && completion.shown.length) completion.move(1);
    else if (event.key === 'ArrowUp' && completion.shown.length) completion.move(-1);
    else if (event.key === 'Escape' && completion.shown.length) completion.clear();
    else if ((event.key === 'Enter' || event.key === 'Tab') && chosen && !event.shiftKey && !event.ctrlKey && !event.metaKey)
      complete(chosen);
    else if (event.key === 'Enter' && text.trim() && !event.ctrlKey && !event.metaKey) take();
    else if ((event.key === 'Backspace' || event.key === 'ArrowLeft') && atStart && addresses.length)
      focusToken(addresses.length - 1);
    else return;
    event.preventDefault();
    event.stopPropagation();
  };

  return (
    <div
      class={`address-row${over ? ' over' : ''}`} data-anchor={`${name}:${owner}`}
      onDragOver={(event) => {
        if (!event.dataTransfer?.types.includes(addressesType) || draggedFrom === id) return;
        event.preventDefault();
        setOver(true);
      }}
      onDragLeave={() => setOver(false)}
      onDrop={(event) => {
        setOver(false);
        const dragged = event.dataTransfer?.getData(addressesType);
        if (!dragged) return;
        event.preventDefault();
        const { address } = JSON.parse(dragged) as { address: string };
        add([address]);
      }}
    >
      <label class="row-label" for={id}>{label}</label>
      <div ref={tokens} class="address-tokens" onClick={(event) => event.target === event.currentTarget && field.current?.focus()}>
        {addresses.map((address, index) => (
          <AddressToken
            key={`${index} ${address}`} text={address} disabled={disabled}
            onRemove={() => remove(index)} onDragged={() => (draggedFrom = id)}
            onDraggedAway={() => onChange(addresses.filter((_, at) => at !== index))}
            onMove={(direction) => focusToken(index + direction)}
            onEdit={() => {
              setText(address);
              remove(index);
            }}
          />
        ))}
        <input
          ref={field} id={id} type="text" value={text} disabled={disabled} spellcheck={false} autocomplete="off"
          role="combobox" aria-autocomplete="list" aria-expanded={completion.shown.length > 0} aria-controls={`${id}-list`}
          aria-activedescendant={completion.active >= 0 ? `${id}-option-${completion.active}` : undefined}
          onInput={(event) => onInput(event.currentTarget.value)} onKeyDown={onKeyDown}
          onBlur={() => {
            completion.clear();
            take();
          }}
        />
        <ul id={`${id}-list`} class="completions" role="listbox" aria-label="Known addresses" hidden={completion.shown.length === 0}>
          {completion.shown.map((each, index) => {
            const { name: person, address } = parseAddress(each);
            return (
              <li
                key={each} id={`${id}-option-${index}`} role="option" aria-selected={index === completion.active}
                onPointerDown={(event) => {
                  event.preventDefault();
                  complete(each);
                }}
              >
                {person && <strong>{person}</strong>} <span>{address}</span>
              </li>
            );
          })}
        </ul>
      </div>
    </div>
  );
}

interface Completion {
  shown: string[];
  active: number;
  move(by: 1 | -1): void;
  clear(): void;
}

function useCompletion(text: string): Completion {
  const [answered, setAnswered] = useState({ prefix: '', found: [] as string[] });
  const [active, setActive] = useState(-1);
  const asked = useRef(0);
  const prefix = text.trim();
  // While the next answer is on its way, of the last one only what still fits the text is offered.
  const fits = (address: string): boolean => answered.prefix === prefix || address.toLowerCase().includes(prefix.toLowerCase());
  const shown = prefix ? answered.found.filter(fits) : [];
  const clear = (): void => {
    ++asked.current;
    setAnswered({ prefix: '', found: [] });
    setActive(-1);
  };
  useEffect(() => {
    if (!prefix) {
      clear();
      return;
    }
    const question = ++asked.current;
    call('addresses.complete', { prefix })
      .then((answer) => {
        if (question !== asked.current) return; // the person went on typing
        setAnswered({ prefix, found: (answer as unknown as { addresses?: string[] } | null)?.addresses ?? [] });
        setActive(0);
      })
      .catch(clear); // without completion one can still type
  }, [text]);
  return {
    shown,
    active: Math.min(active, shown.length - 1),
    move: (by) => setActive((before) => (before + by + shown.length) % shown.length),
    clear,
  };
}
