// Somebody whom a message names: a name that opens a menu.
import { useState } from 'preact/hooks';
import type { ComponentChildren } from 'preact';
import { call } from '../actions';
import { HostMenu, pointAt } from '../menus/HostMenu';

interface Props {
  person: string; // display form
  title: string;
  strong?: boolean;
  children: ComponentChildren;
}

export function Person({ person, title, strong, children }: Props) {
  const [place, setPlace] = useState<{ x: number; y: number } | null>(null);
  return (
    <>
      <button
        type="button" class={`person${strong ? ' strong' : ''}`} title={title} aria-haspopup="menu"
        aria-expanded={place !== null}
        onClick={(event) => {
          const box = event.currentTarget.getBoundingClientRect();
          setPlace({ x: box.left, y: box.bottom + 2 });
        }}
      >
        {children}
      </button>
      {place && (
        <HostMenu
          ask={() => call('person.open', { person })} place={{ menu: 'context' }} label={title}
          anchor={pointAt(place.x, place.y)} onClose={() => setPlace(null)}
        />
      )}
    </>
  );
}
