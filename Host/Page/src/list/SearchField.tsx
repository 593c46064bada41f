// The field above the list: searches a little after the last key, and offers what else may be typed.
import { useEffect, useRef, useState } from 'preact/hooks';
import { act, call, signals } from '../actions';
import { focusOn } from '../base/focus';
import { Icon } from '../base/Icon';
import { parseAddress } from '../compose/addresses';
import type { ListModel } from '../protocol';
import { ui } from '../state';
import { personTyped, suggestOperators, type Suggestion, withPerson } from './searchOperators';

const pause = 200; // milliseconds without typing before a search starts

export function SearchField({ list }: { list: ListModel }) {
  const [text, setText] = useState(list.search);
  const [open, setOpen] = useState(false);
  const [active, setActive] = useState(-1);
  const timer = useRef(0);
  const sent = useRef(list.search);
  const field = useRef<HTMLInputElement>(null);
  const people = usePeople(text, open);
  const offered = open ? [...people, ...suggestOperators(text)] : [];
  const shown = offered[active] ? active : -1;
  useEffect(() => {
    signals.find = () => {
      ui.set({ pane: 'list' });
      field.current?.focus();
      field.current?.select();
    };
  }, []);
  useEffect(() => {
    // The host empties the search when another mailbox is chosen.
    if (list.search !== sent.current) {
      sent.current = list.search;
      setText(list.search);
    }
  }, [list.search, list.mailbox]);
  const search = (next: string, wait: number): void => {
    setText(next);
    setActive(-1);
    window.clearTimeout(timer.current);
    timer.current = window.setTimeout(() => {
      sent.current = next;
      act('list.search', { text: next });
    }, wait);
  };
  const choose = (suggestion: Suggestion): void => {
    search(suggestion.text, suggestion.text.endsWith(':') ? pause * 10 : 0);
    field.current?.focus();
  };
  const onKeyDown = (event: KeyboardEvent): void => {
    const chosen = offered[shown];
    if (event.key === 'ArrowDown' && offered.length) setActive(shown + 1 < offered.length ? shown + 1 : 0);
    else if (event.key === 'ArrowUp' && offered.length) setActive(shown > 0 ? shown - 1 : offered.length - 1);
    else if (event.key === 'Escape' && offered.length) setOpen(false);
    else if (event.key === 'Escape' && text) search('', 0);
    else if (event.key === 'Escape' || event.key === 'ArrowDown') focusOn('.list-scroller');
    else if (event.key === 'Enter' && chosen) choose(chosen);
    else if (event.key === 'Enter') {
      setOpen(false);
      search(text, 0);
    } else return;
    event.preventDefault();
  };
  return (
    <div class="search" role="search">
      <Icon name="search" />
      <input
        ref={field} type="search" aria-label="Search messages" placeholder="Search" value={text} spellcheck={false}
        autocomplete="off" role="combobox" aria-autocomplete="list" aria-expanded={offered.length > 0}
        aria-controls="search-offers" aria-activedescendant={shown >= 0 ? `search-offer-${shown}` : undefined}
        onFocus={() => setOpen(true)} onBlur={() => setOpen(false)} onKeyDown={onKeyDown}
        onInput={(event) => {
          setOpen(true);
          search(event.currentTarget.value, pause);
        }}
      />
      {text && (
        <button type="button" class="plain-button" aria-label="Clear the search" onClick={() => search('', 0)}>
          <Icon name="close" size={12} />
        </button>
      )}
      <ul id="search-offers" class="completions" role="listbox" aria-label="What can be searched for" hidden={offered.length === 0}>
        {offered.map((each, index) => (
          <li
            key={`${each.label} ${each.means}`} id={`search-offer-${index}`} role="option" aria-selected={index === shown}
            onPointerDown={(event) => {
              event.preventDefault(); // the field keeps the focus
              choose(each);
            }}
          >
            <strong>{each.label}</strong> <span>{each.means}</span>
          </li>
        ))}
      </ul>
    </div>
  );
}

/** People who fit what stands behind "from:" or "to:". */
function usePeople(text: string, open: boolean): Suggestion[] {
  const [found, setFound] = useState<{ text: string; addresses: string[] }>({ text: '', addresses: [] });
  const person = open ? personTyped(text) : null;
  useEffect(() => {
    if (!person) return undefined;
    let wanted = true;
    call('addresses.complete', { prefix: person })
      .then((answer) => {
        const addresses = (answer as unknown as { addresses?: string[] } | null)?.addresses ?? [];
        if (wanted) setFound({ text, addresses });
      })
      .catch(() => undefined); // without it one can still type
    return () => {
      wanted = false;
    };
  }, [person]);
  if (!person || found.text !== text) return [];
  return found.addresses.slice(0, 5).map((each) => {
    const { name, address } = parseAddress(each);
    return { text: withPerson(text, address), label: name || address, means: name ? address : '' };
  });
}
